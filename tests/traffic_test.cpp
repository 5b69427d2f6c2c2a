// Traffic in both directions, many thousand operations long, after which every lock, object, string
// and Python reference is back where it was.

#include "tests/fields.h"

namespace {

using namespace quillix;
using host::Object;

Object gToken; // the host object that travels
int gSeen = 0; // calls that reached host code with all arguments right

// What may not grow from one round to the next.
std::vector<long long> census() {
  std::vector<long long> counts = {static_cast<long long>(host::livingObjects()),
                                   static_cast<long long>(host::livingStrings()), gToken.locks()};
  for (const char *object : {"True", "False", "None", "shared"})
    counts.push_back(Evaluated(object).references());
  return counts;
}

// Reads every argument as what it is, and answers with what the first one was.
PyObject *visit(PyObject *, PyObject *arguments) {
  const Object p = parametersOver(arguments);
  const auto wrapped = [&](int kind) {
    return read<Object>(p, kWrapperAccessors[static_cast<std::size_t>(kind)], 3 + kind);
  };
  const Object tuple = wrapped(0), dictionary = wrapped(1), list = wrapped(2);
  const Object item = list.call<Object>("GetItem(index as Integer) as PythonEntity", 0);
  gSeen += get<std::int64_t>(p, 1) == 1LL << 40 && get<std::string>(p, 2) == "text" &&
           tuple.get<int>("Count") == 2 && get<Object>(dictionary, "token") == gToken &&
           item.get<std::string>("StringValue") == "item";
  put(dictionary, "visits", get<int>(dictionary, "visits") + 1);
  append(list, item);
  return give(newResult(get<Object>(p, 0)));
}

// One round: host code calls Python, which calls the host back, which answers.
void round(const Object &function, int number) {
  const Object p = newParameters(3), dictionary = newDictionary(), list = newList();
  put(dictionary, "token", gToken);
  append(list, newEntity("item"));
  put(p, 0, gToken);
  p.assign("DictionaryValue(index as Integer) as PythonDictionary", 1, dictionary);
  p.assign("ListValue(index as Integer) as PythonList", 2, list);

  const Object result = invoke(function, p);
  if (number % 3 == 2) // the Python side raises after its visits
    ASSERT_EQ(takeErrorClass(), "RuntimeError");
  else
    ASSERT_EQ(get<Object>(read<Object>(result, kWrapperAccessors[0]), 0), gToken);
  ASSERT_EQ(get<int>(dictionary, "visits"), 2);
  ASSERT_EQ(list.get<int>("Count"), 3);

  const Object keeper = createInstance(getClass(getModule("__main__"), "Keeper"));
  setField(keeper, "kept", gToken);
  setField(keeper, "flag", number % 2 == 0);
  ASSERT_EQ(invoke(getFunction(keeper, "swap")).call<Object>("ObjectValue() as Object"), gToken);
  ASSERT_FALSE(getFunction(keeper, "missing"));
  clearError();
}

using TrafficTest = RunningTest;

TEST_F(TrafficTest, leavesEverythingWhereItWas) {
  constexpr int kRounds = 10000;
  attachConsole();
  gToken = host::create("Object");
  publish(moduleWith("station", "visit", visit));
  runPython(R"(
import gc, station
shared = object()
calls = 0
class Keeper:
  def swap(self):
    kept, self.kept = self.kept, None
    return kept
def travel(token, dictionary, items):
  global calls
  calls += 1
  for _ in range(2):
    token = station.visit(token, 1 << 40, 'text', (shared, None), dictionary, items)
  print calls,
  if calls % 3 == 0: raise RuntimeError('every third time')
  return token, dictionary, items
)");
  const Object travel = getFunction(getModule("__main__"), "travel");
  const auto run = [&](int rounds) {
    for (int i = 0; i < rounds && !HasFatalFailure(); ++i)
      round(travel, i);
    printed.clear();
    runPython("gc.collect()");
    return census();
  };
  const auto pythonObjects = [] { return PyInt_AS_LONG(Evaluated("len(gc.get_objects())").get()); };
  const auto early = run(30);
  const long earlyPythonObjects = pythonObjects();
  EXPECT_EQ(run(kRounds), early);
  EXPECT_LE(pythonObjects(), earlyPythonObjects);
  EXPECT_EQ(gSeen, 2 * (kRounds + 30));
  gToken = nullptr;
}

} // namespace
