// PythonFunction: anything that can be called, taken out of a module or an instance. It owns a lock
// on the wrapper that it came from.

#include "objects/attributes.h"

constinit HostClass PythonFunctionClassRef("PythonFunction");

extern REALclassDefinition PythonFunctionClass;

namespace {

struct PythonFunctionData {
  REALobject ownerModule;   // locked once, or nil
  REALobject ownerInstance; // locked once, or nil
};

PythonFunctionData &functionData(REALobject self) {
  return classData<PythonFunctionData>(self, PythonFunctionClass);
}

// Without parameters the function is called with no arguments; parameters that hold nothing are
// no call at all.
REALobject PythonFunction_Invoke(REALobject self, REALobject parameters) {
  OwnedCall function(objectData(self).held);
  // Borrowed: the call keeps them.
  PyObject *arguments = parameters ? entityHeld(parameters).borrow() : nullptr;
  if (!function || (parameters && !arguments)) {
    return nullptr;
  }
  PyRef result(EPyObject_CallObject(function.get(), arguments));
  return result ? newResult(std::move(result)) : nullptr;
}

REALobject PythonFunction_OwnerModule(REALobject self) {
  REALobject module = functionData(self).ownerModule;
  ELockObject(module);
  return module;
}

void PythonFunction_Destructor(REALobject self) {
  PythonFunctionData &data = functionData(self);
  unlockIfAny(data.ownerModule);
  unlockIfAny(data.ownerInstance);
}

} // namespace

// Only for an instance of a classic class the answer takes more than a look: Python asks it for
// __call__, and would clear an error that is pending.
static bool isCallable(PyObject *object) {
  if (Py_TYPE(object) != e__PyInstance_Type) [[likely]] {
    return Py_TYPE(object)->tp_call != nullptr;
  }
  ErrorAside aside;
  return EPyCallable_Check(object) != 0;
}

REALobject newFunction(Owner kind, REALobject owner, REALstring name) {
  OwnedCall object(objectData(owner).held);
  PyRef found = findAttribute(object, name);
  if (!found || !isCallable(found.get())) {
    return nullptr;
  }
  REALobject function = newNamedObject(PythonFunctionClassRef, name, std::move(found));
  if (function) {
    PythonFunctionData &data = functionData(function);
    (kind == Owner::Module ? data.ownerModule : data.ownerInstance) = owner;
    ELockObject(owner);
  }
  return function;
}

static REALproperty PythonFunctionProperties[] = {
    declare::property<"OwnerModule", "PythonModule", PythonFunction_OwnerModule>(),
};

static REALmethodDefinition PythonFunctionMethods[] = {
    declare::method<"Invoke(parameters as PythonParameters) as PythonResult",
                    PythonFunction_Invoke>(),
};

REALclassDefinition PythonFunctionClass = {
    .name = "PythonFunction",
    .superName = "PythonObject",
    .dataSize = sizeof(PythonFunctionData),
    .destructor = PythonFunction_Destructor,
    .properties = PythonFunctionProperties,
    .methods = PythonFunctionMethods,
};
