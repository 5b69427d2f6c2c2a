// What the value wrappers share: the object that a wrapper holds, the type tests, the conversions
// between host values and Python objects, and the making of new wrappers.
#pragma once

#include "python/runtime.h"

// --- The held object ---

// The one Python object that a wrapper owns a reference to, tagged with the interpreter that it
// belongs to. A wrapper whose interpreter has stopped holds nothing any more, also when another
// one has been started since; its reference is abandoned.
//
// All zero, as the host makes class data, is a wrapper that holds nothing.
struct HeldObject {
  PyObject *object;           // not null where there is an interpreter
  std::uintptr_t interpreter; // 0 for none

  // Borrowed; null when there is nothing to talk to. Every operation starts here.
  PyObject *borrow() const {
    if (interpreter != gInterpreter) [[unlikely]] {
      return nullptr;
    }
    if (!object) {
      __builtin_unreachable(); // saves every operation a second test
    }
    return object;
  }

  PyRef share() const { return PyRef::share(borrow()); }

  // Takes over a reference, or null, and releases the one that was held before.
  void hold(PyRef owned) {
    PyRef old(borrow());
    fill(std::move(owned));
  }

  // The same where nothing was held before.
  void fill(PyRef owned) {
    object = owned.release();
    interpreter = object ? gInterpreter : 0;
  }

  // For the destructor of the class that owns this data. Without an interpreter of ours nothing is
  // called and nothing released.
  void drop() {
    if (gPythonInitialized && borrow()) {
      interpreter = 0;
      PyRef::drop(object);
    }
  }
};

// A call into Python with a held object, borrowed: for calls that do not touch the object any more
// once code may have run that replaces it.
class Access {
public:
  explicit Access(const HeldObject &held) : Access(held.borrow()) {}
  explicit Access(PyObject *borrowed) : object_(borrowed) {}

  explicit operator bool() const { return object_ != nullptr; }
  PyObject *get() const { return object_; }

private:
  PythonCall call_;
  PyObject *object_;
};

// The same for calls that may: the object is kept alive, whatever that code does to the wrapper.
// Both are false when nothing is held.
class Operation {
public:
  explicit Operation(const HeldObject &held) : Operation(held.borrow()) {}
  explicit Operation(PyObject *borrowed) : object_(PyRef::share(borrowed)) {}

  explicit operator bool() const { return static_cast<bool>(object_); }
  PyObject *get() const { return object_.get(); }

private:
  PythonCall call_;
  PyRef object_; // released before the call ends
};

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

extern REALclassRef PythonEntityClassRef;
extern REALclassRef PythonParametersClassRef;
extern REALclassRef PythonDictionaryClassRef;
extern REALclassRef PythonListClassRef;
extern REALclassRef PythonResultClassRef;

// A new instance of a value wrapper class, which takes over the reference; its lock belongs to the
// caller. Nil when the host makes none; the reference is released then.
inline REALobject newWrapper(REALclassRef &cache, const char *className, PyRef object) {
  REALobject instance = REALnewInstanceWithClass(cachedClassRef(cache, className));
  if (instance) [[likely]] {
    entityHeld(instance).fill(std::move(object));
  }
  return instance;
}

inline REALobject newEntity(PyRef object) {
  return newWrapper(PythonEntityClassRef, "PythonEntity", std::move(object));
}
inline REALobject newDictionary(PyRef dict) {
  return newWrapper(PythonDictionaryClassRef, "PythonDictionary", std::move(dict));
}
inline REALobject newList(PyRef list) {
  return newWrapper(PythonListClassRef, "PythonList", std::move(list));
}
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

// --- Type tests ---

// What an int holds counts as a long where a 32-bit Python would hold it as one.
inline bool fitsInt32(PyObject *intObject) {
  long value = PyInt_AS_LONG(intObject);
  return value == static_cast<std::int32_t>(value);
}

inline bool isInt(PyObject *object) { return PyInt_Check(object) && fitsInt32(object); }
inline bool isLong(PyObject *object) {
  return PyLong_Check(object) || (PyInt_Check(object) && !fitsInt32(object));
}
inline bool isIntOrLong(PyObject *object) { return PyInt_Check(object) || PyLong_Check(object); }
inline bool isString(PyObject *object) { return PyString_Check(object); }
inline bool isBool(PyObject *object) { return Py_TYPE(object) == e__PyBool_Type; }
inline bool isCapsule(PyObject *object) { return Py_TYPE(object) == e__PyCapsule_Type; }
inline bool isDict(PyObject *object) { return Py_TYPE(object) == e__PyDict_Type; }
inline bool isTuple(PyObject *object) { return Py_TYPE(object) == e__PyTuple_Type; }
inline bool isList(PyObject *object) { return Py_TYPE(object) == e__PyList_Type; }
inline bool isFloat(PyObject *object) {
  PyTypeObject *type = Py_TYPE(object);
  return type == e__PyFloat_Type || (e__PyFloat_Type && EPyType_IsSubtype(type, e__PyFloat_Type));
}

// --- Conversions. An object that has passed its test is read where it is, by Python's macros,
// wherever the call would do nothing else. ---

// The rare cases of the two below.
std::int32_t refuseWideInt();
std::uint64_t readUInt64OfInt(PyObject *object);

// PyInt_AsLong with the outcome of a 32-bit long: -1 and OverflowError outside 32 bits.
inline std::int32_t narrow(long value) {
  auto narrowed = static_cast<std::int32_t>(value);
  return narrowed == value ? narrowed : refuseWideInt();
}
inline std::int32_t readInt32(PyObject *object) { return narrow(EPyInt_AsLong(object)); }

// PyLong_AsUnsignedLongLong, for an int that counts as a long too.
inline std::uint64_t readUInt64(PyObject *object) {
  return PyLong_Check(object) ? EPyLong_AsUnsignedLongLong(object) : readUInt64OfInt(object);
}

// A new string of a str's bytes.
inline REALstring readString(PyObject *object) {
  return newString(PyString_AS_STRING(object), static_cast<std::size_t>(PyString_GET_SIZE(object)));
}

// The capsule's host object, locked for the receiver.
inline REALobject readObject(PyObject *capsule) {
  REALobject object = capsuleObject(capsule);
  ELockObject(object);
  return object;
}

// One policy per row of the conversions: `is` decides whether a Python object converts, `read`
// converts one that passed, `make` makes a Python object (null with Python's error set on failure).
// `Param` is the host's type as a parameter, `Result` as a result.
namespace as {

// Any object, untested.
struct AnyInteger {
  using Param = std::int32_t;
  using Result = std::intptr_t;
  static bool is(PyObject *) { return true; }
  static Result read(PyObject *object) {
    return PyInt_Check(object) ? narrow(PyInt_AS_LONG(object)) : readInt32(object);
  }
  static PyRef make(Param value) { return PyRef(EPyLong_FromLong(value)); }
};

// An int both ways.
struct Int : AnyInteger {
  static bool is(PyObject *object) { return isInt(object); }
  static Result read(PyObject *object) { return PyInt_AS_LONG(object); } // in range, as tested
  static PyRef make(Param value) { return PyRef(EPyInt_FromLong(value)); }
};

// A long both ways.
struct Long : AnyInteger {
  using Result = std::int32_t;
  static bool is(PyObject *object) { return isLong(object); }
  static Result read(PyObject *object) { return readInt32(object); }
};

struct IntOrLong : AnyInteger {
  static bool is(PyObject *object) { return isIntOrLong(object); }
};

struct Int64 {
  using Param = std::int64_t;
  using Result = std::int64_t;
  static bool is(PyObject *object) { return isLong(object); }
  static Result read(PyObject *object) { return EPyLong_AsLongLong(object); }
  static PyRef make(Param value) { return PyRef(EPyLong_FromLongLong(value)); }
};

struct UInt64 {
  using Param = std::uint64_t;
  using Result = std::uint64_t;
  static bool is(PyObject *object) { return isLong(object); }
  static Result read(PyObject *object) { return readUInt64(object); }
  static PyRef make(Param value) { return PyRef(EPyLong_FromUnsignedLongLong(value)); }
};

// Any object, untested.
struct AnyDouble {
  using Param = double;
  using Result = double;
  static bool is(PyObject *) { return true; }
  static Result read(PyObject *object) { return EPyFloat_AsDouble(object); }
  static PyRef make(Param value) { return PyRef(EPyFloat_FromDouble(value)); }
};

struct Double : AnyDouble {
  static bool is(PyObject *object) { return isFloat(object); }
  static Result read(PyObject *object) { return PyFloat_AS_DOUBLE(object); }
};

// The truth value of any object; a truth test that fails reads as True.
struct Truth {
  using Param = REALboolean;
  using Result = REALboolean;
  static bool is(PyObject *) { return true; }
  static Result read(PyObject *object) { return EPyObject_IsTrue(object) != 0; }
  static PyRef make(Param value) {
    return PyRef::share(reinterpret_cast<PyObject *>(value ? e__Py_TrueStruct : e__Py_ZeroStruct));
  }
};

struct Boolean : Truth {
  static bool is(PyObject *object) { return isBool(object); }
  static Result read(PyObject *object) { return PyInt_AS_LONG(object) != 0; }
};

struct String {
  using Param = REALstring;
  using Result = REALstring;
  static bool is(PyObject *object) { return isString(object); }
  static Result read(PyObject *object) { return readString(object); }
  static PyRef make(Param value) { return newPythonString(value); }
};

struct Object {
  using Param = REALobject;
  using Result = REALobject;
  static bool is(PyObject *object) { return isCapsule(object); }
  static Result read(PyObject *object) { return readObject(object); }
  static PyRef make(Param value) { return newCapsule(value); }
};

struct Tuple {
  using Result = REALobject;
  static bool is(PyObject *object) { return isTuple(object); }
  static Result read(PyObject *object) { return newParameters(PyRef::share(object)); }
};

struct Dictionary {
  using Result = REALobject;
  static bool is(PyObject *object) { return isDict(object); }
  static Result read(PyObject *object) { return newDictionary(PyRef::share(object)); }
};

struct List {
  using Result = REALobject;
  static bool is(PyObject *object) { return isList(object); }
  static Result read(PyObject *object) { return newList(PyRef::share(object)); }
};

} // namespace as

// A borrowed object as a host value; the zero value when it is null or of another type.
template <class Value> inline typename Value::Result convert(PyObject *object) {
  return object && Value::is(object) ? Value::read(object) : typename Value::Result{};
}

template <class Value> inline REALboolean passes(PyObject *object) {
  return object && Value::is(object);
}
