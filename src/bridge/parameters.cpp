// PythonParameters: a tuple, read and written by index. The arguments of a call into Python, the
// arguments that a host function receives, or any tuple found elsewhere.
//
// Python lets a tuple be written only while nobody else refers to it. One that host code has just
// made can be; one found elsewhere as a rule cannot.

#include "bridge/conversions.h"

constinit HostClass PythonParametersClassRef("PythonParameters");

extern REALclassDefinition PythonParametersClass;

namespace {

struct PythonParametersData {
  std::int32_t lastError; // the last failure of a setter, until ClearError
};

std::int32_t &lastError(REALobject self) {
  return classData<PythonParametersData>(self, PythonParametersClass).lastError;
}

// What Constructor(paramPtr) was given may be no tuple, of which Python complains.
[[gnu::cold, gnu::noinline]] void raiseNotATuple(PyObject *object) {
  PythonCall call;
  EPyTuple_Size(object);
}

inline bool inRange(PyObject *tuple, std::int32_t index) {
  if (index < 0) [[unlikely]] {
    return false;
  }
  if (!PyTuple_Check(tuple)) [[unlikely]] {
    raiseNotATuple(tuple);
    return false;
  }
  return index < PyTuple_GET_SIZE(tuple);
}

// Borrowed; null when there is no such item. No call into Python.
inline PyObject *itemAt(REALobject self, std::int32_t index) {
  PyObject *tuple = entityHeld(self).borrow();
  return tuple && inRange(tuple, index) ? PyTuple_GET_ITEM(tuple, index) : nullptr;
}

// PyTuple_SetItem at an index in range, without the call where it stores: where nobody else refers
// to the tuple.
inline void setItem(PyObject *tuple, std::int32_t index, PyRef item) {
  if (tuple->ob_refcnt != 1) [[unlikely]] {
    PythonCall call;
    EPyTuple_SetItem(tuple, index, item.release()); // stolen, also when refused
    return;
  }
  PyObject *old = PyTuple_GET_ITEM(tuple, index);
  PyTuple_SET_ITEM(tuple, index, item.release());
  if (old) {
    PyRef::drop(old);
  }
}

// The same of a container. Python's collector drops a tuple in which it finds none, and storing one
// later does not enter the tuple again: a cycle through it would never be found.
[[gnu::cold, gnu::noinline]] void setContainerUntracked(PyObject *tuple, std::int32_t index,
                                                        PyObject *container) {
  if (EPyObject_GC_Track && EPyObject_GC_UnTrack) {
    EPyObject_GC_UnTrack(tuple); // does no harm where it is not, as tracking it twice would
    EPyObject_GC_Track(tuple);
  }
  setItem(tuple, index, PyRef(container));
}

inline void setContainer(PyObject *tuple, std::int32_t index, PyRef container) {
  if (!platform::kPythonHasOurLayout || _Py_AS_GC(tuple)->gc.gc_refs == _PyGC_REFS_UNTRACKED)
      [[unlikely]] {
    setContainerUntracked(tuple, index, container.release());
  } else {
    setItem(tuple, index, std::move(container));
  }
}

// --- Construction ---

// An unset slot holds None: it reads as the zero value and means something to Python.
PyRef newTupleOfNone(std::int32_t count) {
  PyRef tuple(EPyTuple_New(count));
  if (!tuple || count == 0) {
    return tuple;
  }
  PyRef none = newNone();
  if (!none) {
    return PyRef();
  }
  for (std::int32_t i = 0; i < count; ++i) {
    PyTuple_SET_ITEM(tuple.get(), i, none.get());
  }
  none.release()->ob_refcnt += count - 1; // a reference for each slot, of which this was one
  return tuple;
}

void PythonParameters_Constructor(REALobject self, std::int32_t parameterCount) {
  PythonCall call;
  if (interpreterRuns()) {
    entityHeld(self).hold(newTupleOfNone(parameterCount));
  }
  lastError(self) = PY_NO_ERROR;
}

// The pointer is a tuple of Python's, borrowed; it is not tested for being one.
void PythonParameters_ConstructorPtr(REALobject self, void *paramPtr) {
  PythonCall call; // which lets go of what was held before
  if (interpreterRuns()) {
    entityHeld(self).hold(PyRef::share(static_cast<PyObject *>(paramPtr)));
  }
  lastError(self) = PY_NO_ERROR;
}

void PythonParameters_Destructor(REALobject) {} // the tuple is PythonEntityBase's to release

// --- Reading ---

template <class Value> typename Value::Result get(REALobject self, std::int32_t index) {
  PyObject *item = itemAt(self, index);
  PythonCall call;
  return convert<Value>(item);
}

constexpr auto PythonParameters_GetParamInt = get<as::Int>;
constexpr auto PythonParameters_GetParamString = get<as::String>;
constexpr auto PythonParameters_GetParamDouble = get<as::Double>;
constexpr auto PythonParameters_GetParamBoolean = get<as::Boolean>;
constexpr auto PythonParameters_GetParamObject = get<as::Object>;
constexpr auto PythonParameters_GetParamInt64 = get<as::Int64>;
constexpr auto PythonParameters_GetParamUInt64 = get<as::UInt64>;
constexpr auto PythonParameters_GetParamDictionary = get<as::Dictionary>;
constexpr auto PythonParameters_GetParamTuple = get<as::Tuple>;
constexpr auto PythonParameters_GetParamList = get<as::List>;

std::intptr_t PythonParameters_Count(REALobject self) {
  BorrowedCall tuple(entityHeld(self));
  return tuple ? EPyTuple_Size(tuple.get()) : 0;
}

// --- Type tests ---

template <class Value> REALboolean is(REALobject self, std::int32_t index) {
  return passes<Value>(itemAt(self, index));
}

constexpr auto PythonParameters_IsBoolean = is<as::Boolean>;
constexpr auto PythonParameters_IsInteger = is<as::Int>;
constexpr auto PythonParameters_IsDouble = is<as::Double>;
constexpr auto PythonParameters_IsString = is<as::String>;
constexpr auto PythonParameters_IsObject = is<as::Object>;
constexpr auto PythonParameters_IsBigInteger = is<as::Int64>;
constexpr auto PythonParameters_IsDictionary = is<as::Dictionary>;
constexpr auto PythonParameters_IsTuple = is<as::Tuple>;
constexpr auto PythonParameters_IsList = is<as::List>;

// --- Writing. A failure is recorded in LastError; a success leaves it alone. ---

template <class Value> void set(REALobject self, std::int32_t index, typename Value::Param value) {
  BorrowedCall tuple(entityHeld(self));
  if (!tuple) {
    return;
  }
  if (!inRange(tuple.get(), index)) [[unlikely]] {
    lastError(self) = PY_ERROR_INDEX_OUT_OF_BOUNDS;
    return;
  }
  PyRef item = Value::make(value);
  if (!item) [[unlikely]] {
    lastError(self) = PY_ERROR_COULD_NOT_CONVERT;
    return;
  }
  setItem(tuple.get(), index, std::move(item));
}

constexpr auto PythonParameters_SetParamInt = set<as::Int>;
constexpr auto PythonParameters_SetParamString = set<as::String>;
constexpr auto PythonParameters_SetParamDouble = set<as::Double>;
constexpr auto PythonParameters_SetParamBoolean = set<as::Boolean>;
constexpr auto PythonParameters_SetParamObject = set<as::Object>;
constexpr auto PythonParameters_SetParamInt64 = set<as::Int64>;
constexpr auto PythonParameters_SetParamUInt64 = set<as::UInt64>;

// Stores what the given wrapper holds: one setter for tuples, dictionaries and lists.
void PythonParameters_SetParamTuple(REALobject self, std::int32_t index, REALobject value) {
  PyObject *tuple = entityHeld(self).borrow();
  if (!tuple) {
    return;
  }
  if (!value) [[unlikely]] {
    lastError(self) = PY_NIL_PARAM_ERROR;
    return;
  }
  if (!inRange(tuple, index)) [[unlikely]] {
    lastError(self) = PY_ERROR_INDEX_OUT_OF_BOUNDS;
    return;
  }
  PyRef item = shareHeld(value);
  if (!item) [[unlikely]] {
    lastError(self) = PY_NIL_PARAM_ERROR;
    return;
  }
  setContainer(tuple, index, std::move(item));
}

constexpr auto PythonParameters_SetParamDictionary = PythonParameters_SetParamTuple;

// --- LastError ---

std::intptr_t PythonParameters_LastError(REALobject self) { return lastError(self); }

void PythonParameters_ClearError(REALobject self) { lastError(self) = PY_NO_ERROR; }

} // namespace

REALobject newParameters(PyRef tuple) {
  REALobject parameters = newWrapper(PythonParametersClassRef, std::move(tuple));
  if (parameters) {
    lastError(parameters) = PY_NO_ERROR;
  }
  return parameters;
}

using declare::method;
using declare::property;

static REALproperty PythonParametersProperties[] = {
    property<"Count", "Integer", PythonParameters_Count>(),
    property<"LastError", "Integer", PythonParameters_LastError>(),
};

static REALmethodDefinition PythonParametersMethods[] = {
    method<"Constructor(parameterCount as Integer)", PythonParameters_Constructor>(),
    method<"Constructor(paramPtr as Ptr)", PythonParameters_ConstructorPtr>(),
    method<"IntegerValue(index as Integer) as Integer", PythonParameters_GetParamInt,
           PythonParameters_SetParamInt>(),
    method<"StringValue(index as Integer) as String", PythonParameters_GetParamString,
           PythonParameters_SetParamString>(),
    method<"DoubleValue(index as Integer) as Double", PythonParameters_GetParamDouble,
           PythonParameters_SetParamDouble>(),
    method<"BooleanValue(index as Integer) as Boolean", PythonParameters_GetParamBoolean,
           PythonParameters_SetParamBoolean>(),
    method<"ObjectValue(index as Integer) as Object", PythonParameters_GetParamObject,
           PythonParameters_SetParamObject>(),
    method<"Int64Value(index as Integer) as Int64", PythonParameters_GetParamInt64,
           PythonParameters_SetParamInt64>(),
    method<"UInt64Value(index as Integer) as UInt64", PythonParameters_GetParamUInt64,
           PythonParameters_SetParamUInt64>(),
    method<"DictionaryValue(index as Integer) as PythonDictionary",
           PythonParameters_GetParamDictionary, PythonParameters_SetParamDictionary>(),
    method<"TupleValue(index as Integer) as PythonParameters", PythonParameters_GetParamTuple,
           PythonParameters_SetParamTuple>(),
    method<"ListValue(index as Integer) as PythonList", PythonParameters_GetParamList,
           PythonParameters_SetParamTuple>(),
    method<"ClearError()", PythonParameters_ClearError>(),
    method<"IsBoolean(index as Integer) as Boolean", PythonParameters_IsBoolean>(),
    method<"IsInteger(index as Integer) as Boolean", PythonParameters_IsInteger>(),
    method<"IsDouble(index as Integer) as Boolean", PythonParameters_IsDouble>(),
    method<"IsString(index as Integer) as Boolean", PythonParameters_IsString>(),
    method<"IsObject(index as Integer) as Boolean", PythonParameters_IsObject>(),
    method<"IsBigInteger(index as Integer) as Boolean", PythonParameters_IsBigInteger>(),
    method<"IsDictionary(index as Integer) as Boolean", PythonParameters_IsDictionary>(),
    method<"IsTuple(index as Integer) as Boolean", PythonParameters_IsTuple>(),
    method<"IsList(index as Integer) as Boolean", PythonParameters_IsList>(),
};

REALclassDefinition PythonParametersClass = {
    .name = "PythonParameters",
    .superName = "PythonEntityBase",
    .dataSize = sizeof(PythonParametersData),
    .destructor = PythonParameters_Destructor,
    .properties = PythonParametersProperties,
    .methods = PythonParametersMethods,
};
