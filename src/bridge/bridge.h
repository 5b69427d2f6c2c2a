// What the bridge shows the rooms above: the root of the value wrappers, the making of new ones,
// and the capsules in which host objects travel through Python.
#pragma once

#include "bridge/held.h"

// --- The root of the value wrappers ---

extern REALclassDefinition PythonEntityBaseClass;

struct PythonEntityBaseData {
  HeldObject held;
};

inline HeldObject &entityHeld(REALobject self) {
  return classData<PythonEntityBaseData>(self, PythonEntityBaseClass).held;
}

// A reference to what an argument holds; null for nil, and for a wrapper that holds nothing.
inline PyRef shareHeld(REALobject argument) {
  return argument ? entityHeld(argument).share() : PyRef();
}

// "Constructor()" of PythonEntityBase and PythonEntity.
void PythonEntity_Constructor(REALobject self);

// --- New wrappers ---

extern HostClass PythonEntityClassRef;
extern HostClass PythonParametersClassRef;
extern HostClass PythonDictionaryClassRef;
extern HostClass PythonListClassRef;
extern HostClass PythonResultClassRef;

// A new instance of a value wrapper class, which takes over the reference; its lock belongs to the
// caller. Nil when the host makes none; the reference is released then.
inline REALobject newWrapper(HostClass &hostClass, PyRef object) {
  REALobject instance = REALnewInstanceWithClass(hostClass.get());
  if (instance) [[likely]] {
    entityHeld(instance).fill(std::move(object));
  }
  return instance;
}

inline REALobject newEntity(PyRef object) {
  return newWrapper(PythonEntityClassRef, std::move(object));
}
inline REALobject newDictionary(PyRef dict) {
  return newWrapper(PythonDictionaryClassRef, std::move(dict));
}
inline REALobject newList(PyRef list) { return newWrapper(PythonListClassRef, std::move(list)); }
REALobject newParameters(PyRef tuple); // with no error recorded
REALobject newResult(PyRef object);

// Put the lazily filled slots and class references of dictionaries and lists in their start state.
void PythonDictionary_Init();
void PythonList_InitAPI();

// Codes of PythonParameters.LastError, declared to the host as constants of Quillix.
enum ParameterError : std::int32_t {
  PY_NO_ERROR = 0,
  PY_ERROR_COULD_NOT_CONVERT = 1,
  PY_ERROR_INDEX_OUT_OF_BOUNDS = 2,
  PY_NIL_PARAM_ERROR = 3,
};

// --- Object capsules: host objects on their way through Python ---

// A new reference to a capsule of a host object, which takes over a lock that the caller has taken.
// Null, with Python's error set and the lock still the caller's, for nil or when Python makes none.
PyObject *newCapsuleTakingLock(REALobject object);

// The same with a lock of its own; none is taken when there is no capsule.
inline PyRef newCapsule(REALobject object) {
  PyRef capsule(newCapsuleTakingLock(object));
  if (capsule) {
    ELockObject(object);
  }
  return capsule;
}

// The host object in a capsule, not locked. Nil for a capsule that the bridge did not make.
REALobject capsuleObject(PyObject *capsule);

// Gives back the locks of capsules that their interpreter has left behind. Host code may run.
void ReleaseCapsulesOfStoppedInterpreter();

bool CapsulesAreAlive();
