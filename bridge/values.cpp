// The conversions that are more than one call.

#include "bridge/bridge.h"

std::int32_t readInt32(PyObject *object) {
  long value = EPyInt_AsLong(object);
  auto narrow = static_cast<std::int32_t>(value);
  if (narrow == value) {
    return narrow;
  }
  if (e__PyExc_OverflowError) {
    EPyErr_SetString(*e__PyExc_OverflowError, "Python int too large to convert to C long");
  }
  return -1;
}

// The library refuses an int here, so it is given the long of the same value.
std::uint64_t readUInt64(PyObject *object) {
  if (!PyInt_Check(object)) {
    return EPyLong_AsUnsignedLongLong(object);
  }
  PyRef big(EPyLong_FromLong(PyInt_AS_LONG(object)));
  return big ? EPyLong_AsUnsignedLongLong(big.get()) : UINT64_MAX;
}

REALstring readString(PyObject *object) {
  char *bytes = nullptr;
  Py_ssize_t count = 0;
  if (EPyString_AsStringAndSize(object, &bytes, &count) == -1) {
    return nullptr;
  }
  return newString(bytes, static_cast<std::size_t>(count));
}

REALobject readObject(PyObject *capsule) {
  REALobject object = capsuleObject(capsule);
  ELockObject(object);
  return object;
}
