// What the named wrappers share: a name, the held object, and how one wrapper makes another.
#pragma once

#include "bridge/bridge.h"

extern REALclassDefinition PythonObjectClass;

// The class data of the root. A named wrapper keeps its origin alive by locks in class data of its
// own: a function its module or instance, an instance its class, a class its module.
struct PythonObjectData {
  REALstring name; // locked once
  HeldObject held;
};

inline PythonObjectData &objectData(REALobject self) {
  return classData<PythonObjectData>(self, PythonObjectClass);
}

// Fills a new instance: locks the name for it and takes over the reference.
inline void fillObject(REALobject instance, REALstring name, PyRef object) {
  PythonObjectData &data = objectData(instance);
  data.name = name;
  data.held.fill(std::move(object));
  ELockString(name);
}

// A new instance of a named wrapper class, filled; its lock belongs to the caller. Nil when the
// host makes none; the reference is released then.
inline REALobject newNamedObject(HostClass &hostClass, REALstring name, PyRef object) {
  REALobject instance = REALnewInstanceWithClass(hostClass.get());
  if (instance) [[likely]] {
    fillObject(instance, name, std::move(object));
  }
  return instance;
}

// --- Modules ---

// Imports one; nil, with Python's error set, when that fails.
REALobject Python_GetModule(REALstring name);

// --- What comes out of them ---

extern HostClass PythonFunctionClassRef;
extern HostClass PythonClassClassRef;
extern HostClass PythonPythonInstanceClassRef;
extern HostClass PythonModuleClassRef;

// A new PythonFunction over an attribute of its owner that can be called; it keeps the owner alive
// by a lock. Nil when there is no such attribute, or when it cannot be called, which raises no
// Python error.
enum class Owner { Module, Instance };
REALobject newFunction(Owner kind, REALobject owner, REALstring name);

// A new PythonClass over an object found in a module, which it keeps alive by a lock.
REALobject newClass(REALobject ownerModule, REALstring name, PyRef object);

// A new PythonInstance over what a class has made; it bears the name of the class, and keeps it
// alive by a lock.
REALobject newInstance(REALobject instanceClass, PyRef object);
