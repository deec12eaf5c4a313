// Objects that live until the process ends. Private to the library.
#pragma once

#include <new>

namespace ORM_LUX {

// Holds an object that is never destroyed: threads, and destructors of the host that run late, may use it until the
// process ends. It needs no heap memory.
template <class T> struct NeverDestroyed {
    NeverDestroyed() = default;
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    alignas(T) unsigned char memory[sizeof(T)];
    T& value = *new (memory) T;
};

}  // namespace ORM_LUX
