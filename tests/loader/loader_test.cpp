// Loading where there is no Python, one whose library lacks a symbol, or another Python beside it.
// In Python's place are the stubs of stub_python.cpp: a test opens one, and the plug-in finds that
// one by the library's name.

#include "tests/platform.h"
#include "tests/redirect.h"
#include "tests/tour.h"

#include "python/symbols.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace {

using redirect::gLogged;

void *openLibrary() { return platform::openAgain(platform::kPythonLibrary); }

int gLookUps = 0; // of functions that were found

void *countFunctions(void *, const char *name, void *found) {
  static const std::set<std::string_view> functions = {
#define NAME(name) #name,
#define NO_NAME(name)
      QUILLIX_SYMBOLS_1(NAME) QUILLIX_SYMBOLS_2(NAME, NO_NAME) QUILLIX_LIST_SYMBOLS(NAME)
          QUILLIX_DICTIONARY_SYMBOLS(NAME) "Py_InitModule4_64"};
  gLookUps += found && functions.contains(name);
  return found;
}

// A line of the log, in which "%s" stands for the library.
std::string logLine(std::string_view format) {
  std::string line(format);
  const std::size_t at = line.find("%s");
  return at == std::string::npos ? line : line.replace(at, 2, QUILLIX_PYTHON_LIBRARY_NAME);
}

struct Library {
  std::string_view omitted; // from a library that has all else
  const char *printed;      // on standard output; what is said about a library refuses it
  int lookups;              // of the functions that are there, out of 52
  const char *logged = "";
};
void PrintTo(const Library &library, std::ostream *out) { *out << library.omitted; }

constexpr const char *kGroup2 = "Coult not dlsym_errorload symbol _Py_TrueStruct\n";
const Library kLibraries[] = {{"none", "", 0, "Could not load %s\n"},
                              {"Py_Initialize", "Coult not load symbol\n", 0},
                              {"PyTuple_New", kGroup2, 51},
                              {"PyDict_SetItem", kGroup2, 51},
                              {"_Py_TrueStruct", kGroup2, 52},
                              {"_Py_ZeroStruct", "Coult not load symbol _Py_ZeroStruct\n", 52},
                              {"PyFloat_Type", "", 52},
                              {"PyExc_ReferenceError", "", 52},
                              {"PyList_Sort", "", 52},
                              {"PyDict_Keys", "", 52},
                              {"complete", "", 52}};

class LoaderTest : public testing::Test {
protected:
  // Undoes what an earlier test in this process has loaded.
  void SetUp() override {
    host::unload();
    while (void *const library = openLibrary()) {
      platform::closeLibrary(library);
      platform::closeLibrary(library);
    }
  }
  void TearDown() override { EXPECT_EQ(host::survivors(), ""); }

  // What libraries that are opened later would be bound to.
  static bool isVisible() { return platform::isVisible("stub_calls"); }

  // Opens a stub and loads the plug-in; yields what that writes to standard output.
  std::string load(std::string_view omitted) {
    const std::string folder = QUILLIX_STUB_DIR "/" + std::string(omitted);
    stub = platform::openLibrary(folder + "/" + platform::kPythonLibrary);
    if (stub) {
      calls = static_cast<int *>(platform::findSymbol(stub, "stub_calls"));
      answer = static_cast<void **>(platform::findSymbol(stub, "stub_answer"));
    }
    gLookUps = 0;
    redirect::gLookUp = countFunctions;
    redirect::plugin(host::pluginPath(QUILLIX_PLUGIN_PATH));
    gLogged.clear();
    testing::internal::CaptureStdout();
    host::load(host::pluginPath(QUILLIX_PLUGIN_PATH));
    return testing::internal::GetCapturedStdout();
  }

  // From now on every function of the stub succeeds.
  void succeed() { *answer = platform::findSymbol(stub, "PyDict_Type"); }

  // Stops the interpreter that the stub claims to run.
  void finalize() {
    succeed();
    host::callShared("Quillix", "Finalize()");
  }

  void *stub = nullptr;
  int *calls = nullptr;
  void **answer = nullptr;
};

class LibraryTest : public LoaderTest, public testing::WithParamInterface<Library> {
protected:
  // An exception class that is missing is not raised. Where one function of a set is missing, none
  // of the set is called.
  void useWhatIsThere() {
    const std::string_view omitted = GetParam().omitted;
    host::callShared("Quillix", "Init()");
    *calls = 0;
    host::callShared("Quillix", "SetError(errorType as Integer, message as String)", 22, "text");
    EXPECT_EQ(*calls, omitted == "PyExc_ReferenceError" ? 0 : 1);
    succeed();
    const host::Object dictionary = host::create("PythonDictionary", "Constructor()");
    const host::Object keys = dictionary.call<host::Object>("GetKeys() as PythonList");
    EXPECT_EQ(!keys, omitted == "PyDict_Keys");
    *calls = 0;
    Tour tour(false);
    tour.wanted = [](std::string_view name) { return name != "Count"; }; // the answer is no number
    if (keys)
      tour.visit(keys);
    else
      dictionary.call("Remove(key as String)", "key");
    EXPECT_EQ(*calls == 0, omitted == "PyDict_Keys" || omitted == "PyList_Sort");
  }
};

INSTANTIATE_TEST_SUITE_P(, LibraryTest, testing::ValuesIn(kLibraries));

TEST_P(LibraryTest, isUsedOrClosed) {
  const auto &[omitted, printed, lookupsAtLoad, logged] = GetParam();
  const std::size_t builtins = host::classes().size();
  EXPECT_EQ(load(omitted), printed);
  EXPECT_EQ(gLogged, logLine(logged));
  const bool found = !*printed && !*logged;
  EXPECT_EQ(host::callShared<bool>("Quillix", "PythonIsFound() as Boolean"), found);
  EXPECT_EQ(host::classes().size(), builtins + 15);
  EXPECT_EQ(host::modules().size(), 1U);
  if (redirect::kSeesLookUps) {
    EXPECT_EQ(gLookUps, lookupsAtLoad);
  }
  EXPECT_FALSE(isVisible()) << "to a neighbour that brings a Python of its own";

  // Host code that uses everything all the same gets nothing from it: without an interpreter, and
  // in one where everything fails, if the library is usable.
  Tour first(false);
  first.visitClasses();
  constexpr const char *kDelete = "DeleteAttribute(name as String) as Integer"; // fails with -1
  std::vector<std::string> answers = {kDelete, kDelete, "Name", "Name"};
  if (found)
    answers.push_back("PythonIsFound() as Boolean");
  EXPECT_EQ(first.answers, answers);
  for (const bool nilArguments : {true, false}) {
    host::callShared("Quillix", "Init()");
    Tour(nilArguments).visitClasses();
  }
  if (!stub)
    return;

  EXPECT_EQ(isVisible(), found && platform::kSharesSymbols) << "to extension modules";
  if (redirect::kSeesLookUps && (!found || omitted == "complete")) {
    EXPECT_EQ(gLookUps, lookupsAtLoad + (found ? 8 + 3 : 0)) << "lists and dictionaries, once";
  }
  if (found)
    useWhatIsThere();
  finalize();
  platform::closeLibrary(stub);
  EXPECT_EQ(openLibrary() != nullptr, found);
}

// One that lies there could have been put there by anybody.
TEST_F(LoaderTest, theCurrentFolderIsNotLookedInto) {
  const std::filesystem::path before = std::filesystem::current_path();
  current_path(std::filesystem::path(QUILLIX_STUB_DIR) / "complete");
  EXPECT_TRUE(std::filesystem::exists(platform::kPythonLibrary));
  load("none");
  EXPECT_FALSE(host::callShared<bool>("Quillix", "PythonIsFound() as Boolean"));
  EXPECT_EQ(gLogged, logLine("Could not load %s\n"));
  current_path(before);
}

// A library of 2.7 that is opened, or first called, while another Python's symbols are visible
// would be bound to those.
using OtherPython = std::tuple<std::string, bool>; // version, and whether it is there at load

class OtherPythonTest : public LoaderTest, public testing::WithParamInterface<OtherPython> {};
INSTANTIATE_TEST_SUITE_P(, OtherPythonTest,
                         testing::Combine(testing::Values("3.11.2 (main)", "2.6.9 (r269)",
                                                          "2.7.18 (default)"),
                                          testing::Bool()));

TEST_P(OtherPythonTest, isNotMixedWithOurs) {
  if (!platform::kSharesSymbols)
    GTEST_SKIP() << "a symbol is always asked of one library here";
  const auto &[version, early] = GetParam();
  const bool ours = version.starts_with("2.7");
  const auto openOther = [text = version.c_str()] {
    void *const other = platform::openVisible(QUILLIX_STUB_DIR "/other/libpython3.so");
    *static_cast<const char **>(platform::findSymbol(other, "stub_version")) = text;
  };
  const auto isFound = [] {
    return host::callShared<bool>("Quillix", "PythonIsFound() as Boolean");
  };
  if (early)
    openOther();
  load("complete");
  EXPECT_EQ(isFound(), ours || !early);
  if (!early)
    openOther();
  *calls = 0;
  host::callShared("Quillix", "Init()");
  EXPECT_EQ(*calls > 0, ours);
  EXPECT_EQ(isFound(), ours);
  EXPECT_EQ(gLogged, ours
                         ? ""
                         : logLine("Could not use %s: the symbols of another Python are visible in "
                                   "this program\n"));
  finalize();
  platform::closeLibrary(stub);
}

} // namespace
