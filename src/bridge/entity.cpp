// PythonEntity: any one Python value, read-only, made by a factory from a host value or found in a
// container. Integers are longs here: an int of 32 bits is not seen as an integer by this class.

#include "bridge/conversions.h"

constinit HostClass PythonEntityClassRef("PythonEntity");

namespace {

// --- Factories. A value that Python cannot make leaves an entity that holds nothing. ---

template <class Value> REALobject fromValue(typename Value::Param value) {
  PythonCall call;
  return interpreterRuns() ? newEntity(Value::make(value)) : nullptr;
}

constexpr auto PythonEntity_FromInt32 = fromValue<as::Long>;
constexpr auto PythonEntity_FromInt64 = fromValue<as::Int64>;
constexpr auto PythonEntity_FromUInt64 = fromValue<as::UInt64>;
constexpr auto PythonEntity_FromDouble = fromValue<as::Double>;
constexpr auto PythonEntity_FromString = fromValue<as::String>;
constexpr auto PythonEntity_FromBoolean = fromValue<as::Boolean>;

REALobject PythonEntity_FromObject(REALobject value) {
  if (!value || !interpreterRuns()) {
    return nullptr;
  }
  PythonCall call;
  PyRef capsule = newCapsule(value);
  return capsule ? newEntity(std::move(capsule)) : nullptr;
}

// --- Reading ---

using Read = Reading<entityHeld>;

constexpr auto PythonEntity_GetInt32 = Read::get<as::Long>;
constexpr auto PythonEntity_GetInt64 = Read::get<as::Int64>;
constexpr auto PythonEntity_GetUInt64 = Read::get<as::UInt64>;
constexpr auto PythonEntity_GetDouble = Read::get<as::Double>;
constexpr auto PythonEntity_GetString = Read::get<as::String>;
constexpr auto PythonEntity_GetBoolean = Read::get<as::Boolean>;
constexpr auto PythonEntity_GetObject = Read::get<as::Object>;
constexpr auto PythonEntity_GetTuple = Read::get<as::Tuple>;
constexpr auto PythonEntity_GetDictionary = Read::get<as::Dictionary>;

// --- Type tests ---

constexpr auto PythonEntity_IsInteger = Read::is<as::Long>;
constexpr auto PythonEntity_IsString = Read::is<as::String>;
constexpr auto PythonEntity_IsDouble = Read::is<as::Double>;
constexpr auto PythonEntity_IsTuple = Read::is<as::Tuple>;
constexpr auto PythonEntity_IsBoolean = Read::is<as::Boolean>;
constexpr auto PythonEntity_IsList = Read::is<as::List>;
constexpr auto PythonEntity_IsObject = Read::is<as::Object>;
constexpr auto PythonEntity_IsDictionary = Read::is<as::Dictionary>;

} // namespace

using declare::method;
using declare::property;
using declare::sharedMethod;

static REALproperty PythonEntityProperties[] = {
    property<"Int32Value", "Int32", PythonEntity_GetInt32>(),
    property<"DoubleValue", "Double", PythonEntity_GetDouble>(),
    property<"StringValue", "String", PythonEntity_GetString>(),
    property<"BooleanValue", "Boolean", PythonEntity_GetBoolean>(),
    property<"ObjectValue", "Object", PythonEntity_GetObject>(),
    property<"Int64Value", "Int64", PythonEntity_GetInt64>(),
    property<"UInt64Value", "UInt64", PythonEntity_GetUInt64>(),
    property<"TupleValue", "PythonParameters", PythonEntity_GetTuple>(),
    property<"DictionaryValue", "PythonDictionary", PythonEntity_GetDictionary>(),
    property<"IsInteger", "Boolean", PythonEntity_IsInteger>(),
    property<"IsString", "Boolean", PythonEntity_IsString>(),
    property<"IsDouble", "Boolean", PythonEntity_IsDouble>(),
    property<"IsTuple", "Boolean", PythonEntity_IsTuple>(),
    property<"IsBoolean", "Boolean", PythonEntity_IsBoolean>(),
    property<"IsList", "Boolean", PythonEntity_IsList>(),
    property<"IsObject", "Boolean", PythonEntity_IsObject>(),
    property<"IsDictionary", "Boolean", PythonEntity_IsDictionary>(),
};

static REALmethodDefinition PythonEntityMethods[] = {
    method<"Constructor()", PythonEntity_Constructor>(kPublicMember | kUnknownFlag),
};

static REALmethodDefinition PythonEntitySharedMethods[] = {
    sharedMethod<"FromInt32(value as Int32) as PythonEntity", PythonEntity_FromInt32>(),
    sharedMethod<"FromDouble(value as Double) as PythonEntity", PythonEntity_FromDouble>(),
    sharedMethod<"FromString(value as String) as PythonEntity", PythonEntity_FromString>(),
    sharedMethod<"FromBoolean(value as Boolean) as PythonEntity", PythonEntity_FromBoolean>(),
    sharedMethod<"FromObject(value as Object) as PythonEntity", PythonEntity_FromObject>(),
    sharedMethod<"FromInt64(value as Int64) as PythonEntity", PythonEntity_FromInt64>(),
    sharedMethod<"FromUInt64(value as UInt64) as PythonEntity", PythonEntity_FromUInt64>(),
};

REALclassDefinition PythonEntityClass = {
    .name = "PythonEntity",
    .superName = "PythonEntityBase",
    .properties = PythonEntityProperties,
    .methods = PythonEntityMethods,
    .sharedMethods = PythonEntitySharedMethods,
};
