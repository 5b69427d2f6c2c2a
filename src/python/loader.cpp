// Finding Python: the library is opened when the plug-in loads, and every symbol looked up once.

#include <cstdio>
#include <cstring>

#include "boundary/platform.h"
#include "python/slots.h"

#define DEFINE_FUNCTION(name) decltype(&::name) E##name = nullptr;
#define DEFINE_OBJECT(name) decltype(&::_##name) e__##name = nullptr;
#define DEFINE_TYPE(name) decltype(&::name) e__##name = nullptr;
#define DEFINE_EXCEPTION(name) decltype(&::PyExc_##name) e__PyExc_##name = nullptr;

QUILLIX_SYMBOLS_1(DEFINE_FUNCTION)
QUILLIX_SYMBOLS_2(DEFINE_FUNCTION, DEFINE_OBJECT)
QUILLIX_SYMBOLS_3(DEFINE_OBJECT)
QUILLIX_SYMBOLS_4(DEFINE_TYPE, DEFINE_EXCEPTION)
QUILLIX_EXTRA_SYMBOLS(DEFINE_FUNCTION, DEFINE_TYPE)
QUILLIX_LIST_SYMBOLS(DEFINE_FUNCTION)
QUILLIX_DICTIONARY_SYMBOLS(DEFINE_FUNCTION)

bool gPythonFound = false;
void *PythonDLLHandle = nullptr;
PythonPlace gPythonPlace;

namespace {

// Looks symbols up and remembers whether one was missing. Each result is examined on its own:
// dlerror() need not remember a miss past the next hit.
class Resolver {
public:
  explicit Resolver(void *library) : library_(library) {}

  template <class Slot> void fill(Slot &slot, const char *symbol) {
    void *address = platform::findSymbol(library_, symbol);
    slot = reinterpret_cast<Slot>(address);
    complete_ = complete_ && address;
  }
  bool complete() const { return complete_; }

private:
  void *library_;
  bool complete_ = true;
};

// The symbol's name after the header's own renaming, as the library exports it.
#define QUOTE(symbol) #symbol
#define EXPORTED_NAME(name) QUOTE(name)

#define FILL_FUNCTION(name) resolver.fill(E##name, EXPORTED_NAME(name));
#define FILL_OBJECT(name) resolver.fill(e__##name, "_" #name);
#define FILL_TYPE(name) resolver.fill(e__##name, #name);
#define FILL_EXCEPTION(name) resolver.fill(e__PyExc_##name, "PyExc_" #name);

#define CLEAR_FUNCTION(name) E##name = nullptr;
#define CLEAR_DATA(name) e__##name = nullptr;

// No slot may keep an address in a library that is closed.
void *refuseLibrary(void *library, const char *message) {
  std::puts(message);
  gPythonFound = false;
  QUILLIX_SYMBOLS_1(CLEAR_FUNCTION)
  QUILLIX_SYMBOLS_2(CLEAR_FUNCTION, CLEAR_DATA)
  QUILLIX_SYMBOLS_3(CLEAR_DATA)
  platform::closeLibrary(library);
  return nullptr;
}

// What is there and cannot be used; that there is nothing is no fault.
void tellLog(const platform::Path &place, Seen seen) {
  if (seen == Seen::NoLibrary) {
    platform::log("Passed over %s, which lacks the library of Python\n", place.text());
  } else if (seen == Seen::NoModules) {
    platform::log("Passed over %s, which lacks the standard library\n", place.text());
  } else if (seen == Seen::CannotBeOpened && place.folder()) {
    platform::log("Passed over %s, which cannot be opened\n", place.text());
  }
}

} // namespace

bool otherPythonIsVisible() {
  auto *version =
      reinterpret_cast<decltype(&Py_GetVersion)>(platform::findVisibleSymbol("Py_GetVersion"));
  if (!version || std::strncmp(version(), "2.7", 3) == 0) {
    return false;
  }
  platform::log("Could not use %s: the symbols of another Python are visible in this program\n",
                platform::kPythonLibraryName);
  return true;
}

void *LoadPythonLibrary() {
  if (otherPythonIsVisible()) {
    return nullptr;
  }
  gPythonPlace = findPython(platform::fileOf(PythonList_LoadAPI), tellLog);
  void *library = gPythonPlace.library;
  if (!library) {
    platform::log("Could not load %s\n", platform::kPythonLibraryName);
    return nullptr;
  }
  gPythonFound = true;

  Resolver resolver(library);
  QUILLIX_SYMBOLS_1(FILL_FUNCTION)
  // These texts are fixed, their spelling included: programs and people search for them.
  if (!resolver.complete()) {
    return refuseLibrary(library, "Coult not load symbol");
  }
  QUILLIX_SYMBOLS_2(FILL_FUNCTION, FILL_OBJECT)
  if (!resolver.complete()) {
    return refuseLibrary(library, "Coult not dlsym_errorload symbol _Py_TrueStruct");
  }
  QUILLIX_SYMBOLS_3(FILL_OBJECT)
  if (!resolver.complete()) {
    return refuseLibrary(library, "Coult not load symbol _Py_ZeroStruct");
  }
  QUILLIX_SYMBOLS_4(FILL_TYPE, FILL_EXCEPTION)
  QUILLIX_EXTRA_SYMBOLS(FILL_FUNCTION, FILL_TYPE)
  return library;
}

void PythonList_LoadAPI() {
  Resolver resolver(PythonDLLHandle);
  QUILLIX_LIST_SYMBOLS(FILL_FUNCTION)
  if (!resolver.complete()) {
    QUILLIX_LIST_SYMBOLS(CLEAR_FUNCTION)
  }
}

void PythonDictionary_LoadAPI() {
  Resolver resolver(PythonDLLHandle);
  QUILLIX_DICTIONARY_SYMBOLS(FILL_FUNCTION)
  if (!resolver.complete()) {
    QUILLIX_DICTIONARY_SYMBOLS(CLEAR_FUNCTION)
  }
}
