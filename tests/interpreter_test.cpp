// The interpreter's life: started, stopped and started again, and what holds before, between and
// after.

#include "tests/fields.h"
#include "tests/tour.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <unistd.h>

namespace {

using namespace quillix;
using host::Object;

void initNamed(const host::String &name) {
  host::callShared("Quillix", "Init(applicationName as String)", name);
}
void addSearchPath(const Object &folder) {
  host::callShared("Quillix", "AddSearchPath(f as FolderItem)", folder);
}
bool runs() { return PY(Py_IsInitialized)() != 0; }

// A mark that an interpreter keeps for as long as it lives.
void mark() { runPython("import sys; sys.marked = True"); }
bool marked() {
  return PY(PyObject_IsTrue)(Evaluated("hasattr(__import__('sys'), 'marked')").get()) != 0;
}

using InterpreterTest = LoadedTest;

TEST_F(InterpreterTest, startsAndStopsInAnyOrder) {
  finalize();
  EXPECT_FALSE(runs());
  for (int round = 0; round < 3; ++round) {
    round == 1 ? initNamed(host::String("name")) : init();
    ASSERT_TRUE(runs());
    EXPECT_FALSE(marked() || errorOccurred()) << "an interpreter of its own";
    mark();
    runPython("import sys, aview; assert sys.stdout is aview; sys.stdout = sys.__stdout__");
    init();
    initNamed(host::String("again"));
    EXPECT_TRUE(marked()) << "not started anew";
    runPython("import sys; assert sys.stdout is sys.__stdout__ # not captured anew");
    setError(1, "left behind");
    finalize();
    EXPECT_FALSE(runs());
    finalize();
  }
}

// Python keeps the pointer, so every name stays where it is, whatever becomes of the string.
TEST_F(InterpreterTest, keepsEveryProgramName) {
  std::vector<std::pair<const char *, std::string>> given;
  for (const char *name : {"/nowhere/first", "second \xc3\xa4", "third"}) {
    host::String string(name);
    initNamed(string);
    EXPECT_EQ(string.locks(), 1U);
    given.emplace_back(PY(Py_GetProgramName)(), name);
    if (given.size() == 2) // the second: given to a running interpreter
      finalize();
  }
  for (const auto &[kept, name] : given)
    EXPECT_EQ(kept, name);
}

// Somebody else's interpreter is used as it is: not captured, and its objects are not released.
TEST_F(InterpreterTest, usesAnInterpreterThatItFinds) {
  PY(Py_Initialize)();
  finalize();
  EXPECT_FALSE(runs()) << "stopped, whoever started it";

  PY(Py_Initialize)();
  mark();
  EXPECT_FALSE(getModule("__main__")) << "not before Init";
  init();
  EXPECT_TRUE(marked());
  runPython("import sys; assert sys.stdout is sys.__stdout__; before = sys.getrefcount(sys)");
  EXPECT_EQ(getField<int>(getModule("sys"), "api_version"), PYTHON_API_VERSION);
  runPython("assert sys.getrefcount(sys) == before + 1");
  const Object module = getModule("sys");
  PY(Py_Finalize)();
  finalize();
  EXPECT_EQ(getField<int>(module, "api_version"), 0) << "stopped by somebody else";
  init();
  runPython("import sys, aview; assert sys.stdout is aview");
}

TEST_F(InterpreterTest, addsFoldersAtTheEndOfTheSearchPath) {
  addSearchPath(host::newFolderItem("/too early"));
  init();
  Object folder = host::newFolderItem("/f\xc3\xa4");
  runPython("import sys; before = list(sys.path)");
  addSearchPath(nullptr);
  host::withhold("NativePath");
  addSearchPath(folder);
  host::restoreAll();
  runPython("assert sys.path == before, sys.path");
  addSearchPath(folder);
  addSearchPath(folder);
  addSearchPath(host::newFolderItem(""));
  runPython("added = u'/f\\xe4'.encode('mbcs' if sys.platform == 'win32' else 'utf-8')\n"
            "assert sys.path == before + [added, added, ''], sys.path\n"
            "assert type(sys.path[-2]) is str and sys.getrefcount(sys.path[-2]) == 2");

  runPython("sys.path = ()");
  addSearchPath(folder);
  EXPECT_EQ(takeErrorClass(), "SystemError"); // a tuple is no list
  runPython("del sys.path");
  addSearchPath(folder);
  EXPECT_FALSE(errorOccurred());
}

// Whatever letters the folder has in its name.
TEST_F(InterpreterTest, findsModulesInFoldersOfAnyName) {
  // Suites of several builds may run at a time.
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() /
      (u8"quillix-Gr\u00f6\u00dfe \u20ac\u0416 " +
       std::filesystem::path(std::to_string(std::random_device()())).u8string());
  create_directories(folder);
  std::ofstream(folder / "lies_there.py") << "where = 'there'\n";
  init();
  const std::u8string name = folder.u8string();
  addSearchPath(host::newFolderItem({reinterpret_cast<const char *>(name.data()), name.size()}));
  EXPECT_EQ(getField<std::string>(getModule("lies_there"), "where"), "there") << getError();
  remove_all(folder);
}

// A wrapper of every kind, each over something that any of its getters would read as more than
// nothing: x is a number that can be called.
std::vector<Object> oneOfEach() {
  runPython("class Number(int): __call__ = lambda self: self\n"
            "x = Number(5)\n"
            "class Thing(object): x = x");
  const Object module = getModule("__main__");
  const Object pythonClass = getClass(module, "Thing");
  return {module,           pythonClass,   createInstance(pythonClass),
          tupleOf("(x,)"),  resultOf("x"), dictionaryOf("{'x': x}"),
          listOf("[x, x]"), newEntity(5),  getFunction(module, "x")};
}

TEST_F(InterpreterTest, everythingGivesTheZeroValueWithoutIt) {
  Tour none(false);
  none.wanted = [](std::string_view name) { return !name.starts_with("Init("); };
  none.visitClasses();
  constexpr const char *kDelete = "DeleteAttribute(name as String) as Integer";
  EXPECT_EQ(none.answers, (std::vector<std::string>{kDelete, kDelete, "Name", "Name",
                                                    "PythonIsFound() as Boolean"}));
  init();
  const std::vector<Object> kept = oneOfEach();
  finalize();
  EXPECT_EQ(Tour::answersOf(kept), std::vector<std::string>());
  init();
  EXPECT_EQ(Tour::answersOf(kept), std::vector<std::string>());
  EXPECT_EQ(kept.front().get<std::string>("Name"), "__main__");
  EXPECT_EQ(kept.front(), kept.back().get<Object>("OwnerModule"));
  EXPECT_FALSE(errorOccurred());
  runPython("assert 'x' not in globals()");
}

// The memory of what the earlier interpreter left behind belongs to other objects by now.
TEST_F(InterpreterTest, wrappersFromBeforeARestartReleaseNothing) {
  init();
  std::vector<Object> old = oneOfEach();
  for (int i = 0; i < 300; ++i)
    old.insert(old.end(), {newResult(5.5 + i), newParameters(i % 20 + 1), newDictionary()});
  finalize();
  init();
  runPython("import sys\n"
            "new = [[i + 0.5, (i,), {}, 'x' * (i % 400 + 2)] for i in range(20000)]\n"
            "counts = lambda: [sys.getrefcount(o) for four in new for o in four]\n"
            "before = counts()");
  old.clear();
  runPython("assert counts() == before");
}

// Host objects in capsules that outlive their interpreter.
TEST_F(InterpreterTest, capsulesGiveTheirLocksBackAtTheEnd) {
  const Object object = host::create("Object");
  init();
  std::vector<Object> kept;
  for (int i = 0; i < 100; ++i)
    kept.push_back(newEntity(object));
  letPythonSee("left", heldBy(kept[0]));
  PyObject *leaked = evalPython("left"); // a reference that no one releases in time
  letPythonSee("last", heldBy(kept.back()));
  PyObject *last = evalPython("last");
  kept.pop_back();
  finalize();
  EXPECT_EQ(object.locks(), 1U);
  Py_DECREF(last); // which frees it, with no interpreter there
  init();
  setField(getModule("__main__"), "left", object);
  letPythonSee("stale", leaked);
  EXPECT_FALSE(getField<Object>(getModule("__main__"), "stale"));
  Py_DECREF(leaked);
  runPython("del stale");
  kept.clear();
  EXPECT_EQ(object.locks(), 2U) << "given back once";
}

// The last lock of a host object may go when the interpreter has stopped: it may be started anew.
TEST_F(InterpreterTest, hostCodeMayRunAtTheEnd) {
  init();
  Object object = host::create("Object");
  host::onDestroyed(object, init);
  setField(getModule("__main__"), "leaked", object);
  evalPython("leaked");
  mark();
  object = nullptr;
  finalize();
  EXPECT_TRUE(runs() && !marked());
}

// --- Stopped by somebody else ---

// Another copy of the plug-in in this program, of which only what starts and stops is used.
class OtherCopy {
public:
  OtherCopy() {
    const std::filesystem::path original = host::pluginPath(QUILLIX_PLUGIN_PATH);
    std::filesystem::path file =
        std::filesystem::temp_directory_path() / ("quillix-copy-" + std::to_string(getpid()));
    file += original.extension();
    copy_file(original, file);
    void *const plugin = platform::openLibrary(file.string());
    std::error_code inUse;
    remove(file, inUse);
    EXPECT_NE(plugin, nullptr) << platform::libraryError();
    reinterpret_cast<void (*)(HostResolver)>(platform::findSymbol(plugin, "REALPluginMain"))(
        resolve);
  }
  void call(std::string_view declaration) const {
    for (HostWord i = 0; i < quillixClass->sharedMethods.count; ++i)
      if (const auto &row = quillixClass->sharedMethods.rows[i]; row.declaration == declaration)
        return row.function();
    ADD_FAILURE() << declaration;
  }

private:
  static void *resolve(const char *entryName) {
    void (*const announceVersion)(std::int32_t) = [](std::int32_t) {};
    void (*const registerClass)(const REALclassDefinition *) = [](const auto *definition) {
      quillixClass = definition; // the last one
    };
    return entryName == std::string_view("RegisterPluginVersion")
               ? reinterpret_cast<void *>(announceVersion)
           : entryName == std::string_view("PluginRegisterClass")
               ? reinterpret_cast<void *>(registerClass)
               : nullptr;
  }
  static inline const REALclassDefinition *quillixClass;
};

// Whoever it is: what belonged to the interpreter is nothing from then on, and its locks come back
// when host code asks for a stop, or for a new start.
TEST_F(InterpreterTest, somebodyElseMayStopIt) {
  const OtherCopy other;
  const Object object = host::create("Object");
  const std::function<void()> stops[] = {PY(Py_Finalize), [&] { other.call("Finalize()"); }};
  for (const auto &stop : stops)
    for (const auto &next : {init, finalize}) {
      init();
      other.call("Init()");
      letPythonCall([&] { other.call("Finalize()"); }); // refused
      runPython("host.call()");
      std::vector<Object> kept = oneOfEach();
      kept.push_back(newEntity(object));
      stop();
      EXPECT_FALSE(errorOccurred() || PY(Py_IsInitialized)());
      EXPECT_EQ(Tour::answersOf(kept), std::vector<std::string>());
      kept.clear();
      EXPECT_EQ(object.locks(), 2U);
      next();
      EXPECT_EQ(object.locks(), 1U);
      finalize();
    }
}

class UnderWayTest : public RunningTest {
protected:
  // Python code that calls host.call() tries to stop the interpreter and to start it.
  void SetUp() override {
    RunningTest::SetUp();
    mark();
    letPythonCall([this] {
      ++attempts;
      finalize();
      init();
      initNamed(host::String("under way"));
    });
  }
  int attempts = 0;
};

// Whatever makes Python run code, that code may call the host.
TEST_F(UnderWayTest, startAndStopAreRefused) {
  runPython(R"(
import sys, colorsys
def now(result=None): host.call(); return result
class Loud(object):
  def __del__(self): now()
class Asked(object):
  value = property(lambda self: now(1), lambda self, value: now(), lambda self: now())
  __nonzero__ = __int__ = lambda self: now(1)
  __float__ = lambda self: now(1.0)
  def __getattr__(self, name): now(); raise AttributeError(name)
class Finder(object):
  def find_module(self, name, path=None): now()
def fail():
  loud = Loud() # which the traceback holds
  raise KeyError
asked = Asked()
sys.meta_path.append(Finder())
)");
  const Object module = getModule("__main__"), colorsys = getModule("colorsys");
  const Object now = getFunction(module, "now"), nowClass = getClass(module, "now");
  const Object asked = createInstance(getClass(module, "Asked"));
  // Raising an error lets go of the one that was pending.
  const Object fail = getFunction(module, "fail"), parameters = newParameters(1);
  const auto pending = [&] {
    invoke(fail);
    attempts = 0;
  };
  const std::function<void()> operations[] = {
      [&] { pending(), put(parameters, 0, Object()); },
      [&] { pending(), newResult(Object()); },
      [&] { pending(), clearError(); },
      [&] { pending(), getError(); },
      [&] { pending(), setError(1, "other"); },
      [&] { invoke(now); },
      [&] { createInstance(nowClass); },
      [&] { getFunction(asked, "missing"); },
      [] { getModule("missing"); },
      [&] { colorsys.call<bool>("Reload() as Boolean"); },
      [&] { getField<int>(asked, "value"); },
      [&] { setField(asked, "value", 1); },
      [&] { getField<int>(module, "asked"); },
      [&] { getField<double>(module, "asked"); },
      [&] { getField<bool>(module, "asked"); },
      [&] { hasAttribute(asked, "missing"); },
      [&] { deleteAttribute(asked, "value"); },
      [] { resultOf("Loud()"); }, // the wrapper goes
  };
  for (const auto &run : operations) {
    attempts = 0;
    run();
    clearError();
    ASSERT_TRUE(attempts > 0 && marked()) << "operation " << &run - operations;
  }

  // Nor under Python code that somebody else runs, when it prints.
  setConsole(newConsole([](std::string_view) { finalize(); }));
  runPython("print 'printed'");
  EXPECT_TRUE(marked());
}

// Python runs code as it stops, too; a pending error does not get in its way.
// A thread takes its last steps after it counts as joined, and CPython 2.7 crashes when they fall
// behind the interpreter's end: they are waited for.
TEST_F(UnderWayTest, stoppingIsNotInterrupted) {
  attachConsole();
  runPython("import atexit, thread, threading, time\n"
            "@atexit.register\n"
            "def bye():\n"
            "  while thread._count(): time.sleep(0.001)\n"
            "  for i in range(2): host.call()\n"
            "  print 'bye'\n"
            "def late():\n"
            "  time.sleep(0.05)\n"
            "  print 'late'\n"
            "threading.Thread(target=late).start()");
  setError(1, "pending");
  finalize();
  EXPECT_FALSE(runs());
  EXPECT_EQ(attempts, 2);
  EXPECT_EQ(printed, (std::vector<std::string>{"late", "\n", "bye", "\n"}));
  init();
  EXPECT_FALSE(marked());
}

// The first Python code that runs would be interrupted.
TEST_F(UnderWayTest, aCtrlCThatWaitsDoesNotCutTheEndShort) {
  attachConsole();
  for (int life = 0; life < 2; ++life) {
    runPython("import atexit\n"
              "@atexit.register\n"
              "def bye(): print 'bye'");
    platform::interrupt();
    finalize();
    init();
  }
  EXPECT_EQ(printed, (std::vector<std::string>{"bye", "\n", "bye", "\n"}));
}

// An object that dies late, when the interpreter has no modules any more, may belong to host code.
TEST_F(InterpreterTest, destructorsRunAfterTheModulesAreGone) {
  init();
  bool destroyed = false;
  {
    const Object late = host::create("Object"), module = getModule("gc");
    host::onDestroyed(late, [&, module] {
      destroyed = true;
      EXPECT_FALSE(getModule("os") || module.call<bool>("Reload() as Boolean"));
      publish(describeModule("late", 1));
      init();
      finalize();
      newDictionary();
    });
    setField(getModule("__main__"), "late", late);
    runPython("import codecs\n"
              "codecs.register_error('late', lambda error, late=globals().pop('late'): None)");
  }
  finalize();
  EXPECT_TRUE(destroyed);
}

} // namespace
