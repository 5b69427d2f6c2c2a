#include "host/cli/cli.h"
#include "host/runtime/call.h"
#include "host/runtime/platform.h"
#include "python/search.h"
#include "python/symbols.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr const char *kStart = "--start"; // and stop, in a process of its own

// As the library exports it, which is not always as Python's header writes it.
std::string exportedName(const std::string &name) {
  return name == "Py_InitModule4" && sizeof(void *) == 8 ? "Py_InitModule4_64" : name;
}

struct Symbol {
  std::string name;
  bool isNeeded; // without it the library is not used at all
};

std::vector<Symbol> symbols() {
  std::vector<Symbol> all;
#define NEEDED_FUNCTION(name) all.push_back({exportedName(#name), true});
#define NEEDED_OBJECT(name) all.push_back({"_" #name, true});
#define LATER_FUNCTION(name) all.push_back({#name, false});
#define OPTIONAL_TYPE(name) all.push_back({#name, false});
#define OPTIONAL_EXCEPTION(name) all.push_back({"PyExc_" #name, false});
  QUILLIX_SYMBOLS_1(NEEDED_FUNCTION)
  QUILLIX_SYMBOLS_2(NEEDED_FUNCTION, NEEDED_OBJECT)
  QUILLIX_SYMBOLS_3(NEEDED_OBJECT)
  QUILLIX_SYMBOLS_4(OPTIONAL_TYPE, OPTIONAL_EXCEPTION)
  QUILLIX_LIST_SYMBOLS(LATER_FUNCTION)
  QUILLIX_DICTIONARY_SYMBOLS(LATER_FUNCTION)
#undef NEEDED_FUNCTION
#undef NEEDED_OBJECT
#undef LATER_FUNCTION
#undef OPTIONAL_TYPE
#undef OPTIONAL_EXCEPTION
  return all;
}

void say(const char *what, const std::string &text) {
  std::printf("%-9s  %s\n", what, text.c_str());
  std::fflush(stdout);
}

// Says which symbols are missing; false when one of those that are needed is.
bool checkSymbols(void *library) {
  const std::vector<Symbol> all = symbols();
  bool complete = true;
  bool usable = true;
  for (const Symbol &symbol : all) {
    if (host::platform::findSymbol(library, symbol.name.c_str()))
      continue;
    say("missing", symbol.name + (symbol.isNeeded ? " (needed)" : ""));
    complete = false;
    usable = usable && !symbol.isNeeded;
  }
  if (complete)
    say("symbols", "all " + std::to_string(all.size()) + " found");
  return usable;
}

void tellPlace(const platform::Path &place, Seen seen) {
  static constexpr const char *outcomes[] = {"nothing is there", "the library of Python is missing",
                                             "the standard library is missing", "cannot be opened",
                                             "is taken"};
  say("looked at", std::string(place.view()) + ": " + outcomes[static_cast<int>(seen)]);
}

PythonPlace find(void (*tell)(const platform::Path &, Seen)) {
  return findPython(platform::Path(host::platform::absolute(host::pluginPath())), tell);
}

// Init does nothing where Python would not start: then there is no module to be had.
void startAndStop() {
  host::callShared("Quillix", "Init()");
  const bool runs = !!host::callShared<host::Object>(
      "Quillix", "GetModule(name as String) as PythonModule", "sys");
  host::callShared("Quillix", "Finalize()");
  if (runs)
    return;
  void *const library = find([](const platform::Path &, Seen) {}).library;
  if (void *const path = host::platform::findSymbol(library, "Py_GetPath"))
    say("modules", std::string("none in ") + reinterpret_cast<const char *(*)()>(path)());
  std::exit(cli::kFailure);
}

// Looks as the plug-in will: before it has opened a library, which would then be found by its name.
platform::Path tellPlaces() {
  const PythonPlace place = find(tellPlace);
  if (place.library)
    platform::closeLibrary(place.library);
  return place.file;
}

bool checkPython(const platform::Path &taken) {
  void *const library = taken ? platform::openLibrary(taken.text()) : nullptr;
  if (!library) {
    say("library", "not found");
    return false;
  }
  const std::string file =
      host::platform::fileOf(host::platform::findSymbol(library, "Py_Initialize"));
  say("library", file.empty() ? "an unknown place" : file);
  if (void *const version = host::platform::findSymbol(library, "Py_GetVersion")) {
    std::string text = reinterpret_cast<const char *(*)()>(version)();
    std::replace(text.begin(), text.end(), '\n', ' ');
    say("version", text);
  }
  if (!checkSymbols(library))
    return false;
  if (!host::callShared<bool>("Quillix", "PythonIsFound() as Boolean")) {
    say("plug-in", "did not accept this library");
    return false;
  }
  const auto start = [] {
    startAndStop();
    return 0;
  };
  if (host::platform::statusApart(start, {"check", kStart}) != 0) {
    say("start", "failed: Python does not find its standard library");
    return false;
  }
  say("start", "works");
  return true;
}

} // namespace

const char *const cli::kCheckHelp =
    R"(usage: quillix-host check

Says where the plug-in looks for Python, in its order, and which library it takes; the version of
that, which of the symbols that the plug-in uses are missing, and whether the interpreter starts;
when it cannot be used, what to do.

Exit status: 0 it can be used; 1 it cannot, or the plug-in cannot be loaded; 2 wrong usage;
3 something was still alive at the end that should have been gone.
)";

int cli::check(Arguments arguments) {
  const bool justStarts = arguments.size() == 1 && std::string_view(arguments[0]) == kStart;
  if (!arguments.empty() && !justStarts)
    return badUsage("check takes no arguments", kCheckHelp);
  platform::Path taken;
  if (!justStarts) {
    say("plug-in", host::pluginPath());
    taken = tellPlaces();
  }
  if (!loadPlugin())
    return kFailure;
  if (justStarts) {
    startAndStop();
    return kSuccess;
  }
  if (checkPython(taken)) {
    say("result", "Python can be used");
    return finish(kSuccess);
  }
  say("result", "Python cannot be used");
  std::printf(host::platform::kAdvice, host::platform::kPythonLibrary);
  return kFailure;
}
