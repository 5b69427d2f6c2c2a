// PythonModule: an imported module. Host code gets one from Quillix.GetModule and takes functions
// and classes out of it.

#include "objects/attributes.h"

constinit HostClass PythonModuleClassRef("PythonModule");

REALobject Python_GetModule(REALstring name) {
  if (!interpreterHasModules()) {
    return nullptr;
  }
  PythonCall call; // importing runs the module
  PyRef pythonName = newPythonString(name);
  PyRef module(pythonName ? EPyImport_Import(pythonName.get()) : nullptr);
  return module ? newNamedObject(PythonModuleClassRef, name, std::move(module)) : nullptr;
}

namespace {

REALobject PythonModule_GetFunction(REALobject self, REALstring name) {
  return newFunction(Owner::Module, self, name);
}

// Whatever is found under the name is taken for a class.
REALobject PythonModule_GetClass(REALobject self, REALstring name) {
  OwnedCall module(objectData(self).held);
  PyRef found = findAttribute(module, name);
  return found ? newClass(self, name, std::move(found)) : nullptr;
}

// False leaves the module as it was, with Python's error cleared.
REALboolean PythonModule_Reload(REALobject self) {
  HeldObject &held = objectData(self).held;
  OwnedCall module(held);
  if (!module || !interpreterHasModules()) {
    return false;
  }
  PyRef reloaded(EPyImport_ReloadModule(module.get()));
  if (!reloaded) {
    EPyErr_Clear();
    return false;
  }
  held.hold(std::move(reloaded));
  return true;
}

void PythonModule_Destructor(REALobject) {} // all that a module owns is PythonObject's to release

} // namespace

using declare::method;

static REALmethodDefinition PythonModuleMethods[] = {
    method<"GetFunction(name as String) as PythonFunction", PythonModule_GetFunction>(),
    method<"GetClass(name as String) as PythonClass", PythonModule_GetClass>(),
    QUILLIX_ATTRIBUTE_ROWS,
    method<"Reload() as Boolean", PythonModule_Reload>(),
};

REALclassDefinition PythonModuleClass = {
    .name = "PythonModule",
    .superName = "PythonObject",
    .destructor = PythonModule_Destructor,
    .methods = PythonModuleMethods,
};
