// The names, for the linker alone, of what libdl.so.2 offers; see PluginLinking.cmake.
void dlopen(void) {}
void dlsym(void) {}
void dlclose(void) {}
void dlerror(void) {}
void dladdr(void) {}
