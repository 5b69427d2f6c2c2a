// PythonClass: an object taken out of a module to make instances of. It owns a lock on its module.

#include "objects/objects.h"

constinit HostClass PythonClassClassRef("PythonClass");

extern REALclassDefinition PythonClassClass;

namespace {

struct PythonClassData {
  REALobject ownerModule; // locked once
};

PythonClassData &pythonClassData(REALobject self) {
  return classData<PythonClassData>(self, PythonClassClass);
}

// Calls the object without arguments and wraps whatever it returns.
REALobject PythonClass_CreateInstance(REALobject self) {
  OwnedCall callable(objectData(self).held);
  PyRef arguments(callable ? EPy_BuildValue("()") : nullptr);
  if (!arguments) {
    return nullptr;
  }
  PyRef object(EPyEval_CallObjectWithKeywords(callable.get(), arguments.get(), nullptr));
  return object ? newInstance(self, std::move(object)) : nullptr;
}

void PythonClass_Destructor(REALobject self) { unlockIfAny(pythonClassData(self).ownerModule); }

} // namespace

REALobject newClass(REALobject ownerModule, REALstring name, PyRef object) {
  REALobject wrapper = newNamedObject(PythonClassClassRef, name, std::move(object));
  if (wrapper) {
    ELockObject(ownerModule);
    pythonClassData(wrapper).ownerModule = ownerModule;
  }
  return wrapper;
}

static REALmethodDefinition PythonClassMethods[] = {
    declare::method<"CreateInstance() as PythonInstance", PythonClass_CreateInstance>(),
};

REALclassDefinition PythonClassClass = {
    .name = "PythonClass",
    .superName = "PythonObject",
    .dataSize = sizeof(PythonClassData),
    .destructor = PythonClass_Destructor,
    .methods = PythonClassMethods,
};
