// Which declarations are part of the library's binary interface.
#pragma once

// Marks a class or function that hosts and other plug-ins link against. Everything else stays hidden: the library is
// compiled with hidden visibility, and exports.map also lists the interface, for the linker.
#define ORM_EXPORT __attribute__((visibility("default")))
