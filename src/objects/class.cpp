// PythonClass: an object taken out of a module to make instances of, and PythonInstance: what
// calling it returned. An instance owns a lock on its class, a class on its module.

#include "objects/objects.h"

REALclassRef PythonClassClassRef = nullptr;
REALclassRef PythonPythonInstanceClassRef = nullptr;

extern REALclassDefinition PythonClassClass;
extern REALclassDefinition PythonInstanceClass;

namespace {

struct PythonClassData {
  REALobject ownerModule; // locked once
};

struct PythonInstanceData {
  REALobject instanceClass; // the PythonClass that made it, locked once
  REALobject ownerModule;   // nil: an instance keeps its module by way of its class
};

PythonClassData &pythonClassData(REALobject self) {
  return classData<PythonClassData>(self, PythonClassClass);
}

PythonInstanceData &instanceData(REALobject self) {
  return classData<PythonInstanceData>(self, PythonInstanceClass);
}

// --- PythonClass ---

// Calls the object without arguments and wraps whatever it returns.
REALobject PythonClass_CreateInstance(REALobject self) {
  PythonObjectData &data = objectData(self);
  Operation callable(data.held);
  PyRef arguments(callable ? EPy_BuildValue("()") : nullptr);
  if (!arguments) {
    return nullptr;
  }
  PyRef object(EPyEval_CallObjectWithKeywords(callable.get(), arguments.get(), nullptr));
  if (!object) {
    return nullptr;
  }
  REALobject instance =
      newNamedObject(PythonPythonInstanceClassRef, "PythonInstance", data.name, std::move(object));
  if (instance) {
    ELockObject(self);
    instanceData(instance).instanceClass = self;
  }
  return instance;
}

void PythonClass_Destructor(REALobject self) { unlockIfAny(pythonClassData(self).ownerModule); }

// --- PythonInstance ---

REALobject PythonInstance_GetFunction(REALobject self, REALstring name) {
  return newFunction(self, name, instanceData(self).ownerModule, self);
}

void PythonInstance_Destructor(REALobject self) {
  PythonInstanceData &data = instanceData(self);
  unlockIfAny(data.instanceClass);
  unlockIfAny(data.ownerModule);
}

} // namespace

REALobject newClass(REALstring name, PyRef object, REALobject ownerModule) {
  REALobject wrapper = newNamedObject(PythonClassClassRef, "PythonClass", name, std::move(object));
  if (wrapper) {
    ELockObject(ownerModule);
    pythonClassData(wrapper).ownerModule = ownerModule;
  }
  return wrapper;
}

using declare::method;

static REALmethodDefinition PythonClassMethods[] = {
    method<"CreateInstance() as PythonInstance", PythonClass_CreateInstance>(),
};

REALclassDefinition PythonClassClass = {
    .name = "PythonClass",
    .superName = "PythonObject",
    .dataSize = sizeof(PythonClassData),
    .destructor = PythonClass_Destructor,
    .methods = PythonClassMethods,
};

static REALmethodDefinition PythonInstanceMethods[] = {
    method<"GetFunction(name as String) as PythonFunction", PythonInstance_GetFunction>(),
    QUILLIX_ATTRIBUTE_ROWS,
};

REALclassDefinition PythonInstanceClass = {
    .name = "PythonInstance",
    .superName = "PythonObject",
    .dataSize = sizeof(PythonInstanceData),
    .destructor = PythonInstance_Destructor,
    .methods = PythonInstanceMethods,
};
