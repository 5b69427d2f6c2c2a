// Publishing a described module to the running interpreter: a Python module with the module's host
// functions and one classic class for each class added to it.

#include <cstdlib>
#include <cstring>

#include "publish/publish.h"

REALobject gRegisteredModules = nullptr;

namespace {

PyMethodDef ModuleNoMethods[] = {{nullptr, nullptr, 0, nullptr}};

// --- Published tables ---

// What Python points into: the functions of one module or class as they were when it was published,
// and their names behind them. A function object can outlive its interpreter, in a cycle that
// nobody collects, and be seen and called in the next; so a table stays for as long as the process
// lives, and when its interpreter stops its functions become harmless ones.
struct PublishedTable {
  PublishedTable *next;
  PyMethodDef methods[1]; // as many as there are, ended by a null name
};

PublishedTable *gPublished = nullptr; // to the interpreter that runs
PublishedTable *gRetired = nullptr;   // to earlier ones; kept reachable, which tells it from a leak

PyObject *callOfRetired(PyObject *, PyObject *) {
  if (e__PyExc_RuntimeError) {
    EPyErr_SetString(*e__PyExc_RuntimeError,
                     "the host function belongs to an interpreter that has stopped");
  }
  return nullptr;
}

// A copy of a description's table for Python, borrowed; null, with Python's error set, where there
// is no memory.
PyMethodDef *publishTable(const PyMethodDef *described) {
  std::size_t count = 0;
  std::size_t nameBytes = 0;
  for (; described[count].ml_name; ++count) {
    nameBytes += std::strlen(described[count].ml_name) + 1;
  }
  auto *table = static_cast<PublishedTable *>(
      std::malloc(sizeof(PublishedTable) + count * sizeof(PyMethodDef) + nameBytes));
  if (!table) {
    raiseMemoryError("");
    return nullptr;
  }
  std::memcpy(table->methods, described, (count + 1) * sizeof(PyMethodDef));
  char *names = reinterpret_cast<char *>(table->methods + count + 1);
  for (std::size_t i = 0; i < count; ++i) {
    table->methods[i].ml_name = names;
    std::size_t bytes = std::strlen(described[i].ml_name) + 1;
    std::memcpy(names, described[i].ml_name, bytes);
    names += bytes;
  }
  table->next = std::exchange(gPublished, table);
  return table->methods;
}

// --- Publishing ---

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
  const char *attribute = asPythonName(name);
  if (!attribute) {
    return;
  }
  PyRef dict(EPyDict_New());
  PyRef pythonName(dict ? newPythonString(name) : PyRef());
  PyRef pythonClass(pythonName ? EPyClass_New(nullptr, dict.get(), pythonName.get()) : nullptr);
  if (!pythonClass || EPyDict_SetItemString(moduleDict, attribute, pythonClass.get()) != 0) {
    return;
  }
  const FunctionTable &functions = xojoClassData(xojoClass).functions;
  PyMethodDef *entry = functions.registeredCount ? publishTable(functions.methods) : nullptr;
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
    ObjectLock xojoClass(IArray_GetAt(classes, i));
    if (xojoClass.get()) {
      publishClass(moduleDict.get(), xojoClass.get());
    }
  }
}

} // namespace

// Nothing is published without an interpreter, a module and a name, nor while an error is pending:
// Python would refuse to make a new module, and half of one is worse than none. The module is kept
// until Finalize, with what its functions need, and kept before Python sees it: a publication that
// fails half-way leaves functions behind too.
void Python_RegisterXojoModule(REALobject xojoModule) {
  if (!interpreterHasModules() || !xojoModule || EPyErr_Occurred()) {
    return;
  }
  const char *name = asPythonName(objectData(xojoModule).name);
  if (!name || !AppendToObjectArray(gRegisteredModules, xojoModule)) {
    return;
  }
  PythonCall call;
  PythonXojoModuleData &data = xojoModuleData(xojoModule);
  const FunctionTable &functions = data.functions;
  PyMethodDef *methods =
      functions.registeredCount ? publishTable(functions.methods) : ModuleNoMethods;
  PyObject *module =
      methods ? EPy_InitModule4(name, methods, nullptr, nullptr, PYTHON_API_VERSION) // borrowed
              : nullptr;
  if (module && data.classes) {
    publishClasses(module, data.classes);
  }
}

void RetirePublishedFunctions() {
  while (PublishedTable *table = gPublished) {
    for (PyMethodDef *method = table->methods; method->ml_name; ++method) {
      method->ml_meth = callOfRetired;
    }
    gPublished = table->next;
    table->next = std::exchange(gRetired, table);
  }
}
