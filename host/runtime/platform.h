// What differs between operating systems, for the host and for what is built with it: libraries,
// files of functions, processes. The bodies stand together in platform.cpp.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

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

// Before anything else: how the system treats this program's search for libraries. Returns the words of
// its command line in UTF-8; `words` are what main has got.
std::vector<std::string> start(int count, const char *const *words);

// A variable of the environment in UTF-8; empty when it is not set. Paths are UTF-8, too.
std::string variable(const char *name);

// From UTF-8 and to it.
std::filesystem::path pathOf(const std::string &text);
std::string textOf(const std::filesystem::path &path);

// The same path from the root; where nothing has to be there.
std::string absolute(const std::string &path);

// A library by its path or name, its symbols its own; null when it cannot be opened, for which
// libraryError() says why. The caller closes it.
void *openLibrary(const std::string &name);
std::string libraryError();
void closeLibrary(void *library);

// The address of a symbol, or null.
void *findSymbol(void *library, const char *name);

// The file of the library in which a function or variable lies; empty when that is not known.
std::string fileOf(const void *address);

// What `work` returns when it runs in a process of its own; negative when it does not return. Where
// the system cannot copy a process, that is this program anew, with these arguments.
int statusApart(const std::function<int()> &work, const std::vector<std::string> &arguments);

// What the files of a project call this system: in the steps of a build, and for the program's name.
extern const char *const kBuildTarget;
extern const char *const kProgramNameKey;

// Where a built application has its parts, below a folder.
struct Layout {
  std::string program;
  std::string libraries;
  std::string resources;
};
Layout layoutOf(const std::string &programName);

} // namespace host::platform
