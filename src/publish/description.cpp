// PythonXojoModule and PythonXojoClass: host code describes a module of its own functions, and the
// classes in it, before it publishes them to Python.
//
// A host function is called straight by Python, as a C function of a null pointer and the tuple of
// arguments. A function of a class finds the instance as the first of them. It returns a reference
// that Python takes over, or null with a Python error set.

#include <cstdlib>

#include "publish/publish.h"

namespace {

// Stands in for a function that host code gave as nil.
PyObject *callOfNil(PyObject *, PyObject *) {
  if (e__PyExc_SystemError) {
    EPyErr_SetString(*e__PyExc_SystemError, "the host function is nil");
  }
  return nullptr;
}

// --- The table of functions, the same for modules and classes ---

// No slots where there is no memory for that many.
void allocate(FunctionTable &table, std::uint32_t methodCount) {
  std::size_t slots = methodCount;
  if (slots == 0 || slots == SIZE_MAX) {
    return;
  }
  table.methods = static_cast<PyMethodDef *>(std::calloc(slots + 1, sizeof(PyMethodDef)));
  table.names = static_cast<REALstring *>(std::calloc(slots, sizeof(REALstring)));
  if (table.methods && table.names) {
    table.methodCount = methodCount;
    return;
  }
  std::free(table.methods);
  std::free(table.names);
  table = {};
}

// A function beyond the slots is dropped.
void add(FunctionTable &table, REALstring name, void *function) {
  if (table.registeredCount >= table.methodCount) {
    return;
  }
  ELockString(name);
  table.names[table.registeredCount] = name;
  PyMethodDef &method = table.methods[table.registeredCount];
  method.ml_name = asPythonName(name);
  method.ml_meth = function ? reinterpret_cast<PyCFunction>(function) : callOfNil;
  method.ml_flags = METH_VARARGS;
  method.ml_doc = nullptr;
  ++table.registeredCount;
}

void release(FunctionTable &table) {
  for (std::uint32_t i = 0; i < table.registeredCount; ++i) {
    EUnlockString(table.names[i]);
  }
  std::free(table.methods);
  std::free(table.names);
}

// A description is made once: Python may already point into its table when host code constructs
// it again.
void construct(REALobject self, FunctionTable &table, REALstring name, std::uint32_t methodCount) {
  if (objectData(self).name || table.methods) {
    return;
  }
  fillObject(self, name, PyRef());
  allocate(table, methodCount);
}

// --- PythonXojoClass ---

void PythonXojoClass_Constructor(REALobject self, REALstring name, std::uint32_t methodCount) {
  construct(self, xojoClassData(self).functions, name, methodCount);
}

void PythonXojoClass_RegisterFunction(REALobject self, REALstring name, void *function) {
  add(xojoClassData(self).functions, name, function);
}

void PythonXojoClass_Destructor(REALobject self) { release(xojoClassData(self).functions); }

// --- PythonXojoModule ---

void PythonXojoModule_Constructor(REALobject self, REALstring name, std::uint32_t methodCount) {
  construct(self, xojoModuleData(self).functions, name, methodCount);
}

void PythonXojoModule_RegisterFunction(REALobject self, REALstring name, void *function) {
  add(xojoModuleData(self).functions, name, function);
}

void PythonXojoModule_AddClass(REALobject self, REALobject classToAdd) {
  if (classToAdd) {
    AppendToObjectArray(xojoModuleData(self).classes, classToAdd);
  }
}

void PythonXojoModule_Destructor(REALobject self) {
  PythonXojoModuleData &data = xojoModuleData(self);
  release(data.functions);
  EUnlockObject(data.classes);
}

} // namespace

using declare::method;

static REALmethodDefinition PythonXojoClassMethods[] = {
    method<"Constructor(name as String, methodCount as UInt32)", PythonXojoClass_Constructor>(),
    method<"RegisterFunction(name as String, fuction as Ptr)", PythonXojoClass_RegisterFunction>(),
};

REALclassDefinition PythonXojoClassClass = {
    .name = "PythonXojoClass",
    .superName = "PythonObject",
    .dataSize = sizeof(PythonXojoClassData),
    .destructor = PythonXojoClass_Destructor,
    .methods = PythonXojoClassMethods,
};

static REALmethodDefinition PythonXojoModuleMethods[] = {
    method<"Constructor(name as String, methodCount as UInt32)", PythonXojoModule_Constructor>(),
    method<"RegisterFunction(name as String, fuction as Ptr)", PythonXojoModule_RegisterFunction>(),
    method<"AddClass(classToAdd as PythonXojoClass)", PythonXojoModule_AddClass>(),
};

REALclassDefinition PythonXojoModuleClass = {
    .name = "PythonXojoModule",
    .superName = "PythonObject",
    .dataSize = sizeof(PythonXojoModuleData),
    .destructor = PythonXojoModule_Destructor,
    .methods = PythonXojoModuleMethods,
};
