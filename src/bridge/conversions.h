// Host values as Python objects, and back: the type tests, the conversions, and one policy for each
// row of them.
#pragma once

#include "bridge/bridge.h"

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
  using Param = HostBoolean;
  using Result = REALboolean;
  static bool is(PyObject *) { return true; }
  static Result read(PyObject *object) { return EPyObject_IsTrue(object) != 0; }
  static PyRef make(Param value) {
    return PyRef::share(
        reinterpret_cast<PyObject *>(isTrue(value) ? e__Py_TrueStruct : e__Py_ZeroStruct));
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

// The reading members of a class whose held object `heldOf` finds.
template <HeldObject &(*heldOf)(REALobject)> struct Reading {
  template <class Value> static typename Value::Result get(REALobject self) {
    BorrowedCall value(heldOf(self));
    return convert<Value>(value.get());
  }
  template <class Value> static REALboolean is(REALobject self) {
    return passes<Value>(heldOf(self).borrow());
  }
};
