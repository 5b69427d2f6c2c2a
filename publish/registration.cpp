// Publishing a described module to the running interpreter: a Python module with the module's host
// functions and one classic class for each class added to it.

#include "publish/publish.h"

namespace {

PyMethodDef ModuleNoMethods[] = {{nullptr, nullptr, 0, nullptr}};

// Adds one host function to a class as an unbound method. What Python refuses is left out, with its
// error set.
void publishMethod(PyObject *pythonClass, PyObject *dict, PyMethodDef &entry) {
  PyRef function(EPyCFunction_NewEx(&entry, nullptr, nullptr));
  PyRef method(function ? EPyMethod_New(function.get(), nullptr, pythonClass) : nullptr);
  if (method) {
    EPyDict_SetItemString(dict, entry.ml_name, method.get());
  }
}

// Adds one class to the module's dictionary, then its methods to the class.
void publishClass(PyObject *moduleDict, REALobject xojoClass) {
  REALstring name = objectData(xojoClass).name;
  const char *attribute = nameOf(name);
  if (!attribute) {
    return;
  }
  PyRef dict(EPyDict_New());
  PyRef pythonName(dict ? newPythonString(name) : PyRef());
  PyRef pythonClass(pythonName ? EPyClass_New(nullptr, dict.get(), pythonName.get()) : nullptr);
  if (!pythonClass || EPyDict_SetItemString(moduleDict, attribute, pythonClass.get()) != 0) {
    return;
  }
  PyMethodDef *entry = xojoClassData(xojoClass).functions.methods;
  for (; entry && entry->ml_name; ++entry) {
    publishMethod(pythonClass.get(), dict.get(), *entry);
  }
}

// The count is read again before each class: host code may add one meanwhile.
void publishClasses(PyObject *module, REALobject classes) {
  // Code that runs meanwhile may take the module out of sys.modules.
  PyRef moduleDict = PyRef::share(EPyModule_GetDict(module));
  if (!moduleDict || !LoadObjectArrayReaders(classes)) {
    return;
  }
  for (std::int32_t i = 0; i < IArray_Count(classes); ++i) {
    ObjectLock xojoClass = ObjectLock::adopt(IArray_GetAt(classes, i));
    if (xojoClass.get()) {
      publishClass(moduleDict.get(), xojoClass.get());
    }
  }
}

} // namespace

// Nothing is published without an interpreter, a module and a name, nor while an error is pending:
// Python would refuse to make a new module, and half of one is worse than none.
// The module is kept until Finalize, because Python points into its tables, and kept before Python
// sees it: a publication that fails half-way leaves functions behind too.
void Python_RegisterXojoModule(REALobject xojoModule) {
  if (!interpreterHasModules() || !xojoModule || EPyErr_Occurred()) {
    return;
  }
  const char *name = nameOf(objectData(xojoModule).name);
  if (!name || !AppendToObjectArray(gRegisteredModules, xojoModule)) {
    return;
  }
  PythonCall call;
  PythonXojoModuleData &data = xojoModuleData(xojoModule);
  PyMethodDef *methods = data.functions.registeredCount ? data.functions.methods : ModuleNoMethods;
  PyObject *module =
      EPy_InitModule4(name, methods, nullptr, nullptr, PYTHON_API_VERSION); // borrowed
  if (module && data.classes) {
    publishClasses(module, data.classes);
  }
}
