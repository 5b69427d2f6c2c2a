// What differs between operating systems, for the tests: Python's library as the plug-in opened it,
// what a process takes of memory, a process of one's own, Ctrl-C. The bodies stand together in
// platform.cpp, and what stands between the plug-in and the system in redirect.cpp.
#pragma once

#include <cstddef>
#include <functional>

#include "host/runtime/platform.h"

namespace platform {

using host::platform::closeLibrary;
using host::platform::findSymbol;
using host::platform::kPythonLibrary;
using host::platform::libraryError;
using host::platform::openLibrary;

// A library that is open already, by its path or name; null when it is not. The caller closes it.
void *openAgain(const char *name);

// Whether libraries can be bound to the symbols of others that they do not name.
#if defined(_WIN32)
inline constexpr bool kSharesSymbols = false;
#else
inline constexpr bool kSharesSymbols = true;
#endif

// Opens a library whose symbols other libraries of the program are bound to from then on.
void *openVisible(const std::string &name);

// Whether libraries that are opened later could be bound to that symbol.
bool isVisible(const char *symbol);

// A function or variable of the Python library that the plug-in opened, or null.
void *findPythonSymbol(const char *name);

// A variable of the environment, for what is loaded from now on.
void setVariable(const char *name, const std::string &value);

// Ctrl-C, for Python.
void interrupt();

// Bytes that the process has got from its heaps, and those of it that are in memory.
std::size_t allocatedBytes();
std::size_t residentBytes();

// Whether freed memory comes back late, as a tool that looks for faults has it.
bool isUnderMemoryChecker();

// Runs `work` in a process of its own, of which only that block of memory comes back; where the
// system cannot copy a process, in this one. False when it ended badly.
bool runApart(const std::function<void()> &work, void *shared, std::size_t size);

} // namespace platform
