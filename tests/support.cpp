#include "tests/support.h"

std::string takeErrorClass() {
  PyObject *type = nullptr;
  PyObject *value = nullptr;
  PyObject *traceback = nullptr;
  PY(PyErr_Fetch)(&type, &value, &traceback);
  std::string name;
  if (type) {
    name = reinterpret_cast<PyTypeObject *>(type)->tp_name;
    name.erase(0, name.rfind('.') + 1);
  }
  Py_XDECREF(type);
  Py_XDECREF(value);
  Py_XDECREF(traceback);
  return name;
}

static PyObject *runIn(const std::string &source, int start) {
  PyObject *globals = PY(PyModule_GetDict)(PY(PyImport_AddModule)("__main__"));
  PyObject *result = PY(PyRun_StringFlags)(source.c_str(), start, globals, globals, nullptr);
  if (!result) {
    PY(PyErr_Print)();
    ADD_FAILURE() << "Python failed at: " << source;
  }
  return result;
}

void runPython(const std::string &statements) {
  PyObject *none = runIn(statements + "\n", Py_file_input);
  Py_XDECREF(none);
}

PyObject *evalPython(const std::string &expression) { return runIn(expression, Py_eval_input); }

host::Object tupleOf(const std::string &expression) {
  return quillix::parametersOver(Evaluated(expression).get());
}

host::Object resultOf(const std::string &expression) {
  runPython("_call = lambda: (" + expression + ")");
  host::Object result =
      quillix::invoke(quillix::getFunction(quillix::getModule("__main__"), "_call"));
  runPython("del _call");
  return result;
}

host::Object newConsole(std::function<void(std::string_view)> handler) {
  host::Object console = host::create("QuillixConsoleOutput");
  host::onConsoleOutput(console, std::move(handler));
  return console;
}

void LoadedTest::SetUp() {
  if (host::announcedVersion() == 0) {
    host::load(host::pluginPath(QUILLIX_PLUGIN_PATH));
  }
  ASSERT_TRUE(host::callShared<bool>("Quillix", "PythonIsFound() as Boolean"));
}

void LoadedTest::TearDown() {
  host::restoreAll();
  quillix::finalize();
  EXPECT_FALSE(PY(Py_IsInitialized)()) << "a call into Python counts as under way";
  quillix::setConsole(nullptr);
  EXPECT_EQ(host::survivors(), "");
  host::giveFreedBlocksBack(); // aborts when one was written to
}

void RunningTest::SetUp() {
  LoadedTest::SetUp();
  quillix::init();
}

host::Object RunningTest::recorder() {
  return newConsole([this](std::string_view text) { printed.emplace_back(text); });
}
