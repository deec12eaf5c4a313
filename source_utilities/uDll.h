// Loading shared libraries by name.
#pragma once

#include <string>

#include "source_utilities/Export.h"

namespace ORM_LUX {

// One library, loaded with the dynamic loader (dlopen). Modes are those of dlopen; -1 stands for the mode set before,
// or, if none was, for lazy binding.
// Errors:  only std::bad_alloc, and what a constructor of a static object in the loaded library throws: that exception
//          leaves Load or FindAndLoad, and the dynamic loader stays locked for all other threads. Other failures are
//          results, with the loader's text in GetError.
// Threads: one object belongs to one thread at a time.
class ORM_EXPORT uDll {
public:
    // Stores path, unless it is null, and mode. Loads nothing.
    uDll(const char* path, int mode);
    // Unloads the library if one is loaded.
    ~uDll();
    uDll(const uDll&) = delete;
    uDll& operator=(const uDll&) = delete;

    // Loads the library at path; a null path means the stored one. A path without a slash is searched for as dlopen
    // does. If a library is loaded already, nothing changes.
    // Returns: whether a library is loaded; false, with GetError as it was, for an empty path.
    bool Load(const char* path, int mode);

    // Loads the library whose file has the platform's name for name (GetPlatformName), and logs what it searches for
    // and where the loader searches. Returns: as Load; false for a null name.
    bool FindAndLoad(const char* name, int mode);

    // Returns: the symbol's address; null when nothing is loaded, for a null name, and for a symbol that does not exist
    //          (see GetError). Valid until the library is unloaded.
    void* GetSymbolAddress(const char* symbol);

    // Returns: whether a library was loaded and could be released without an error. Afterwards no library is loaded.
    bool Unload();

    bool IsLoaded();
    void* GetLibHandle();    // dlopen's handle, null when nothing is loaded; ownership stays here
    const char* GetPath();   // the path last given; valid until the next one
    int GetMode();           // the mode of the next load
    const char* GetError();  // the text of the last failure, "" after a success; valid until the next operation

    // Returns: whether name holds ".so" and something else; false for null.
    static bool hasExtension(const char* name);

    // Appends the platform's file name of a library: libtrace.so for trace. A name that has the extension is appended
    // unchanged; a null name appends nothing. Returns: out.
    static std::string& GetPlatformName(std::string& out, const char* name);

    // The reverse: appends trace for libtrace.so, that is, drops three characters at either end (only the first three
    // if it has fewer than six). A name without the extension is appended unchanged. Returns: out.
    static std::string& GetUniversalName(std::string& out, const char* name);

    // Appends the file path of this library itself, if a library is loaded by this object. Returns: out.
    std::string& GetModulePath(std::string& out);

    std::string m_path;
    int m_mode;
    void* m_handle;
    std::string m_error;
};

}  // namespace ORM_LUX

// An address by which this library can be found at run time. Never written.
ORM_EXPORT extern void* _anyAddressInThisModuleWillDo;
