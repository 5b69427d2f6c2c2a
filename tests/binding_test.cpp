// The plug-in in a host that lacks something. That nothing is lost meanwhile, the faults test
// shows.

#include "tests/wrappers.h"

using namespace std::string_view_literals;

namespace {

// Each test loads the plug-in anew, so that it has looked nothing up yet.
class BindingTest : public RunningTest {
protected:
  void SetUp() override { host::unload(); }

  void loadWithout(std::initializer_list<std::string_view> missing) {
    host::forgetLookups();
    for (const std::string_view name : missing)
      host::withhold(name);
    RunningTest::SetUp();
  }
};

host::Object describe(const char *className, const host::String &name) {
  return host::create(className, "Constructor(name as String, methodCount as UInt32)", name, 0U);
}

// --- Missing entries: uses of them, which say whether they worked ---

bool carriesText() {
  const host::Object entity = newEntity("a\0\xc3\xa9"sv);
  return entity && entity.get<std::string>("StringValue") == "a\0\xc3\xa9"sv;
}

// Adds a class to a module and publishes it; counts the steps that worked.
int publishClass() {
  const host::Object module = describe("PythonXojoModule", host::String("shop"));
  const host::Object added = describe("PythonXojoClass", host::String("Till"));
  module.call("AddClass(classToAdd as PythonXojoClass)", added);
  host::callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)", module);
  const host::Object shop = quillix::getModule("shop");
  const int steps = (added.locks() == 2) + (shop && quillix::getFunction(shop, "Till"));
  quillix::clearError();
  return steps;
}
bool addsClasses() { return publishClass() >= 1; }
bool publishesClasses() { return publishClass() == 2; }

bool raisesEvents() {
  std::string printed;
  quillix::setConsole(newConsole([&](std::string_view text) { printed += text; }));
  runPython("import sys\nsys.stdout.write('text')");
  quillix::setConsole(nullptr);
  return printed == "text";
}

bool addsSearchPaths() {
  host::callShared("Quillix", "AddSearchPath(f as FolderItem)", host::newFolderItem("/nowhere"));
  const Evaluated added("__import__('sys').path[-1] == '/nowhere'");
  runPython("import sys\nif sys.path[-1] == '/nowhere': sys.path.pop()");
  return PY(PyObject_IsTrue)(added.get()) == 1;
}

struct Entry {
  const char *name;
  bool (*works)();
};
void PrintTo(const Entry &entry, std::ostream *out) { *out << entry.name; }

const Entry kEntries[] = {{"StringGetCString", carriesText},
                          {"REALLoadGlobalMethod", carriesText},
                          {"LenB( s as string ) as integer", carriesText},
                          {"REALBuildStringWithEncoding", carriesText},
                          {"pluginObjectType", carriesText},
                          {"CreateInstance", carriesText},
                          {"REALLoadObjectMethod", addsClasses},
                          {"Append(item as Object)", addsClasses},
                          {"Count() as Integer", publishesClasses},
                          {"GetAt(n as Integer) as Object", publishesClasses},
                          {"GetEventInstance", raisesEvents},
                          {"REALGetPropValueString", addsSearchPaths}};

class MissingEntryTest : public BindingTest, public testing::WithParamInterface<Entry> {};
INSTANTIATE_TEST_SUITE_P(, MissingEntryTest, testing::ValuesIn(kEntries));

TEST_P(MissingEntryTest, isAskedForUntilItIsThere) {
  const auto &[name, works] = GetParam();
  loadWithout({name});
  for (int round = 0; round < 2; ++round) {
    const int asked = host::lookups(name);
    EXPECT_FALSE(works());
    EXPECT_GT(host::lookups(name), asked);
  }
  if (name == "pluginObjectType"sv) {
    EXPECT_EQ(host::lookups("CreateInstance"), 0) << "asked for an instance of no class";
  }
  const int asked = host::lookups(name);
  host::restore(name);
  for (int round = 0; round < 3; ++round)
    EXPECT_TRUE(works());
  EXPECT_EQ(host::lookups(name), asked + 1);
}

TEST_F(BindingTest, registersAsFarAsTheHostLetsIt) {
  for (const auto missing :
       {"PluginRegisterClass"sv, "PluginRegisterModule"sv, "RegisterPluginVersion"sv}) {
    host::forgetLookups();
    host::withhold(missing);
    try {
      host::load(host::pluginPath(QUILLIX_PLUGIN_PATH));
    } catch (const std::runtime_error &) {
      EXPECT_EQ(missing, "RegisterPluginVersion") << "on which the stand-in host insists";
    }
    EXPECT_EQ(host::lookups(missing), missing == "PluginRegisterClass" ? 15 : 1);
    EXPECT_EQ(!host::findClass("Quillix"), missing == "PluginRegisterClass");
    EXPECT_EQ(!host::findModule("PythonErrorTypes"), missing == "PluginRegisterModule");
    host::restoreAll();
    host::unload();
  }
  loadWithout({});
}

// Where one of a pair is missing, nothing of that kind is locked, and nothing unlocked.
TEST_F(BindingTest, locksAndUnlocksOrDoesNeither) {
  for (const auto missing :
       {"REALLockObject"sv, "REALUnlockObject"sv, "REALLockString"sv, "REALUnlockString"sv}) {
    SCOPED_TRACE(missing);
    loadWithout({missing});
    {
      const host::Object console = host::create("QuillixConsoleOutput");
      quillix::setConsole(console);
      EXPECT_EQ(console.locks(), missing.ends_with("Object") ? 1U : 2U);
      quillix::setConsole(nullptr);
      EXPECT_EQ(console.locks(), 1U);
      const host::String name("name");
      host::Object described = describe("PythonXojoClass", name);
      EXPECT_EQ(name.locks(), missing.ends_with("String") ? 1U : 2U);
      described = nullptr;
      EXPECT_EQ(name.locks(), 1U);
    }
    TearDown();
    host::unload();
  }
  loadWithout({});
}

TEST_F(BindingTest, carriesStringsUpToAZeroByteWhereTheHostCannotTellTheirLength) {
  loadWithout({"LenB( s as string ) as integer"});
  EXPECT_EQ(newEntity("a\0b"sv).get<std::string>("StringValue"), "a");
}

} // namespace
