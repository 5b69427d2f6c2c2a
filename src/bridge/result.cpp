// PythonResult: one value coming out of a call into Python, or going back as the result of a host
// function that Python called. It stands outside the PythonEntityBase classes and keeps its held
// object in class data of its own, under the same rules.

#include "bridge/conversions.h"

constinit HostClass PythonResultClassRef("PythonResult");

extern REALclassDefinition PythonResultClass;

namespace {

struct PythonResultData {
  HeldObject held;
};

HeldObject &resultHeld(REALobject self) {
  return classData<PythonResultData>(self, PythonResultClass).held;
}

// --- Construction. A value that Python cannot make leaves a result that holds nothing. ---

template <class Value> void construct(REALobject self, typename Value::Param value) {
  PythonCall call;
  if (interpreterRuns()) {
    resultHeld(self).hold(Value::make(value));
  }
}

constexpr auto PythonResult_Int32Constructor = construct<as::Long>;
constexpr auto PythonResult_Int64Constructor = construct<as::Int64>;
constexpr auto PythonResult_UInt64Constructor = construct<as::UInt64>;
constexpr auto PythonResult_DoubleConstructor = construct<as::Double>;
constexpr auto PythonResult_StringConstructor = construct<as::String>;
constexpr auto PythonResult_BoolConstructor = construct<as::Boolean>;

void PythonResult_Constructor(REALobject self) {
  PythonCall call;
  if (interpreterRuns()) {
    resultHeld(self).hold(newNone());
  }
}

// Unlike elsewhere, the lock is taken before there is a capsule, and given back if there is none.
void PythonResult_ObjectConstructor(REALobject self, REALobject value) {
  if (!interpreterRuns()) {
    return;
  }
  PythonCall call;
  ELockObject(value);
  PyRef capsule(newCapsuleTakingLock(value));
  if (!capsule) {
    EUnlockObject(value);
  }
  resultHeld(self).hold(std::move(capsule));
}

void PythonResult_Destructor(REALobject self) { resultHeld(self).drop(); }

// --- Reading ---

using Read = Reading<resultHeld>;

constexpr auto PythonResult_GetInt = Read::get<as::IntOrLong>;
constexpr auto PythonResult_GetInt64 = Read::get<as::Int64>;
constexpr auto PythonResult_GetUInt64 = Read::get<as::UInt64>;
constexpr auto PythonResult_GetDouble = Read::get<as::Double>;
constexpr auto PythonResult_GetBoolean = Read::get<as::Boolean>;
constexpr auto PythonResult_GetString = Read::get<as::String>;
constexpr auto PythonResult_GetObject = Read::get<as::Object>;
constexpr auto PythonResult_GetTuple = Read::get<as::Tuple>;
constexpr auto PythonResult_GetDictionary = Read::get<as::Dictionary>;

// The receiver owns the reference: Python, when a host function returns it.
void *PythonResult_GetPtr(REALobject self) { return resultHeld(self).share().release(); }

// --- Type tests ---

constexpr auto PythonResult_IsString = Read::is<as::String>;
constexpr auto PythonResult_IsInteger = Read::is<as::Int>;
constexpr auto PythonResult_IsDouble = Read::is<as::Double>;
constexpr auto PythonResult_IsBoolean = Read::is<as::Boolean>;
constexpr auto PythonResult_IsBigInteger = Read::is<as::Int64>;
constexpr auto PythonResult_IsObject = Read::is<as::Object>;
constexpr auto PythonResult_IsTuple = Read::is<as::Tuple>;
constexpr auto PythonResult_IsDictionary = Read::is<as::Dictionary>;

} // namespace

REALobject newResult(PyRef object) {
  REALobject result = REALnewInstanceWithClass(PythonResultClassRef.get());
  if (result) {
    resultHeld(result).fill(std::move(object));
  }
  return result;
}

using declare::method;

static REALmethodDefinition PythonResultMethods[] = {
    method<"Constructor()", PythonResult_Constructor>(),
    method<"Constructor(value as Int32)", PythonResult_Int32Constructor>(),
    method<"Constructor(value as Int64)", PythonResult_Int64Constructor>(),
    method<"Constructor(value as UInt64)", PythonResult_UInt64Constructor>(),
    method<"Constructor(value as Double)", PythonResult_DoubleConstructor>(),
    method<"Constructor(value as String)", PythonResult_StringConstructor>(),
    method<"Constructor(value as Boolean)", PythonResult_BoolConstructor>(),
    method<"Constructor(value as Object)", PythonResult_ObjectConstructor>(),
    method<"IntegerValue() as Integer", PythonResult_GetInt>(),
    method<"Int64Value() as Int64", PythonResult_GetInt64>(),
    method<"UInt64Value() as UInt64", PythonResult_GetUInt64>(),
    method<"DoubleValue() as Double", PythonResult_GetDouble>(),
    method<"BooleanValue() as Boolean", PythonResult_GetBoolean>(),
    method<"StringValue() as String", PythonResult_GetString>(),
    method<"ObjectValue() as Object", PythonResult_GetObject>(),
    method<"IsString() as Boolean", PythonResult_IsString>(),
    method<"IsInteger() as Boolean", PythonResult_IsInteger>(),
    method<"IsDouble() as Boolean", PythonResult_IsDouble>(),
    method<"IsBoolean() as Boolean", PythonResult_IsBoolean>(),
    method<"IsBigInteger() as Boolean", PythonResult_IsBigInteger>(),
    method<"IsObject() as Boolean", PythonResult_IsObject>(),
    method<"GetPtr() as Ptr", PythonResult_GetPtr>(),
    method<"IsTuple() as Boolean", PythonResult_IsTuple>(),
    method<"TupleValue() as PythonParameters", PythonResult_GetTuple>(),
    method<"IsDictionary() as Boolean", PythonResult_IsDictionary>(),
    method<"DictionaryValue() as PythonDictionary", PythonResult_GetDictionary>(),
};

REALclassDefinition PythonResultClass = {
    .name = "PythonResult",
    .dataSize = sizeof(PythonResultData),
    .destructor = PythonResult_Destructor,
    .methods = PythonResultMethods,
};
