// Calls into Python: functions, classes and instances.

#include "tests/fields.h"

namespace {

using namespace quillix;
using host::Object;

class CallTest : public RunningTest {
protected:
  void SetUp() override {
    RunningTest::SetUp();
    runPython(R"(
import sys
def give(): return thing
def echo(*arguments): return arguments
def fail(): raise ValueError('no')
class Thing(object):
  def __new__(cls): return thing if 'thing' in globals() else object.__new__(cls)
  def add(self, n): return self.base + n
class Needy: __init__ = lambda self, needed: None
class Failing: __init__ = lambda self: fail()
thing = Thing(); thing.base = 2; thing.give = give
five = 5
leave = sys.exit
)");
    main = getModule("__main__");
  }
  void TearDown() override {
    main = nullptr;
    RunningTest::TearDown();
  }

  Object main;
};

std::string reprOfResult(const Object &result) { return reprOf(heldByResult(result)); }

// Each wrapper owns one lock on its name and on where it came from.
TEST_F(CallTest, wrappersOwnWhatTheyNeed) {
  const Object thingClass = getClass(main, "Thing"), thing = createInstance(thingClass);
  const Object give = getFunction(main, "give");
  const struct {
    const char *held, *className, *name;
    Object owner;
    std::function<Object()> make;
  } cases[] = {
      {"sys", "PythonModule", "sys", nullptr, [] { return getModule("sys"); }},
      {"give", "PythonFunction", "give", main, [&] { return getFunction(main, "give"); }},
      {"Thing", "PythonClass", "Thing", main, [&] { return getClass(main, "Thing"); }},
      {"five", "PythonClass", "five", main, [&] { return getClass(main, "five"); }},
      {"thing", "PythonInstance", "Thing", thingClass, [&] { return createInstance(thingClass); }},
      {"give", "PythonFunction", "give", thing, [&] { return getFunction(thing, "give"); }},
      {"thing", "PythonResult", nullptr, nullptr, [&] { return invoke(give); }},
  };
  for (const auto &[expression, className, name, owner, make] : cases) {
    SCOPED_TRACE(std::string(className) + " of " + expression);
    const std::uint32_t locks = owner.locks();
    {
      const Object wrapper = make();
      EXPECT_EQ(wrapper.className(), className);
      EXPECT_EQ(owner.locks(), locks + (owner ? 1 : 0));
      EXPECT_EQ(name ? wrapper.get<std::string>("Name") : "", name ? name : "");
    }
    EXPECT_EQ(owner.locks(), locks);
  }
}

// Function, instance, class and module each keep the next alive.
TEST_F(CallTest, theLastLinkKeepsTheChain) {
  Object function = getFunction(createInstance(getClass(main, "Thing")), "add");
  main = nullptr;
  for (const char *link : {"PythonFunction", "PythonInstance", "PythonClass", "PythonModule"})
    EXPECT_EQ(host::livingObjects(link), 1U) << link;
  EXPECT_FALSE(function.get<Object>("OwnerModule"));
  EXPECT_EQ(reprOfResult(invoke(function, tupleOf("(5,)"))), "7") << "the instance goes first";
  function = nullptr;
  EXPECT_EQ(host::livingObjects(), 0U);
}

TEST_F(CallTest, whatCannotBeCalledOrFound) {
  const Object thing = createInstance(getClass(main, "Thing"));
  const auto function = [&](const char *name) { return getFunction(main, name); };
  const auto instance = [&](const char *name) { return createInstance(getClass(main, name)); };
  const std::pair<std::function<Object()>, const char *> cases[] = {
      {[&] { return function("five"); }, ""},
      {[&] { return function("missing"); }, "AttributeError"},
      {[&] { return getClass(main, "missing"); }, "AttributeError"},
      {[&] { return getFunction(thing, "base"); }, ""},
      {[&] { return getFunction(thing, "missing"); }, "AttributeError"},
      {[&] { return instance("five"); }, "TypeError"},
      {[&] { return instance("Needy"); }, "TypeError"},
      {[&] { return instance("Failing"); }, "ValueError"},
      {[&] { return invoke(function("fail")); }, "ValueError"},
      {[&] { return invoke(function("leave")); }, "SystemExit"},
      {[&] { return invoke(function("give"), tupleOf("(1,)")); }, "TypeError"},
      {[&] { return invoke(function("echo"), tupleOf("[1, 2]")); }, "TypeError"},
      {[&] { return invoke(function("echo"), host::create("PythonParameters")); }, ""},
  };
  for (const auto &[attempt, error] : cases) {
    EXPECT_FALSE(attempt());
    EXPECT_EQ(takeErrorClass(), error) << &attempt - &cases[0].first;
  }
  EXPECT_EQ(reprOfResult(invoke(function("echo"))), "()") << "without parameters";
}

// What is called may let go of all that takes part in the call; it goes when the call ends.
TEST_F(CallTest, theCalledMayLetGo) {
  runPython(R"(
from functools import partial
gone = []
class Loose(partial):
  def __del__(self): gone.append(1)
def let_go(*given): host.call(); return given, list(gone)
loose = Loose(let_go)
)");
  Object function = getFunction(main, "loose"), parameters = tupleOf("('given',)");
  letPythonCall([&] {
    runPython("del loose");
    parameters.call("Constructor(parameterCount as Integer)", 0);
    main = function = parameters = nullptr;
  });
  EXPECT_EQ(reprOfResult(invoke(function, parameters)), "(('given',), [])");
  EXPECT_EQ(reprOf(Evaluated("gone").get()), "[1]");
}

} // namespace
