#include "boundary/platform.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// After windows.h.
#include <cstdio>
#else
#include <dlfcn.h>
#include <syslog.h>
#endif

namespace platform {

#if defined(_WIN32)

const char *const kPythonLibraryName = "python27.dll";

void *openLibrary(const char *name) { return LoadLibraryA(name); }

// A symbol is always asked of one library here.
void makeVisible(const char *) {}
void *findVisibleSymbol(const char *) { return nullptr; }

void *findSymbol(void *library, const char *name) {
  if (!library) {
    return nullptr;
  }
  return reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void closeLibrary(void *library) { FreeLibrary(static_cast<HMODULE>(library)); }

void stayLoaded() {
  HMODULE self = nullptr;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<const char *>(&stayLoaded), &self);
}

void log(const char *format, const char *text) {
  char message[1024];
  std::snprintf(message, sizeof message, format, text);
  OutputDebugStringA(message);
}

#else

#if defined(__APPLE__)
const char *const kPythonLibraryName = "libpython2.7.dylib";
#else
const char *const kPythonLibraryName = "libpython2.7.so.1.0";
#endif

void *openLibrary(const char *name) { return dlopen(name, RTLD_LAZY | RTLD_LOCAL); }

void makeVisible(const char *name) { dlopen(name, RTLD_LAZY | RTLD_NOLOAD | RTLD_GLOBAL); }

// A null handle would mean "anywhere in the process" to dlsym.
void *findSymbol(void *library, const char *name) {
  return library ? dlsym(library, name) : nullptr;
}

void *findVisibleSymbol(const char *name) { return dlsym(RTLD_DEFAULT, name); }

void closeLibrary(void *library) { dlclose(library); }

#if defined(__APPLE__)
void stayLoaded() {
  Dl_info self;
  if (dladdr(reinterpret_cast<const void *>(&stayLoaded), &self)) {
    dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
  }
}
#else
void stayLoaded() {} // the file says so itself: it is linked with -z nodelete
#endif

void log(const char *format, const char *text) { syslog(LOG_ERR, format, text); }

#endif

} // namespace platform
