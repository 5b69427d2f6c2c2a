// Host functions and classes, described and published to Python.

#include "tests/wrappers.h"

namespace {

using namespace quillix;
using namespace std::string_view_literals;
using host::Object;

void addClass(const Object &module, const Object &added) {
  module.call("AddClass(classToAdd as PythonXojoClass)", added);
}

// Host functions, written as host code writes them.

PyObject *countArguments(PyObject *self, PyObject *arguments) {
  EXPECT_EQ(self, nullptr);
  return give(newResult(parametersOver(arguments).get<int>("Count")));
}

PyObject *addIntegers(PyObject *, PyObject *arguments) {
  const Object p = parametersOver(arguments);
  return give(newResult(get<int>(p, 0) + get<int>(p, 1)));
}

PyObject *raiseValueError(PyObject *, PyObject *) {
  setError(host::constant("PythonErrorTypes", "ValueError"), "no good");
  return nullptr;
}

using DescriptionTest = LoadedTest;
using PublishTest = RunningTest;

// --- Describing ---

// Neither an interpreter nor a slot is needed to describe; every lock comes back.
TEST_F(DescriptionTest, keepsNamesAndClassesLocked) {
  const host::String names[] = {host::String("shop"), host::String("one"), host::String("two")};
  const Object till = describeClass("Till", 0);
  const auto expectLocks = [&](std::uint32_t ofNames, std::uint32_t ofClass) {
    for (const host::String &name : names)
      EXPECT_EQ(name.locks(), ofNames) << name.text();
    EXPECT_EQ(till.locks(), ofClass);
  };
  {
    const Object module = describeModule(names[0], 2);
    registerFunction(module, names[1], countArguments);
    registerFunction(module, names[2], countArguments);
    registerFunction(module, "beyond the slots", countArguments);
    registerFunction(till, "no slots", countArguments);
    addClass(module, nullptr);
    EXPECT_EQ(host::livingObjects("ObjectArray"), 0U);
    addClass(module, till);
    addClass(module, till);
    // Constructing again changes nothing: Python may point at what there is.
    module.call("Constructor(name as String, methodCount as UInt32)", "other", 5U);
    EXPECT_EQ(module.get<std::string>("Name"), "shop");
    expectLocks(2, 3);
  }
  expectLocks(1, 1);
}

TEST_F(DescriptionTest, survivesAnImpossibleMethodCount) {
  for (const std::uint32_t count : {UINT32_MAX, UINT32_MAX - 1, UINT32_MAX / 2})
    EXPECT_EQ(describeModule("huge", count).get<std::string>("Name"), "huge");
  const Object bare = host::create("PythonXojoModule");
  registerFunction(bare, "f", countArguments);
  EXPECT_EQ(bare.get<std::string>("Name"), "");
}

// --- Publishing ---

TEST_F(PublishTest, callsFunctionsStraight) {
  const Object module = describeModule("shop", 5);
  registerFunction(module, "count", countArguments);
  registerFunction(module, "add", raiseValueError);
  registerFunction(module, "add", addIntegers); // the later one of a name wins
  registerFunction(module, "fail", raiseValueError);
  registerFunction(module, "missing", nullptr);
  publish(module);
  runPython("import shop\n"
            "assert shop.count() == 0 and shop.count('x', None) == 2 and shop.add(40, 2) == 42\n"
            "assert shop.add.__module__ == 'shop' and shop.add.__self__ is None\n"
            "errors = []\n"
            "for wrong in lambda: shop.add(a=1), shop.missing, shop.fail:\n"
            "  try: wrong()\n"
            "  except Exception, e: errors.append(type(e).__name__)\n"
            "assert errors == ['TypeError', 'SystemError', 'ValueError'] and str(e) == 'no good'");
}

TEST_F(PublishTest, makesClassicClasses) {
  const Object module = describeModule("shop", 0), till = describeClass("Till", 2);
  registerFunction(till, "count", countArguments);
  registerFunction(till, "fail", raiseValueError);
  for (const Object &added : {till, describeClass("Empty", 3), describeClass("Bare", 0),
                              describeClass("", 1)}) // no name, no class
    addClass(module, added);
  publish(module);
  EXPECT_EQ(till.locks(), 2U);
  runPython("import shop, types\n"
            "names = lambda of: sorted(n for n in dir(of) if n[0] != '_')\n"
            "assert names(shop) == ['Bare', 'Empty', 'Till'] and names(shop.Bare()) == []\n"
            "assert type(shop.Till) is types.ClassType and not shop.Till.__bases__\n"
            "till = shop.Till()\n"
            "assert till.count() == 1 and till.count(1, 2) == 3 == 1 + shop.Till.count(till, 5)\n"
            "class Sub(shop.Till):\n"
            "  def count(self): return 10 * shop.Till.count(self, 1)\n"
            "assert Sub().count() == 20\n"
            "for wrong in shop.Till.count, till.fail:\n"
            "  try: wrong()\n"
            "  except (TypeError, ValueError): pass\n"
            "  else: raise AssertionError");
}

// Python sees what stood there when the module was published; publishing again adds the rest.
TEST_F(PublishTest, addsToAModuleThatIsThere) {
  const Object module = describeModule("shop", 2), till = describeClass("Till", 0);
  registerFunction(module, "one", countArguments);
  addClass(module, till);
  addClass(module, till);
  publish(module);
  runPython("import shop\nfirst = shop.Till\nshop.own = 1\nassert not hasattr(shop, 'two')");
  registerFunction(module, "two", countArguments);
  publish(module);
  publish(moduleWith("shop", "three", countArguments));
  EXPECT_EQ(module.locks(), 3U);
  runPython("assert shop.own == 1 and shop.Till is not first\n"
            "shop.one(); shop.two(); shop.three()");
}

// The host's empty string ends a table, as nil and as an object alike.
TEST_F(PublishTest, endsATableAtAnEmptyName) {
  for (const host::String &none : {host::String(), host::String::emptyObject()}) {
    const Object module = describeModule("gaps", 3);
    registerFunction(module, "before", countArguments);
    registerFunction(module, none, countArguments);
    registerFunction(module, "after", countArguments);
    publish(module);
    runPython("import gaps\nassert hasattr(gaps, 'before') and not hasattr(gaps, 'after')");
  }
  const Object module = describeModule("whole", 2);
  registerFunction(module, "\0x"sv, countArguments); // which has a name: the empty one
  registerFunction(module, "after", countArguments);
  publish(module);
  runPython("import whole\nassert whole.after() == getattr(whole, '')() == 0");
}

TEST_F(PublishTest, refusesWhatCannotBePublished) {
  const Object module = moduleWith("shop", "f", countArguments);
  for (const Object &nameless : {Object(), describeModule("", 1), host::create("PythonXojoModule")})
    publish(nameless);
  EXPECT_FALSE(errorOccurred());
  setError(1, "pending");
  publish(module);
  EXPECT_EQ(getError(), "pending");
  EXPECT_EQ(module.locks(), 1U);
  // Without a list to keep the module in, Python must not point into it.
  for (const char *missing : {"CreateInstance", "Append(item as Object)"}) {
    host::withhold(missing);
    publish(module);
    host::restoreAll();
  }
  finalize();
  publish(module);
  init();
  EXPECT_EQ(module.locks(), 1U);
  EXPECT_FALSE(getModule("shop"));
  EXPECT_EQ(takeErrorClass(), "ImportError");
}

// What is published outlives the host's own interest in it, but serves one interpreter. After a
// restart it can be published again.
TEST_F(PublishTest, lastsAsLongAsTheInterpreter) {
  const Object module = moduleWith("shop", "f", countArguments);
  for (int round = 0; round < 3; ++round) {
    EXPECT_FALSE(getModule("shop"));
    clearError();
    publish(module);
    {
      const Object other = moduleWith("other", std::string(1000, 'f'), countArguments);
      const Object till = describeClass("Till", 1);
      registerFunction(till, "count", countArguments);
      addClass(other, till);
      publish(other);
    }
    runPython("import shop, other\n"
              "assert shop.f() == getattr(other, 'f' * 1000)() == 0 and other.Till().count() == 1");
    finalize();
    EXPECT_EQ(module.locks(), 1U);
    EXPECT_EQ(host::livingObjects(), 1U);
    init();
  }
}

// A cycle that the end of an interpreter leaves is collected in a later one, where its functions
// can be seen and called until then.
TEST_F(PublishTest, functionsOutliveTheirInterpreterHarmlessly) {
  for (int life = 0; life < 4; ++life) {
    runPython(R"(
import gc, sys
class Mute(object):
  def write(self, text): pass
sys.stderr = Mute() # which hears of __del__
class Node(object): pass
old = [o for o in gc.get_objects() if type(o) is type(len) and o.__name__ in ('count', '__del__')]
for function in old:
  try: function()
  except RuntimeError, error: assert 'has stopped' in str(error)
  else: raise AssertionError
)");
    const Evaluated old("len(old)");
    EXPECT_EQ(PyInt_AS_LONG(old.get()) >= 3, life > 0) << "what this is about";
    const Object module = moduleWith("shop", "count", countArguments);
    {
      const Object till = describeClass("Till", 2);
      registerFunction(till, "count", countArguments);
      registerFunction(till, "__del__", countArguments);
      addClass(module, till);
      publish(module);
    }
    runPython(R"(
function = old = None
gc.collect()
import shop
node = Node()
node.node, node.functions, node.till = node, vars(shop).values(), shop.Till()
assert shop.count() == 0 and node.till.count() == 1
)");
    finalize();
    EXPECT_EQ(module.locks(), 1U);
    init();
  }
}

} // namespace
