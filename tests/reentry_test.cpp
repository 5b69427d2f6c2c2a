// Host code that runs where nobody expects it: in the middle of an operation that only makes or reads
// a value, and while the interpreter is being taken apart.

#include "tests/support.h"

namespace {

using host::Object;

bool gArmed = false; // outside an operation of the plug-in the test itself is the caller of Python
int gCalls = 0;

// A host function that tries to stop the interpreter under the very call that led to it.
PyObject *stop(PyObject *, PyObject *) {
  if (gArmed) {
    ++gCalls;
    quillix::finalize();
    quillix::init();
  }
  return static_cast<PyObject *>(
      host::create("PythonResult", "Constructor()").call<void *>("GetPtr() as Ptr"));
}

class ReentryTest : public RunningTest {
protected:
  void SetUp() override {
    RunningTest::SetUp();
    Object module = host::create(
        "PythonXojoModule", "Constructor(name as String, methodCount as UInt32)", "engine", 1U);
    module.call("RegisterFunction(name as String, fuction as Ptr)", "stop", stop);
    host::callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)", module);
    runPython("import engine, gc, weakref\n"
              "class Stops(object):\n"
              "    def __del__(self): engine.stop()\n"
              "class Number(long):\n"
              "    def __int__(self): engine.stop(); return 7\n"
              "class Node(object): pass\n"
              "def leave_garbage():\n"
              "    a = Node(); a.self = a; refs.append(weakref.ref(a, lambda _: engine.stop()))\n"
              "refs = []\n");
  }

  // The operation must reach the host function, which must not have stopped anything.
  void expectRefused(const char *what, const std::function<void()> &operation) {
    gCalls = 0;
    gArmed = true;
    operation();
    gArmed = false;
    EXPECT_GT(gCalls, 0) << what;
    EXPECT_TRUE(PY(Py_IsInitialized)()) << what;
  }
};

TEST_F(ReentryTest, conversionsRunCode) {
  Object result = resultOf("Number(5)");
  expectRefused("IntegerValue",
                [&] { EXPECT_EQ(result.call<int>("IntegerValue() as Integer"), 7); });
}

// Raising an error lets go of the one that was pending, and of all that its traceback holds.
TEST_F(ReentryTest, errorsRunCode) {
  Object parameters = quillix::newParameters(1);
  auto pending = [] {
    runPython("def fail():\n    stops = Stops()\n    raise KeyError");
    EXPECT_FALSE(quillix::invoke(quillix::getFunction(quillix::getModule("__main__"), "fail")));
  };
  auto nilObject = [&] {
    parameters.assign("ObjectValue(index as Integer) as Object", 0, nullptr);
  };
  for (const auto &[what, operation] : std::vector<std::pair<const char *, std::function<void()>>>{
           {"ObjectValue", nilObject},
           {"Constructor",
            [] { host::create("PythonResult", "Constructor(value as Object)", nullptr); }},
           {"ClearError", quillix::clearError},
           {"GetError", [] { quillix::getError(); }},
           {"SetError", [] { quillix::setError(19, "other"); }}}) {
    pending();
    expectRefused(what, operation);
    quillix::clearError();
  }
}

// Making an object may collect garbage.
TEST_F(ReentryTest, makingObjectsRunsCode) {
  Object dict = host::create("PythonDictionary", "Constructor()");
  dict.assign("IntegerValue(key as String) as Integer", "key", 1);
  Object list = host::create("PythonList", "Constructor()");
  for (const auto &[what, operation] : std::vector<std::pair<const char *, std::function<void()>>>{
           {"tuple", [] { quillix::newParameters(50); }},
           {"dictionary", [] { host::create("PythonDictionary", "Constructor()"); }},
           {"list", [] { host::create("PythonList", "Constructor()"); }},
           {"clear", [&] { list.call("Clear()"); }},
           {"keys", [&] { dict.call<Object>("GetKeys() as PythonList"); }}}) {
    runPython("gc.disable(); gc.collect(); gc.set_threshold(1)\nleave_garbage()");
    Evaluated enable("gc.enable");
    // With the free lists used up every new container is an allocation, and so a collection.
    std::vector<PyObject *> used;
    for (int i = 0; i < 200; ++i) {
      used.insert(used.end(), {PY(PyDict_New)(), PY(PyList_New)(0)});
    }
    Py_DECREF(PY(PyObject_CallObject)(enable.get(), nullptr));
    expectRefused(what, operation);
    runPython("gc.set_threshold(700)");
    for (PyObject *object : used) {
      Py_DECREF(object);
    }
  }
}

// An object that dies late, when the interpreter has no modules any more, may belong to host code.
TEST_F(ReentryTest, destructorsRunAfterTheModulesAreGone) {
  bool destroyed = false;
  {
    Object late = host::create("Object");
    Object module = quillix::getModule("gc");
    host::onDestroyed(late, [&, module] {
      destroyed = true;
      EXPECT_FALSE(quillix::getModule("os"));
      EXPECT_FALSE(module.call<bool>("Reload() as Boolean"));
      host::callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)",
                       host::create("PythonXojoModule",
                                    "Constructor(name as String, methodCount as UInt32)", "late",
                                    1U));
      quillix::init();
      quillix::finalize();
      host::create("PythonDictionary", "Constructor()");
    });
    Object instance =
        quillix::createInstance(quillix::getClass(quillix::getModule("__main__"), "Node"));
    instance.assign("ObjectField(name as String) as Object", "late", late);
    runPython("import codecs\n"
              "node = [o for o in gc.get_objects() if type(o) is Node][0]\n"
              "codecs.register_error('late', lambda error, late=node.late: None)\n"
              "del node\n");
  }
  EXPECT_FALSE(destroyed);
  quillix::finalize();
  EXPECT_TRUE(destroyed);
}

} // namespace
