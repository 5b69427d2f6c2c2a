// Host code that runs where nobody expects it: when an error goes, and while the interpreter is being
// taken apart.

#include "tests/fields.h"

namespace {

using namespace quillix;
using host::Object;
using ReentryTest = RunningTest;

// Raising an error lets go of the one that was pending, and of all that its traceback holds.
TEST_F(ReentryTest, errorsRunCode) {
  runPython("class Stops(object):\n"
            "  def __del__(self): host.call()\n"
            "def fail():\n"
            "  stops = Stops()\n"
            "  raise KeyError");
  bool called = false;
  letPythonCall([&] {
    called = true;
    finalize();
    init();
  });
  const Object parameters = newParameters(1), fail = getFunction(getModule("__main__"), "fail");
  const std::function<void()> operations[] = {
      [&] { put(parameters, 0, Object()); }, [] { newResult(Object()); }, clearError, getError,
      [] { setError(1, "other"); },
  };
  for (const auto &operation : operations) {
    EXPECT_FALSE(invoke(fail));
    called = false;
    operation();
    EXPECT_TRUE(called && PY(Py_IsInitialized)()) << &operation - operations;
    clearError();
  }
}

// An object that dies late, when the interpreter has no modules any more, may belong to host code.
TEST_F(ReentryTest, destructorsRunAfterTheModulesAreGone) {
  bool destroyed = false;
  {
    const Object late = host::create("Object"), module = getModule("gc");
    host::onDestroyed(late, [&, module] {
      destroyed = true;
      EXPECT_FALSE(getModule("os"));
      EXPECT_FALSE(module.call<bool>("Reload() as Boolean"));
      publish(describeModule("late", 1));
      init();
      finalize();
      newDictionary();
    });
    setField(getModule("__main__"), "late", late);
    runPython("import codecs\n"
              "codecs.register_error('late', lambda error, late=globals().pop('late'): None)");
  }
  EXPECT_FALSE(destroyed);
  finalize();
  EXPECT_TRUE(destroyed);
}

} // namespace
