// PythonInstance: what calling a class returned. It owns a lock on the PythonClass that made it,
// and by way of that keeps the module.

#include "objects/attributes.h"

constinit HostClass PythonPythonInstanceClassRef("PythonInstance");

extern REALclassDefinition PythonInstanceClass;

namespace {

struct PythonInstanceData {
  REALobject instanceClass; // locked once
};

PythonInstanceData &instanceData(REALobject self) {
  return classData<PythonInstanceData>(self, PythonInstanceClass);
}

REALobject PythonInstance_GetFunction(REALobject self, REALstring name) {
  return newFunction(Owner::Instance, self, name);
}

void PythonInstance_Destructor(REALobject self) { unlockIfAny(instanceData(self).instanceClass); }

} // namespace

REALobject newInstance(REALobject instanceClass, PyRef object) {
  REALobject instance = newNamedObject(PythonPythonInstanceClassRef, objectData(instanceClass).name,
                                       std::move(object));
  if (instance) {
    ELockObject(instanceClass);
    instanceData(instance).instanceClass = instanceClass;
  }
  return instance;
}

static REALmethodDefinition PythonInstanceMethods[] = {
    declare::method<"GetFunction(name as String) as PythonFunction", PythonInstance_GetFunction>(),
    QUILLIX_ATTRIBUTE_ROWS,
};

REALclassDefinition PythonInstanceClass = {
    .name = "PythonInstance",
    .superName = "PythonObject",
    .dataSize = sizeof(PythonInstanceData),
    .destructor = PythonInstance_Destructor,
    .methods = PythonInstanceMethods,
};
