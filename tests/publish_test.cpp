// Host functions and classes, described and published to Python.

#include "tests/support.h"

namespace {

constexpr const char *kConstructor = "Constructor(name as String, methodCount as UInt32)";
constexpr const char *kRegisterFunction = "RegisterFunction(name as String, fuction as Ptr)";
constexpr const char *kAddClass = "AddClass(classToAdd as PythonXojoClass)";

using HostCallable = PyObject *(*)(PyObject *, PyObject *);

host::Object describeModule(std::string_view name, std::uint32_t slots) {
  return host::create("PythonXojoModule", kConstructor, name, slots);
}
host::Object describeClass(std::string_view name, std::uint32_t slots) {
  return host::create("PythonXojoClass", kConstructor, name, slots);
}
template <class Name>
void add(const host::Object &described, const Name &name, HostCallable function) {
  described.call(kRegisterFunction, name, reinterpret_cast<void *>(function));
}
void addClass(const host::Object &module, const host::Object &added) {
  module.call(kAddClass, added);
}
host::Object moduleWith(std::string_view name, HostCallable function) {
  host::Object module = describeModule(name, 1U);
  add(module, "f", function);
  return module;
}
void publish(const host::Object &module) {
  host::callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)", module);
}

// Host functions, written as host code writes them.

int gCalls = 0;
PyObject *gSelf = nullptr;

PyObject *give(const host::Object &result) {
  return static_cast<PyObject *>(result.call<void *>("GetPtr() as Ptr"));
}

PyObject *countCalls(PyObject *self, PyObject *) {
  gSelf = self;
  ++gCalls;
  return give(host::create("PythonResult", "Constructor()"));
}

PyObject *countArguments(PyObject *, PyObject *arguments) {
  host::Object parameters = quillix::parametersOver(arguments);
  return give(
      host::create("PythonResult", "Constructor(value as Int32)", parameters.get<int>("Count")));
}

PyObject *addIntegers(PyObject *, PyObject *arguments) {
  host::Object p = quillix::parametersOver(arguments);
  constexpr const char *kItem = "IntegerValue(index as Integer) as Integer";
  return give(host::create("PythonResult", "Constructor(value as Int32)",
                           p.call<int>(kItem, 0) + p.call<int>(kItem, 1)));
}

PyObject *raiseValueError(PyObject *, PyObject *) {
  host::callShared("Quillix", "SetError(errorType as Integer, message as String)",
                   host::constant("PythonErrorTypes", "ValueError"), "no good");
  return nullptr;
}

using DescriptionTest = LoadedTest;
using PublishTest = RunningTest;

// --- Describing ---

// Neither an interpreter nor a slot is needed to describe; every lock comes back.
TEST_F(DescriptionTest, keepsNamesAndClassesLocked) {
  host::String first("first");
  host::String second("second");
  host::String name("shop");
  {
    host::Object module = host::create("PythonXojoModule", kConstructor, name, 2U);
    EXPECT_EQ(name.locks(), 2U);
    EXPECT_EQ(module.get<std::string>("Name"), "shop");
    add(module, first, countCalls);
    add(module, second, countCalls);
    add(module, host::String("beyond the slots"), countCalls);
    EXPECT_EQ(first.locks(), 2U);
    EXPECT_EQ(second.locks(), 2U);

    module.call(kAddClass, nullptr);
    EXPECT_EQ(host::livingObjects("ObjectArray"), 0U);
    host::Object added = describeClass("Till", 0);
    addClass(module, added);
    addClass(module, added);
    EXPECT_EQ(host::livingObjects("ObjectArray"), 1U);
    EXPECT_EQ(added.locks(), 3U);
    add(added, "no slots", countCalls);

    // Constructing again changes nothing: Python may point at what there is.
    module.call(kConstructor, "other", 5U);
    EXPECT_EQ(module.get<std::string>("Name"), "shop");
    EXPECT_EQ(first.locks(), 2U);
  }
  EXPECT_EQ(name.locks(), 1U);
  EXPECT_EQ(first.locks(), 1U);
  EXPECT_EQ(second.locks(), 1U);
}

TEST_F(DescriptionTest, survivesAnImpossibleMethodCount) {
  for (std::uint32_t count : {UINT32_MAX, UINT32_MAX - 1, UINT32_MAX / 2}) {
    host::Object huge = describeModule("huge", count);
    EXPECT_EQ(huge.get<std::string>("Name"), "huge");
  }
  host::Object bare = host::create("PythonXojoModule");
  add(bare, "f", countCalls);
  EXPECT_EQ(bare.get<std::string>("Name"), "");
}

// --- Publishing ---

TEST_F(PublishTest, callsFunctionsStraight) {
  host::Object module = describeModule("shop", 5);
  add(module, "count_calls", countCalls);
  add(module, "add", raiseValueError);
  add(module, "add", addIntegers); // the later one of a name wins
  add(module, "fail", raiseValueError);
  add(module, "missing", nullptr);
  publish(module);
  EXPECT_EQ(module.locks(), 2U);

  gCalls = 0;
  gSelf = PY(_Py_NoneStruct);
  runPython("import shop\n"
            "assert shop.count_calls() is None and shop.add(40, 2) == 42\n"
            "assert shop.add.__module__ == 'shop' and shop.add.__self__ is None\n"
            "errors = []\n"
            "for wrong in lambda: shop.add(a=1), shop.missing, shop.fail:\n"
            "    try: wrong()\n"
            "    except Exception, e: errors.append(type(e).__name__)\n"
            "assert errors == ['TypeError', 'SystemError', 'ValueError'] and str(e) == 'no good'");
  EXPECT_EQ(gCalls, 1);
  EXPECT_EQ(gSelf, nullptr);

  // The way round: host code reaches its own function through Python.
  host::Object add42 = quillix::getFunction(quillix::getModule("shop"), "add");
  host::Object result = quillix::invoke(add42, tupleOf("(3, 4)"));
  EXPECT_EQ(result.call<int>("IntegerValue() as Integer"), 7);
}

TEST_F(PublishTest, givesAndTakesNoReferenceTooMany) {
  host::Object module = describeModule("shop", 2);
  add(module, "count_arguments", countArguments);
  add(module, "count_calls", countCalls);
  publish(module);
  runPython(
      "import shop, sys\nitem = object()\nbefore = sys.getrefcount(item), sys.getrefcount(None)\n"
      "for _ in xrange(1000): assert shop.count_arguments(item, item) == 2; shop.count_calls()\n"
      "after = sys.getrefcount(item), sys.getrefcount(None)\n"
      "assert before[0] == after[0] and abs(before[1] - after[1]) < 10, (before, after)");
}

TEST_F(PublishTest, makesClassicClasses) {
  host::Object module = describeModule("shop", 0);
  host::Object till = describeClass("Till", 2);
  add(till, "arguments", countArguments);
  add(till, "fail", raiseValueError);
  addClass(module, till);
  addClass(module, describeClass("Empty", 3));
  addClass(module, describeClass("Bare", 0));
  addClass(module, describeClass("", 1)); // no name, no class
  publish(module);
  EXPECT_EQ(till.locks(), 2U);
  runPython("import shop, types\n"
            "assert sorted(n for n in dir(shop) if n[0] != '_') == ['Bare', 'Empty', 'Till']\n"
            "assert type(shop.Till) is types.ClassType and not shop.Till.__bases__\n"
            "till = shop.Till()\n"
            "assert till.arguments() == 1 and till.arguments(1, 2) == 3\n"
            "assert shop.Till.arguments(till, 5) == 2\n"
            "class Sub(shop.Till):\n"
            "    def arguments(self): return 10 * shop.Till.arguments(self, 1)\n"
            "assert Sub().arguments() == 20\n"
            "for wrong in (lambda: shop.Till.arguments(), till.fail):\n"
            "    try: wrong()\n"
            "    except (TypeError, ValueError): pass\n"
            "    else: raise AssertionError\n"
            "assert [n for n in dir(shop.Bare()) if n[0] != '_'] == []");
}

// Python sees what stood there when the module was published; publishing again adds the rest.
TEST_F(PublishTest, addsToAModuleThatIsThere) {
  host::Object module = describeModule("shop", 2);
  add(module, "one", countCalls);
  host::Object till = describeClass("Till", 0);
  addClass(module, till);
  addClass(module, till);
  publish(module);
  runPython("import shop\nfirst = shop.Till\nshop.own = 1\nassert not hasattr(shop, 'two')");
  add(module, "two", countCalls);
  publish(module);
  EXPECT_EQ(module.locks(), 3U);
  runPython("assert shop.own == 1 and shop.Till is not first\nshop.one(); shop.two()");

  host::Object others = describeModule("shop", 1);
  add(others, "three", countCalls);
  publish(others);
  runPython("shop.one(); shop.three()");
  quillix::finalize();
  EXPECT_EQ(module.locks(), 1U);
  EXPECT_EQ(others.locks(), 1U);
}

// The host's empty string ends a table, as nil and as an object alike.
TEST_F(PublishTest, endsATableAtAnEmptyName) {
  for (const host::String &none : {host::String(), host::String::emptyObject()}) {
    host::Object module = describeModule("gaps", 3);
    add(module, "before", countCalls);
    add(module, none, countCalls);
    add(module, "after", countCalls);
    publish(module);
    runPython("import gaps\nassert hasattr(gaps, 'before') and not hasattr(gaps, 'after')");
  }
}

TEST_F(PublishTest, refusesWhatCannotBePublished) {
  host::Object module = moduleWith("shop", countCalls);
  publish(nullptr);
  publish(describeModule("", 1));
  publish(host::create("PythonXojoModule"));
  EXPECT_FALSE(quillix::errorOccurred());

  // A pending error stays what it is.
  PY(PyErr_SetString)(*PY(PyExc_KeyError), "pending");
  publish(module);
  EXPECT_EQ(takeErrorClass(), "KeyError");

  // Without a list to keep the module in, Python must not point into it.
  for (const char *missing : {"CreateInstance", "Append(item as Object)"}) {
    host::withhold(missing);
    publish(module);
    host::restoreAll();
  }
  quillix::finalize();
  publish(module);
  quillix::init();
  EXPECT_EQ(module.locks(), 1U);
  EXPECT_FALSE(quillix::getModule("shop"));
  EXPECT_EQ(takeErrorClass(), "ImportError");
}

// What is published serves one interpreter. After a restart it can be published again.
TEST_F(PublishTest, startsAnewWithEachInterpreter) {
  host::Object module = moduleWith("shop", countCalls);
  gCalls = 0;
  for (int round = 1; round <= 3; ++round) {
    EXPECT_FALSE(quillix::getModule("shop"));
    quillix::clearError();
    publish(module);
    runPython("import shop\nshop.f()");
    EXPECT_EQ(gCalls, round);
    quillix::finalize();
    EXPECT_EQ(module.locks(), 1U);
    quillix::init();
  }
}

// A published module outlives the host's own interest in it.
TEST_F(PublishTest, keepsModuleAndClassesForPython) {
  {
    host::Object module = describeModule("shop", 1);
    host::Object till = describeClass("Till", 1);
    add(module, std::string(1000, 'f'), countCalls);
    add(till, "arguments", countArguments);
    addClass(module, till);
    publish(module);
  }
  EXPECT_EQ(host::livingObjects("PythonXojoClass"), 1U);
  runPython("import shop\ngetattr(shop, 'f' * 1000)()\nassert shop.Till().arguments() == 1");
  quillix::finalize();
  EXPECT_EQ(host::livingObjects("PythonXojoModule"), 0U);
}

} // namespace
