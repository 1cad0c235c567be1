#ifndef ZELCONFIG_PLATFORM_DYNAMICLOADER_H
#define ZELCONFIG_PLATFORM_DYNAMICLOADER_H

// The platform's dynamic loader, the only way the library reaches plug-ins.
// POSIX dlfcn on both Linux and QNX.
#include <dlfcn.h>

namespace zelconfig {

// Opens a library through the library search path, resolving every symbol at
// once and keeping them out of the global scope; NULL on failure.
inline void* OpenLibraryNow(const char* name)
{
    return dlopen(name, RTLD_NOW);
}

// Whether the named library is loaded in this process already; loads nothing.
inline bool IsLibraryLoaded(const char* name)
{
    void* library = dlopen(name, RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr) {
        dlerror(); // the miss is the answer, not an error to leave pending
        return false;
    }
    dlclose(library);
    return true;
}

inline void* FindSymbol(void* library, const char* symbol)
{
    return dlsym(library, symbol);
}

// The loader's last error text, which it then forgets; NULL when none.
inline const char* TakeLoaderError()
{
    return dlerror();
}

} // namespace zelconfig

#endif
