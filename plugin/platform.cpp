#include "plugin/platform.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdio>
#else
#include <dlfcn.h>
#include <syslog.h>
#endif

namespace platform {

#if defined(_WIN32)

const char *const kPythonLibraryName = "python27.dll";

void *openLibrary(const char *name) { return LoadLibraryA(name); }

void *findSymbol(void *library, const char *name) {
  if (!library) {
    return nullptr;
  }
  return reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void closeLibrary(void *library) { FreeLibrary(static_cast<HMODULE>(library)); }

void logMissingLibrary(const char *name) {
  char message[MAX_PATH + 32];
  std::snprintf(message, sizeof message, "Could not load %s\n", name);
  OutputDebugStringA(message);
}

#else

#if defined(__APPLE__)
const char *const kPythonLibraryName = "libpython2.7.dylib";
#else
const char *const kPythonLibraryName = "libpython2.7.so.1.0";
#endif

void *openLibrary(const char *name) { return dlopen(name, RTLD_LAZY | RTLD_GLOBAL); }

// A null handle would mean "anywhere in the process" to dlsym.
void *findSymbol(void *library, const char *name) {
  return library ? dlsym(library, name) : nullptr;
}

void closeLibrary(void *library) { dlclose(library); }

void logMissingLibrary(const char *name) { syslog(LOG_ERR, "Could not load %s\n", name); }

#endif

} // namespace platform
