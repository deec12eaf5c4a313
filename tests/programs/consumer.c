/* A host in plain C: creates and destroys a driver. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
    void* library = dlopen(argv[argc - 1], RTLD_NOW | RTLD_LOCAL);
    void* (*create)(void) = NULL;
    void (*destroy)(void*) = NULL;
    void* driver = NULL;
    void* symbol = NULL;
    if (library == NULL) return puts(dlerror()), 1;
    symbol = dlsym(library, "CreateChannelDriver");
    memcpy(&create, &symbol, sizeof symbol);
    symbol = dlsym(library, "DestroyChannelDriver");
    memcpy(&destroy, &symbol, sizeof symbol);
    if (create == NULL || destroy == NULL) return 1;
    driver = create();
    destroy(driver);
    destroy(NULL);
    return driver == NULL || dlclose(library) != 0;
}
