// The start of the interpreter: never without its standard library, and where the application ships a
// Python, in a world of its own. What it takes beyond the listed symbols is looked up here, and may be
// missing.

#include <algorithm>
#include <cstring>

#include "python/runtime.h"

namespace {

using platform::Path;

template <class Symbol> Symbol *pythonSymbol(const char *name) {
  return reinterpret_cast<Symbol *>(platform::findSymbol(PythonDLLHandle, name));
}
#define PYTHON_SYMBOL(name) pythonSymbol<decltype(name)>(#name)

// Whether a folder of Python's search path has the module, or the path is that of an archive.
bool has(const Path &path, std::string_view module) {
  if (path.view().ends_with(".zip")) {
    return platform::existsForPython(path);
  }
  for (std::string_view suffix : {".py", ".pyc", ".pyo"}) {
    if (platform::existsForPython(path / module + suffix)) {
      return true;
    }
  }
  return false;
}

// The search path that Python works out before it starts, entry by entry.
class SearchPath {
public:
  explicit SearchPath(std::string_view path) : rest_(path) {}
  bool atEnd() const { return rest_.empty(); }

  Path next() {
    const std::size_t length = std::min(rest_.find(platform::kListSeparator), rest_.size());
    const Path entry({rest_.data(), length});
    rest_.remove_prefix(std::min(length + 1, rest_.size()));
    return entry;
  }

private:
  std::string_view rest_;
};

bool isFound(const char *searchPath, std::string_view module) {
  for (SearchPath entries(searchPath); !entries.atEnd();) {
    if (has(entries.next(), module)) {
      return true;
    }
  }
  return false;
}

// Where Python will look; null when that cannot be known.
const char *searchPath() {
  auto *const ask = PYTHON_SYMBOL(Py_GetPath);
  return ask ? ask() : nullptr;
}

// Those without which Python ends the process.
bool standardLibraryIsThere() {
  const char *const path = searchPath();
  return !path || (isFound(path, "site") && isFound(path, "os"));
}

char gHome[platform::kLongestPath]; // which Python keeps the pointer to

// A home of its own, no variable and no folder of the user's.
bool keepToItself() {
  auto *const setHome = PYTHON_SYMBOL(Py_SetPythonHome);
  int *const ignoreEnvironment = PYTHON_SYMBOL(Py_IgnoreEnvironmentFlag);
  int *const noUserSite = PYTHON_SYMBOL(Py_NoUserSiteDirectory);
  if (!setHome || !ignoreEnvironment || !noUserSite) {
    return false;
  }
  char buffer[platform::kLongestPath];
  const std::string_view path = platform::pathForPython(gPythonPlace.home.view(), buffer);
  std::memcpy(gHome, path.data(), path.size());
  gHome[path.size()] = '\0';
  *ignoreEnvironment = 1;
  *noUserSite = 1;
  setHome(gHome);
  return true;
}

// The folders that the registry names come before those of the home. So nothing is imported until
// only the latter are left.
void startWithoutRegistry(std::string_view home) {
  int *const noSite = PYTHON_SYMBOL(Py_NoSiteFlag);
  if (noSite) {
    *noSite = 1;
  }
  EPy_Initialize();
  PyRef path(EPyObject_CallObject(reinterpret_cast<PyObject *>(e__PyList_Type), nullptr));
  const char *const all = searchPath();
  for (SearchPath entries(all ? all : ""); !entries.atEnd();) {
    const Path entry = entries.next();
    if (PyRef name = newPythonString(entry.view());
        path && name && entry.view().starts_with(home)) {
      EPyList_Append(path.get(), name.get());
    }
  }
  if (path) {
    EPySys_SetObject(const_cast<char *>("path"), path.get());
  }
  if (noSite) {
    *noSite = 0;
    PyRef name = newPythonString("site");
    PyRef site(name ? EPyImport_Import(name.get()) : nullptr);
  }
  EPyErr_Clear();
}

} // namespace

bool startInterpreter() {
  const bool isShipped = static_cast<bool>(gPythonPlace.home);
  if (isShipped && !keepToItself()) {
    platform::log("Did not start %s, which cannot be kept apart from the machine's settings\n",
                  gPythonPlace.file.text());
    return false;
  }
  if (!standardLibraryIsThere()) {
    platform::log("Did not start Python, which finds no standard library in %s\n", searchPath());
    return false;
  }
  if (isShipped && platform::kRegistryNamesModules) {
    startWithoutRegistry(gHome);
  } else {
    EPy_Initialize();
  }
  return true;
}
