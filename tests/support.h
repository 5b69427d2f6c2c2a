// What the tests share: fixtures that load the plug-in and start Python, and a short way to run
// Python code and look at Python objects from outside the plug-in.
#pragma once

#include <Python.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "host/runtime/call.h"
#include "tests/platform.h"

// A function or variable of the Python library that the plug-in opened, by its own name; for what a
// test needs to see of Python without the plug-in: PY(PyRun_String)(...), *PY(PyExc_TypeError).
#define QUILLIX_QUOTE(symbol) #symbol
#define QUILLIX_NAME(symbol) QUILLIX_QUOTE(symbol)
#define PY(symbol) (reinterpret_cast<decltype(&symbol)>(findPythonSymbol(QUILLIX_NAME(symbol))))
inline void *findPythonSymbol(const char *name) {
  void *const symbol = platform::findPythonSymbol(name);
  EXPECT_NE(symbol, nullptr) << name;
  return symbol;
}

namespace quillix {

inline void init() { host::callShared("Quillix", "Init()"); }
inline void finalize() { host::callShared("Quillix", "Finalize()"); }
inline bool errorOccurred() {
  return host::callShared<bool>("Quillix", "ErrorOccurred() as Boolean");
}
inline std::string getError() {
  return host::callShared<std::string>("Quillix", "GetError() as String");
}
template <class Text> void setError(int type, const Text &message) {
  host::callShared("Quillix", "SetError(errorType as Integer, message as String)", type, message);
}
inline void clearError() { host::callShared("Quillix", "ClearError()"); }
inline host::Object getModule(std::string_view name) {
  return host::callShared<host::Object>("Quillix", "GetModule(name as String) as PythonModule",
                                        name);
}
inline host::Object getFunction(const host::Object &owner, std::string_view name) {
  return owner.call<host::Object>("GetFunction(name as String) as PythonFunction", name);
}
inline host::Object invoke(const host::Object &function, const host::Object &parameters = nullptr) {
  return function.call<host::Object>("Invoke(parameters as PythonParameters) as PythonResult",
                                     parameters);
}
inline host::Object getClass(const host::Object &module, std::string_view name) {
  return module.call<host::Object>("GetClass(name as String) as PythonClass", name);
}
inline host::Object createInstance(const host::Object &pythonClass) {
  return pythonClass.call<host::Object>("CreateInstance() as PythonInstance");
}
inline void setConsole(const host::Object &console) {
  host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", console);
}
inline host::Object newParameters(int count) {
  return host::create("PythonParameters", "Constructor(parameterCount as Integer)", count);
}
inline host::Object parametersOver(PyObject *tuple) {
  return host::create("PythonParameters", "Constructor(paramPtr as Ptr)", tuple);
}

// Host code, described and published to Python.
template <class Name> host::Object describeModule(const Name &name, std::uint32_t slots) {
  return host::create("PythonXojoModule", "Constructor(name as String, methodCount as UInt32)",
                      name, slots);
}
inline host::Object describeClass(std::string_view name, std::uint32_t slots) {
  return host::create("PythonXojoClass", "Constructor(name as String, methodCount as UInt32)", name,
                      slots);
}
template <class Name>
void registerFunction(const host::Object &described, const Name &name, PyCFunction function) {
  described.call("RegisterFunction(name as String, fuction as Ptr)", name, function);
}
inline host::Object moduleWith(std::string_view name, std::string_view functionName,
                               PyCFunction function) {
  const host::Object module = describeModule(name, 1);
  registerFunction(module, functionName, function);
  return module;
}
inline void publish(const host::Object &module) {
  host::callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)", module);
}
// What a host function answers Python with: a new reference.
inline PyObject *give(const host::Object &result) {
  return static_cast<PyObject *>(result.call<void *>("GetPtr() as Ptr"));
}

} // namespace quillix

// The name of the pending Python error's class, which is cleared; empty when there is none.
std::string takeErrorClass();

// Runs statements, or evaluates an expression, in the module __main__. A Python error fails the
// test, with the traceback on standard error.
void runPython(const std::string &statements);
PyObject *evalPython(const std::string &expression); // a new reference

// evalPython, released at the end.
class Evaluated {
public:
  explicit Evaluated(const std::string &expression) : object_(evalPython(expression)) {}
  ~Evaluated() { Py_XDECREF(object_); }
  Evaluated(const Evaluated &) = delete;
  Evaluated &operator=(const Evaluated &) = delete;
  PyObject *get() const { return object_; }
  Py_ssize_t references() const { return object_->ob_refcnt; }

private:
  PyObject *object_;
};

// A PythonParameters over the tuple that the expression gives: the door for any Python value into
// the plug-in's hands.
host::Object tupleOf(const std::string &expression);

// A PythonResult holding what the expression gives.
host::Object resultOf(const std::string &expression);

// A console object with this handler, not chosen yet.
host::Object newConsole(std::function<void(std::string_view)> handler);

// The plug-in is loaded; no interpreter runs. At the end the interpreter is stopped, if it runs,
// and everything that the host made must be gone.
class LoadedTest : public ::testing::Test {
protected:
  void SetUp() override;
  void TearDown() override;
};

// The interpreter runs.
class RunningTest : public LoadedTest {
protected:
  void SetUp() override;

  // A console that puts down in `printed` what it hears; and one such console, chosen.
  host::Object recorder();
  void attachConsole() { quillix::setConsole(recorder()); }
  std::vector<std::string> printed;
};
