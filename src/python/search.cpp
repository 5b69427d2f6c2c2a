#include "python/search.h"

namespace {

using platform::Path;

// A library, or a folder of a shipped Python; nothing is opened before it has been looked at.
class Search {
public:
  explicit Search(void (*tell)(const Path &, Seen)) : tell_(tell) {}

  void shipped(const Path &folder) {
    if (found_.library || !folder) {
      return;
    }
    const Path home = folder / "python";
    if (!platform::exists(home)) {
      tell_(home, Seen::Nothing);
    } else if (const Path library = home / platform::kShippedLibrary; !platform::exists(library)) {
      tell_(home, Seen::NoLibrary);
    } else if (!hasModules(home)) {
      tell_(home, Seen::NoModules);
    } else if (open(library)) {
      found_.home = home;
    }
  }

  void installed(const Path &library) {
    if (found_.library || !library) {
      return;
    }
    if (platform::exists(library)) {
      open(library);
    } else {
      tell_(library, Seen::Nothing);
    }
  }

  bool open(const Path &library) {
    if (found_.library) {
      return false;
    }
    found_.library = platform::openLibrary(library.text());
    if (found_.library) {
      found_.file = library;
    }
    tell_(library, found_.library ? Seen::IsTaken : Seen::CannotBeOpened);
    return found_.library;
  }

  const PythonPlace &found() const { return found_; }

private:
  static bool hasModules(const Path &home) {
    for (const char *file : platform::kShippedModules) {
      if (platform::exists(home / file)) {
        return true;
      }
    }
    return false;
  }

  void (*tell_)(const Path &, Seen);
  PythonPlace found_;
};

} // namespace

PythonPlace findPython(const Path &plugin, void (*tell)(const Path &, Seen)) {
  Search search(tell);
  const Path folder = plugin.folder();
  const platform::Application application = platform::applicationAround(folder);
  search.shipped(folder);
  search.shipped(application.program);
  search.shipped(application.resources);
  search.open(Path(platform::kPythonLibraryName));
  for (int n = 0; n < platform::kInstallers; ++n) {
    search.installed(platform::installedLibrary(n));
  }
  return search.found();
}
