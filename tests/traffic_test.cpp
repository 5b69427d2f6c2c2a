// Traffic in both directions, many thousand operations long, after which every lock, object, string
// and Python reference is back where it was.

#include "tests/support.h"

namespace {

using host::Object;

// What may not grow from one round to the next.
struct Census {
  std::size_t objects = host::livingObjects();
  std::size_t strings = host::livingStrings();
  std::uint32_t tokenLocks;
  Py_ssize_t trueReferences = Evaluated("True").references();
  Py_ssize_t falseReferences = Evaluated("False").references();
  Py_ssize_t noneReferences = Evaluated("None").references();
  Py_ssize_t sharedReferences = Evaluated("shared").references();

  explicit Census(const Object &token) : tokenLocks(token.locks()) {}
  bool operator==(const Census &) const = default;
};

void PrintTo(const Census &c, std::ostream *out) {
  *out << c.objects << " objects, " << c.strings << " strings, " << c.tokenLocks << " token locks, "
       << c.trueReferences << '/' << c.falseReferences << '/' << c.noneReferences << '/'
       << c.sharedReferences << " references";
}

Object gToken; // the host object that travels
int gSeen = 0; // calls that reached host code with all arguments right

// Reads every argument as what it is, and answers with what the first one was.
PyObject *visit(PyObject *, PyObject *arguments) {
  Object p = quillix::parametersOver(arguments);
  Object list = p.call<Object>("ListValue(index as Integer) as PythonList", 5);
  Object dict = p.call<Object>("DictionaryValue(index as Integer) as PythonDictionary", 6);
  Object inner = p.call<Object>("TupleValue(index as Integer) as PythonParameters", 7);
  Object item = list.call<Object>("GetItem(index as Integer) as PythonEntity", 0);
  bool right = p.call<long long>("Int64Value(index as Integer) as Int64", 1) == 1LL << 40 &&
               p.call<double>("DoubleValue(index as Integer) as Double", 2) == 2.5 &&
               p.call<bool>("BooleanValue(index as Integer) as Boolean", 3) &&
               p.call<std::string>("StringValue(index as Integer) as String", 4) ==
                   std::string("n\0l \xc3\xbc", 6) &&
               item.get<std::string>("StringValue") == "item" &&
               dict.call<Object>("ObjectValue(key as String) as Object", "token") == gToken &&
               inner.get<int>("Count") == 2;
  gSeen += right;
  dict.assign("IntegerValue(key as String) as Integer", "visits",
              dict.call<int>("IntegerValue(key as String) as Integer", "visits") + 1);
  list.call("Append(value as PythonEntityBase)", item);
  return static_cast<PyObject *>(
      host::create("PythonResult", "Constructor(value as Object)",
                   p.call<Object>("ObjectValue(index as Integer) as Object", 0))
          .call<void *>("GetPtr() as Ptr"));
}

// One round: host code calls Python, which calls the host back, which answers.
void round(const Object &function, int number) {
  Object p = quillix::newParameters(3);
  Object dict = host::create("PythonDictionary", "Constructor()");
  Object list = host::create("PythonList", "Constructor()");
  dict.assign("ObjectValue(key as String) as Object", "token", gToken);
  dict.assign("StringValue(key as String) as String", "\xc3\xbc", "n\0n");
  list.call("Append(value as PythonEntityBase)",
            host::callShared<Object>("PythonEntity", "FromString(value as String) as PythonEntity",
                                     "item"));
  p.assign("ObjectValue(index as Integer) as Object", 0, gToken);
  p.assign("DictionaryValue(index as Integer) as PythonDictionary", 1, dict);
  p.assign("ListValue(index as Integer) as PythonList", 2, list);

  Object result = quillix::invoke(function, p);
  if (number % 3 == 2) { // the Python side raises after its visits
    ASSERT_FALSE(result);
    ASSERT_EQ(takeErrorClass(), "RuntimeError");
  } else {
    ASSERT_TRUE(result);
    Object answer = result.call<Object>("TupleValue() as PythonParameters");
    ASSERT_EQ(answer.call<Object>("ObjectValue(index as Integer) as Object", 0), gToken);
  }
  ASSERT_EQ(dict.call<int>("IntegerValue(key as String) as Integer", "visits"), 2);
  ASSERT_EQ(list.get<int>("Count"), 3);
  ASSERT_FALSE(dict.call<Object>("GetValue(key as PythonEntityBase) as PythonEntity", list));

  Object instance = quillix::getModule("__main__")
                        .call<Object>("GetClass(name as String) as PythonClass", "Keeper")
                        .call<Object>("CreateInstance() as PythonInstance");
  instance.assign("ObjectField(name as String) as Object", "kept", gToken);
  instance.assign("BooleanField(name as String) as Boolean", "flag", number % 2 == 0);
  Object method = quillix::getFunction(instance, "swap");
  ASSERT_EQ(quillix::invoke(method).call<Object>("ObjectValue() as Object"), gToken);
  ASSERT_FALSE(quillix::getFunction(instance, "missing"));
  quillix::clearError();
}

using TrafficTest = RunningTest;

TEST_F(TrafficTest, leavesEverythingWhereItWas) {
  constexpr int kRounds = 10000;
  attachConsole();
  gToken = host::create("Object");
  Object module = host::create("PythonXojoModule",
                               "Constructor(name as String, methodCount as UInt32)", "station", 1U);
  module.call("RegisterFunction(name as String, fuction as Ptr)", "visit",
              reinterpret_cast<void *>(visit));
  host::callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)", module);
  runPython("import gc, station\n"
            "shared = object()\n"
            "calls = 0\n"
            "class Keeper:\n"
            "    def swap(self):\n"
            "        kept, self.kept = self.kept, None\n"
            "        return kept\n"
            "def travel(token, dictionary, items):\n"
            "    global calls\n"
            "    calls += 1\n"
            "    for _ in range(2):\n"
            "        token = station.visit(token, 1 << 40, 2.5, True, 'n\\0l \\xc3\\xbc', items,\n"
            "                              dictionary, (shared, None))\n"
            "    print calls,\n"
            "    if calls % 3 == 0: raise RuntimeError('every third time')\n"
            "    return token, dictionary, items\n");
  Object function = quillix::getFunction(quillix::getModule("__main__"), "travel");

  auto run = [&](int rounds) {
    for (int i = 0; i < rounds && !HasFatalFailure(); ++i) {
      round(function, i);
    }
    printed.clear();
    runPython("gc.collect()");
    return Census(gToken);
  };
  auto pythonObjects = [] { return PyInt_AS_LONG(Evaluated("len(gc.get_objects())").get()); };
  Census early = run(30);
  long earlyPythonObjects = pythonObjects();
  EXPECT_EQ(run(kRounds), early);
  EXPECT_LE(pythonObjects(), earlyPythonObjects);
  EXPECT_EQ(gSeen, 2 * (kRounds + 30));
  gToken = nullptr;
}

} // namespace
