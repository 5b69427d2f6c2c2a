// Whatever fails, at whatever moment: nothing crashes, nothing is lost, and host code is told.
// Every member that the plug-in declares is called with many arguments, once for each call into
// Python or the host that it makes, and that call fails.

#include "boundary/declare.h"
#include "host/runtime/member.h"
#include "tests/faults/slots.h"
#include "tests/platform.h"
#include "tests/redirect.h"
#include "tests/support.h"
#include "tests/wrappers.h"

#include <map>
#include <optional>

using host::Kind;
using host::Member;
using host::Object;
using host::Value;
using quillix::getFunction;
using quillix::invoke;

namespace {

const char *const kNames[] = {"number", "big",     "fraction", "truth", "text",  "pair",
                              "items",  "mapping", "thing",    "call",  "Class", "stock",
                              "none",   "Classic", "a\0b",     ""};

// A host function: reads what it got, and answers with how many they were, if nothing failed.
PyObject *answerCount(PyObject *, PyObject *arguments) {
  const Object parameters = quillix::parametersOver(arguments);
  for (int i = 0; i < 3; ++i) {
    get<int>(parameters, i);
    get<std::string>(parameters, i);
    get<Object>(parameters, i);
  }
  const Object count = newResult(parameters.get<int>("Count"));
  return quillix::errorOccurred() ? nullptr : quillix::give(count);
}

// --- What host code has in its hands --------------------------------------------------------------

struct Stock {
  std::vector<Object> objects;
  std::size_t bare = 0; // the first ones hold nothing
  Object thing;
  Object module;

  Stock();
  ~Stock();
  void add(Object object) {
    if (object)
      objects.push_back(std::move(object));
  }
};

Object tupleOfAll(const Stock &stock) {
  Object tuple = quillix::newParameters(9);
  put(tuple, 0, 5);
  put(tuple, 1, std::int64_t{1} << 40);
  put(tuple, 2, 1.5);
  put(tuple, 3, true);
  put(tuple, 4, host::String("text"));
  put(tuple, 5, stock.thing);
  tuple.assign("TupleValue(index as Integer) as PythonParameters", 6, quillix::newParameters(0));
  tuple.assign("ListValue(index as Integer) as PythonList", 7, newList());
  tuple.assign("DictionaryValue(index as Integer) as PythonDictionary", 8, newDictionary());
  return tuple;
}

// The wrappers themselves are made without any fault. Where the host lacks something there are
// fewer of them.
Stock::Stock() : thing(host::newFolderItem("/thing")) {
  for (const host::Class *type : host::classes())
    if (type->registered)
      add(host::create(type->name));
  bare = objects.size();
  if (!host::findClass("Quillix"))
    return;
  module = quillix::getModule("stock");
  add(module);
  quillix::clearError();
  if (!module)
    return;
  module.assign("ObjectField(name as String) as Object", "thing", thing);
  const Object function = getFunction(module, "call");
  const Object pythonClass = quillix::getClass(module, "Class");
  const Object instance = pythonClass ? quillix::createInstance(pythonClass) : nullptr;
  add(function);
  add(pythonClass);
  add(instance);
  if (instance)
    add(getFunction(instance, "call"));
  const Object all = tupleOfAll(*this);
  add(all);

  const Object list = newList();
  const Object dictionary = newDictionary();
  for (const Object &entity :
       {newEntity(5), newEntity(std::int64_t{1} << 40), newEntity(std::uint64_t{1} << 63),
        newEntity(1.5), newEntity(true), newEntity(host::String("text")), newEntity(thing), all,
        list, dictionary})
    if (entity) {
      add(entity);
      append(list, entity);
      dictionary.call("SetValue(key as String, value as PythonEntityBase)",
                      kNames[objects.size() % std::size(kNames)], entity);
    }
  for (int i = 0; i < 10; ++i)
    add(getItem(list, i));
  for (const Object &result : {newResult(5), newResult(std::uint64_t{1} << 40), newResult(1.5),
                               newResult(true), newResult(host::String("text")), newResult(thing)})
    add(result);
  const Object tuple = getFunction(module, "give_tuple");
  const Object dict = getFunction(module, "give_dict");
  add(tuple ? invoke(tuple) : nullptr);
  add(dict ? invoke(dict) : nullptr);

  const Object described = quillix::moduleWith("published", "function", answerCount);
  const Object describedClass = quillix::describeClass("Class", 2);
  quillix::registerFunction(describedClass, "function", answerCount);
  described.call("AddClass(classToAdd as PythonXojoClass)", describedClass);
  add(described);
  add(describedClass);
  quillix::clearError();
}

// Python forgets what it was given.
Stock::~Stock() {
  if (!PY(Py_IsInitialized)())
    return;
  quillix::setConsole(nullptr);
  quillix::clearError();
  PyObject *type = nullptr, *value = nullptr, *traceback = nullptr;
  PY(PyErr_Fetch)(&type, &value, &traceback); // where the host lacks a class to clear it with
  objects.clear();
  module = nullptr;
  runPython("clean()");
}

// Stocks can be made from now on.
void startPython() {
  quillix::init();
  runPython(R"(
import gc, imp, sys
path, pair = list(sys.path), (1, 2)
shared = True, False, (), '', 5, gc, path, pair
class Importer(object):
  """Imports the module stock, compiled once."""
  code = compile(open(')" QUILLIX_SOURCE_DIR R"(/tests/faults/stock.py').read(), 'stock.py', 'exec')
  def find_module(self, name, path=None):
    return self if name == 'stock' else None
  def load_module(self, name):
    module = sys.modules.setdefault(name, imp.new_module(name))
    module.__loader__ = self
    exec self.code in module.__dict__
    return module
sys.meta_path.append(Importer())
def clean():
  sys.modules.pop('stock', None)
  sys.path[:] = path
  sys.exc_clear()
  gc.collect(0) # which has all that is new, because nothing else collects
gc.disable()
)");
  quillix::publish(quillix::moduleWith("published", "function", answerCount));
}

// --- What is done with it -------------------------------------------------------------------------

struct Call {
  Member member;
  std::size_t self; // index in the stock; none for a shared member
  std::vector<std::size_t> choices;
};

// The arguments that there are for a parameter.
std::vector<Value> candidates(const Stock &stock, const Member &member, const host::Type &type) {
  std::vector<Value> values;
  switch (type.kind) {
  case Kind::Integer:
    for (int i : {0, 1, 2, 3, 4, 5, 6, 7, 8, -1, 100})
      values.emplace_back(i);
    return values;
  case Kind::String:
    for (const char *name : kNames)
      values.emplace_back(host::String(name));
    return values;
  case Kind::Object:
    if (type.name == "FolderItem" ||
        type.name == "Object") // no wrapper: it might keep itself alive
      return {stock.thing, Object()};
    for (const Object &object : stock.objects)
      if (host::isA(object.type(), type.name))
        values.emplace_back(object);
    values.emplace_back(Object());
    return values;
  case Kind::Ptr:
    if (member.isConstructor())
      return {Value(static_cast<void *>(nullptr)),
              Value(static_cast<void *>(Evaluated("pair").get()))};
    return {Value(reinterpret_cast<void *>(answerCount))};
  default:
    return {host::zeroOf(type)};
  }
}

// Each parameter takes each of its candidates; several parameters take theirs in step.
std::vector<Call> allCalls(const Stock &stock) {
  std::vector<Call> calls;
  const auto add = [&](const Member &member, std::size_t self) {
    const bool bare = self < stock.bare;
    std::size_t most = 1;
    std::vector<std::size_t> counts;
    for (const host::Type &type : member.parameters) {
      counts.push_back(candidates(stock, member, type).size());
      most = bare ? 1 : std::max(most, counts.back());
    }
    for (std::size_t i = 0; i < most; ++i) {
      Call call{member, self, {}};
      for (const std::size_t count : counts)
        call.choices.push_back(i % count);
      calls.push_back(call);
    }
  };
  for (std::size_t i = 0; i < stock.objects.size(); ++i)
    for (const Member &member : host::membersOf(stock.objects[i].type()))
      add(member, i);
  for (const Member &member : host::sharedMembers())
    add(member, stock.objects.size());
  return calls;
}

std::string describe(const Call &call) {
  std::string text = call.member.owner->name + "." + call.member.name + " on " +
                     std::to_string(call.self) + " with";
  for (const std::size_t choice : call.choices)
    text += " " + std::to_string(choice);
  return text;
}

Value perform(const Stock &stock, const Call &call) {
  std::vector<Value> arguments;
  for (std::size_t i = 0; i < call.choices.size(); ++i)
    arguments.push_back(candidates(stock, call.member, call.member.parameters[i])[call.choices[i]]);
  return host::call(call.member,
                    call.member.role == Member::Role::Shared ? Object() : stock.objects[call.self],
                    arguments);
}

// --- What must hold ------------------------------------------------------------------------------

// What there is of everything that is counted.
struct Balance {
  std::size_t hostObjects = host::livingObjects();
  std::size_t hostStrings = host::livingStrings();
  std::size_t pythonObjects = slots::objectsAlive();
  Py_ssize_t nones = Evaluated("None").references();
  std::vector<Py_ssize_t> references; // of those in the variable `shared`

  Balance() {
    const Evaluated shared("shared");
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(shared.get()); ++i)
      references.push_back(PyTuple_GET_ITEM(shared.get(), i)->ob_refcnt);
  }
  bool operator==(const Balance &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Balance &balance) {
  out << balance.hostObjects << " host objects, " << balance.hostStrings << " host strings, "
      << balance.pythonObjects << " Python objects (" << slots::describeObjectsAlive() << "), None "
      << balance.nones;
  for (const Py_ssize_t count : balance.references)
    out << ", " << count;
  return out;
}

// Members that leave no error behind, whatever fails in them.
bool clearsErrors(const Member &member) {
  for (const char *name : {"HasAttribute(", "Reload(", "ClearError(", "GetError("})
    if (member.name.starts_with(name))
      return true;
  return false;
}

bool saysNothing(const Value &value) {
  return std::visit(
      []<class T>(const T &held) {
        if constexpr (std::is_same_v<T, bool>)
          return true; // False, or True where a question could not be answered
        else if constexpr (std::is_arithmetic_v<T>)
          return held == T{} || held == static_cast<T>(-1);
        else if constexpr (std::is_same_v<T, Object>)
          return !held || (host::isA(held.type(), "PythonEntityBase") && !heldBy(held));
        else
          return held == T{};
      },
      value);
}

// A kind of fault: asks for the nth from now, or for none; and says what has failed.
struct Fault {
  void (*arm)(int nth);
  slots::Failure (*met)();
};

template <declare::Text entry> Fault refusalOf() {
  constexpr const char *kEntry = declare::chars<entry>();
  return {[](int nth) { host::refuseCall(kEntry, nth); },
          [] {
            return slots::Failure{host::refusalPending(kEntry) ? nullptr : kEntry, false};
          }};
}

// The reference that a result of type Ptr is.
void releasePointer(const Value &result) {
  if (void *const *pointer = std::get_if<void *>(&result))
    Py_XDECREF(static_cast<PyObject *>(*pointer));
}

class FaultTest : public RunningTest {
protected:
  void SetUp() override {
    slots::standBetween();
    LoadedTest::SetUp(); // NOLINT(bugprone-parent-virtual-call): Python is started here, otherwise
    *PY(Py_NoSiteFlag) = 1; // quick to start
    start();
  }
  void start() {
    startPython();
    for (int i = 0; i < 3; ++i)
      Stock();
    slots::forgetObjects();
    balance.emplace();
  }

  void restart() {
    quillix::finalize();
    start();
  }

  void startWithFault(int nth) {
    quillix::finalize();
    slots::failCall(nth);
    quillix::init();
    ++failed[slots::failure().function];
    slots::failCall(0);
    quillix::clearError();
    runPython("print 'heard by whoever is there'");
    restart();
  }

  // Makes the call with the nth fault of that kind from now; with none when n is 0. Says whether
  // the fault was met.
  bool run(const Call &call, const Fault &fault, int nth) {
    slots::Failure failure{};
    {
      Stock stock;
      if (call.member.name.starts_with("GetError("))
        PY(PyErr_SetString)(*PY(PyExc_ValueError), "text");
      fault.arm(nth);
      Value result = perform(stock, call);
      failure = fault.met();
      fault.arm(0);
      expectTold(call, failure, result);
      releasePointer(result);
    }
    if (!PY(Py_IsInitialized)() || call.member.name.starts_with("RegisterXojoModule("))
      restart();
    else
      expectBalance(failure.function ? failure.function : "nothing failed");
    if (failure.function)
      ++failed[failure.function];
    return failure.function;
  }

  // A Python error is left for host code to see, and the result says nothing.
  void expectTold(const Call &call, const slots::Failure &failure, const Value &result) {
    if (!failure.function || !failure.setsError || !PY(Py_IsInitialized)())
      return;
    EXPECT_TRUE(clearsErrors(call.member) || quillix::errorOccurred()) << failure.function;
    quillix::clearError();
    EXPECT_TRUE(saysNothing(result)) << failure.function << ": " << textOf(result);
  }

  // Python's cache of method names starts out full of None, which goes as it is used.
  void expectBalance(const char *fault) {
    const Balance now;
    balance->nones = std::min(balance->nones, now.nones);
    EXPECT_EQ(now, *balance) << fault;
  }

  std::map<std::string, int> failed; // how often
  std::optional<Balance> balance;    // as it is before and after every call
};

TEST_F(FaultTest, everythingFailsOnce) {
  const Fault kFaults[] = {{slots::failCall, slots::failure},
                           refusalOf<"CreateInstance">(),
                           refusalOf<"REALBuildStringWithEncoding">()};
  const std::vector<Call> calls = allCalls(Stock());
  for (const Call &call : calls) {
    SCOPED_TRACE(describe(call));
    run(call, kFaults[0], 0);
    for (const Fault &fault : kFaults)
      for (int nth = 1; !HasFailure() && run(call, fault, nth); ++nth) {
      }
  }
  for (int nth = 1; !failed.contains("PySys_SetObject") && nth < 10; ++nth)
    startWithFault(nth);
  int faults = 0;
  for (const auto &[function, count] : failed)
    faults += count;
  std::printf("%zu calls of the interface, %d faults\n", calls.size(), faults);
  for (const std::string &function : slots::functionsThatCanFail())
    EXPECT_GT(failed[function], 0) << function;
}

// All calls in a row, in a host that lacks one thing from the start.
void callEverything() {
  try {
    host::load(host::pluginPath(QUILLIX_PLUGIN_PATH));
  } catch (const std::runtime_error &) {
    return; // the host found no announcement
  }
  if (!host::findClass("Quillix"))
    return;
  startPython();
  const std::vector<Call> calls = allCalls(Stock());
  Stock stock;
  for (const Call &call : calls) {
    releasePointer(perform(stock, call));
    quillix::clearError();
    if (!PY(Py_IsInitialized)())
      startPython();
  }
}

TEST_F(FaultTest, everythingThatTheHostOffersIsWithheldOnce) {
  quillix::finalize();
  host::unload();
  callEverything();
  quillix::finalize();
  const std::vector<std::string> names = host::lookedUp();
  EXPECT_GT(names.size(), 18U);
  for (const std::string &name : names) {
    const auto callAll = [&] {
      host::unload();
      host::withhold(name);
      const bool counts = !name.starts_with("REALLock") && !name.starts_with("REALUnlock");
      host::countLocks(counts);
      callEverything();
      if (host::findClass("Quillix"))
        quillix::finalize();
      const std::string left = host::survivors();
      std::fputs(left.c_str(), stderr);
      std::fflush(nullptr);
      std::_Exit(HasFailure() || (counts && !left.empty()) ? 1 : 0);
    };
    EXPECT_EXIT(callAll(), testing::ExitedWithCode(0), "") << name;
  }
}

// Python would end the process.
TEST(StartTest, isNotTriedWithoutTheStandardLibrary) {
  platform::setVariable("PYTHONHOME", "/nowhere");
  const std::string plugin = host::pluginPath(QUILLIX_PLUGIN_PATH);
  redirect::plugin(plugin);
  host::load(plugin);
  for (int time = 0; time < 2; ++time) {
    redirect::gLogged.clear();
    host::callShared("Quillix", "Init()");
    EXPECT_TRUE(
        redirect::gLogged.starts_with("Did not start Python, which finds no standard library in"))
        << redirect::gLogged;
    EXPECT_NE(redirect::gLogged.find("/nowhere"), std::string::npos) << redirect::gLogged;
    EXPECT_FALSE(quillix::getModule("sys"));
  }
  host::callShared("Quillix", "Finalize()");
  host::unload();
  EXPECT_EQ(host::survivors(), "");
}

} // namespace
