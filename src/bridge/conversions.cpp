// The rare cases of the conversions.

#include "bridge/conversions.h"

std::int32_t refuseWideInt() {
  if (e__PyExc_OverflowError) {
    EPyErr_SetString(*e__PyExc_OverflowError, "Python int too large to convert to C long");
  }
  return -1;
}

// The library refuses an int here, so it is given the long of the same value.
std::uint64_t readUInt64OfInt(PyObject *object) {
  PyRef big(EPyLong_FromLong(PyInt_AS_LONG(object)));
  return big ? EPyLong_AsUnsignedLongLong(big.get()) : UINT64_MAX;
}
