// What differs between operating systems: opening a library, finding a symbol in it, the system
// log, how a function is exported, and how data that nothing uses is kept. The bodies stand together
// in platform.cpp.
#pragma once

#if defined(_WIN32)
#define QUILLIX_EXPORT extern "C" __declspec(dllexport)
#else
#define QUILLIX_EXPORT extern "C" __attribute__((visibility("default")))
#endif

// Kept by the compiler and, where it drops unused sections, by the linker.
#if defined(__ELF__)
#define QUILLIX_KEEP __attribute__((used, retain))
#else
#define QUILLIX_KEEP __attribute__((used))
#endif

namespace platform {

// The file name of this platform's Python 2.7 library, without a directory: the platform's own
// search for libraries finds it.
extern const char *const kPythonLibraryName;

// Opens a library with lazy binding and its symbols visible to libraries opened later (Python's
// extension modules need that). Null when it cannot be opened. The caller closes it.
void *openLibrary(const char *name);

// The address of a symbol, or null; null for a null library.
void *findSymbol(void *library, const char *name);

void closeLibrary(void *library);

// Writes "Could not load ", the file name and a line feed to the system log.
void logMissingLibrary(const char *name);

} // namespace platform
