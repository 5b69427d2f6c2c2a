// What differs between operating systems, for the host and for what is built with it: libraries,
// files of functions, processes. The bodies stand together in platform.cpp.
#pragma once

#include <string>

// How the formats of printf are checked: as those of C, which is not what Windows's own are.
#if defined(__MINGW32__)
#define QUILLIX_PRINTF gnu_printf
#else
#define QUILLIX_PRINTF printf
#endif

namespace host::platform {

// The name by which this system's Python 2.7 is asked for.
extern const char *const kPythonLibrary;

// Where the system looks for it and Python for its standard library, as advice to users; %s is the
// library's name.
extern const char *const kAdvice;

// Before anything else: how the system treats this program's output and its search for libraries.
void start();

// A library by its path or name, its symbols its own; null when it cannot be opened, for which
// libraryError() says why. The caller closes it.
void *openLibrary(const std::string &name);
std::string libraryError();
void closeLibrary(void *library);

// The address of a symbol, or null.
void *findSymbol(void *library, const char *name);

// The file of the library in which a function or variable lies; empty when that is not known.
std::string fileOf(const void *address);

// Whether `work` returns when it runs in a process of its own. Where the system cannot copy a
// process, that is this program anew, with these two arguments.
bool returnsApart(void (*work)(), const char *verb, const char *argument);

} // namespace host::platform
