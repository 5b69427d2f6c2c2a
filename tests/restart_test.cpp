// The interpreter started, worked with and stopped, over and over in one process. QUILLIX_LIVES
// says how often, for more than the suite has time for.

#include "tests/fields.h"
#include "tests/tour.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>

namespace {

using namespace quillix;
using host::Object;

constexpr const char *kWork = "restart_work"; // the module in the test data

// What a life is filled with.
struct Life {
  const char *work; // the module's function
  bool keep;        // what was made of it outlives the interpreter
};

int lives(int unlessSaid) {
  const char *const said = std::getenv("QUILLIX_LIVES");
  return said ? static_cast<int>(std::strtol(said, nullptr, 10)) : unlessSaid;
}

// --- A life through the plug-in ---

PyObject *answer(PyObject *, PyObject *arguments) {
  const Object p = parametersOver(arguments);
  return give(newResult(get<int>(p, p.get<int>("Count") - 1))); // behind the instance, if any
}

// Lives one after the other. Wrappers of every kind outlive some of them, are used meanwhile, and
// go.
class Lives {
public:
  explicit Lives(const Life &life) : life_(life) {}
  ~Lives() { setConsole(nullptr); }

  void one() {
    init();
    for (const std::vector<Object> &old : kept_)
      useOld(old);
    setConsole(newConsole([this](std::string_view text) { printed_ += text.size(); }));
    host::callShared("Quillix", "AddSearchPath(f as FolderItem)",
                     host::newFolderItem(QUILLIX_TEST_DATA_DIR));
    const Object station = moduleWith("station", "answer", answer);
    const Object stop = describeClass("Stop", 1);
    registerFunction(stop, "answer", answer);
    station.call("AddClass(classToAdd as PythonXojoClass)", stop);
    publish(station);

    std::vector<Object> wrappers = work();
    if (life_.keep)
      kept_.push_back(wrappers);
    wrappers.clear();
    finalize();
    if (kept_.size() > 3) {
      useOld(kept_.front());
      kept_.pop_front();
    }
  }

  std::size_t printed() const { return printed_; }

private:
  // One wrapper of every kind.
  std::vector<Object> work() const {
    const Object module = getModule(kWork), function = getFunction(module, life_.work);
    const Object result = invoke(function);
    if (!result) {
      PY(PyErr_Print)();
      ADD_FAILURE() << "Python's work failed";
      return {};
    }
    const Object values = read<Object>(result, kWrapperAccessors[0]);
    const Object dictionary = read<Object>(values, kWrapperAccessors[1], 2);
    const Object list = read<Object>(values, kWrapperAccessors[2], 3);
    const Object type = getClass(module, "Thing"), thing = createInstance(type);
    const Object item = getItem(list, 0), entity = newEntity(module),
                 station = getModule("station"), method = getFunction(thing, "method");
    return {result, values, dictionary, list,   module,  function,
            type,   thing,  item,       entity, station, method};
  }

  // Whether an interpreter runs or not, they hold nothing.
  static void useOld(const std::vector<Object> &old) {
    EXPECT_EQ(Tour::answersOf(old), std::vector<std::string>());
    EXPECT_FALSE(errorOccurred()) << getError();
  }

  const Life life_;
  std::deque<std::vector<Object>> kept_; // by life, oldest first
  std::size_t printed_ = 0;
};

// --- The same life without the plug-in ---

// Gives what the plug-in's wrappers would hold.
constexpr const char *kPlainLife = R"(
import sys, types
class Out:
  def write(self, text): pass
class Stop:
  def answer(self, value): return value
sys.stdout = Out()
sys.path.append(')" QUILLIX_TEST_DATA_DIR R"(')
station = sys.modules['station'] = types.ModuleType('station')
station.Stop, station.answer = Stop, lambda value: value
import restart_work as work
result, thing = getattr(work, '%s')(), work.Thing()
held = (result, result, result[2], result[3], work, getattr(work, '%s'), work.Thing, thing,
        result[3][0], object(), station, thing.method)
)";

void liveOnceWithoutPlugin(const Life &life) {
  std::string source = kPlainLife;
  for (std::size_t at = 0; (at = source.find("%s")) != std::string::npos;)
    source.replace(at, 2, life.work);
  PY(Py_Initialize)();
  runPython(source);
  if (life.keep) { // abandoned, as by the wrappers
    const Evaluated held("held");
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(held.get()); ++i)
      Py_INCREF(PyTuple_GET_ITEM(held.get(), i));
  }
  PY(Py_Finalize)();
}

// --- Growth ---

// Bytes that the process has gained with each life: of malloc's, of which a life's median tells a
// leak from the tables that grow now and then (the environment keeps malloc from holding back freed
// blocks, which it counts as allocated); and of resident memory, where Python's own arenas are.
struct Growth {
  double allocated;
  double resident;
};

Growth bytesNow() {
  return {static_cast<double>(platform::allocatedBytes()),
          static_cast<double>(platform::residentBytes())};
}

// The first half of the lives warms up.
Growth measure(int count, const std::function<void()> &live) {
  std::vector<double> steps;
  for (int i = 0; i < count / 2; ++i)
    live();
  const Growth start = bytesNow();
  for (int i = 0; i < count / 2 && !::testing::Test::HasFailure(); ++i) {
    const double before = bytesNow().allocated;
    live();
    steps.push_back(bytesNow().allocated - before);
  }
  if (steps.empty())
    return {};
  const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
  std::ranges::nth_element(steps, middle);
  return {*middle, (bytesNow().resident - start.resident) / static_cast<double>(steps.size())};
}

// In a process of its own, all of whose growth is that of these lives.
Growth measureApart(int count, const std::function<std::function<void()>()> &prepare) {
  Growth growth{};
  EXPECT_TRUE(
      platform::runApart([&] { growth = measure(count, prepare()); }, &growth, sizeof growth));
  return growth;
}

// --- Tests ---

// Measures both, and says whether the plug-in adds nothing to what Python itself leaves.
bool addsNothing(const Life &life, int count) {
  const Growth plain = measureApart(count, [&] {
    EXPECT_NE(platform::openVisible(platform::kPythonLibrary), nullptr);
    return [life] { liveOnceWithoutPlugin(life); };
  });
  const Growth through = measureApart(count, [&] {
    if (host::announcedVersion() == 0)
      host::load(host::pluginPath(QUILLIX_PLUGIN_PATH));
    return [lives = std::make_shared<Lives>(life)] { lives->one(); };
  });
  std::printf("%d lives of %s work, wrappers %s: a life leaves %.0f bytes allocated and %.0f "
              "resident, Python by itself %.0f and %.0f\n",
              count, life.work, life.keep ? "kept" : "released", through.allocated,
              through.resident, plain.allocated, plain.resident);
  // Tables that Python keeps are laid out by address, and one of its arenas may come sooner. The
  // fewer the lives, the coarser the median.
  constexpr double kArena = 256 * 1024;
  constexpr double kTables = 2 * 112; // of what was published: they stay, for functions that do
  return through.allocated <= plain.allocated * (1.02 + 1.0 / count) + 64 + kTables &&
         (std::getenv("QUILLIX_EMULATED") || // what is resident is the emulator's
          through.resident <= plain.resident * 1.05 + 4 * kArena / count);
}

// A life of little work shows every byte, one of much shows that all of Python gets along.
TEST(RestartTest, growsNoFasterThanPythonByItself) {
  if (platform::isUnderMemoryChecker())
    GTEST_SKIP() << "a memory checker counts otherwise";
  for (const Life life : {Life{"little", false}, Life{"little", true}, Life{"much", true}}) {
    const int count = lives(12) * (life.work == std::string("much") ? 1 : 4);
    EXPECT_TRUE(addsNothing(life, count));
  }
}

using RestartsTest = LoadedTest;

// On Windows, each import of ctypes counts references to the class COMError of the life before, which
// must be there still.
TEST_F(RestartsTest, findTheClassesThatCtypesCounts) {
  const PyTypeObject *before = nullptr;
  for (int life = 0; life < 25; ++life) {
    init();
    runPython("import gc; gc.collect()"); // which finds what the lives before have left
    if (before) {
      ASSERT_GT(before->ob_refcnt, 0) << "life " << life;
      ASSERT_EQ(before->ob_type, PY(PyType_Type));
      EXPECT_EQ(before->tp_name, std::string("COMError"));
    }
    runPython("import _ctypes, sys");
    if (life % 3)
      runPython("import ctypes");
    if (Evaluated("hasattr(_ctypes, 'COMError')").get() !=
        reinterpret_cast<PyObject *>(PY(_Py_TrueStruct)))
      GTEST_SKIP() << "there is no such class on this system";
    before = reinterpret_cast<const PyTypeObject *>(Evaluated("_ctypes.COMError").get());
    if (life % 2)
      runPython("del sys.modules['_ctypes'], _ctypes");
    finalize();
  }
}

TEST_F(RestartsTest, keepNothingAndHarmNothing) {
  Lives many({"much", true});
  const int count = lives(8);
  for (int i = 0; i < count; ++i)
    many.one();
  EXPECT_EQ(many.printed(), static_cast<std::size_t>(count) * std::size("done"));
}

} // namespace
