// PythonEntity: any one Python value, read-only, made by a factory from a host value or found in a
// container. Integers are longs here: an int of 32 bits is not seen as an integer by this class.

#include "bridge/bridge.h"

REALclassRef PythonEntityClassRef = nullptr;

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

template <class Value> typename Value::Result get(REALobject self) {
  Access value(entityHeld(self));
  return convert<Value>(value.get());
}

constexpr auto PythonEntity_GetInt32 = get<as::Long>;
constexpr auto PythonEntity_GetInt64 = get<as::Int64>;
constexpr auto PythonEntity_GetUInt64 = get<as::UInt64>;
constexpr auto PythonEntity_GetDouble = get<as::Double>;
constexpr auto PythonEntity_GetString = get<as::String>;
constexpr auto PythonEntity_GetBoolean = get<as::Boolean>;
constexpr auto PythonEntity_GetObject = get<as::Object>;
constexpr auto PythonEntity_GetTuple = get<as::Tuple>;
constexpr auto PythonEntity_GetDictionary = get<as::Dictionary>;

// --- Type tests ---

template <class Value> REALboolean is(REALobject self) {
  return passes<Value>(entityHeld(self).borrow());
}

constexpr auto PythonEntity_IsInteger = is<as::Long>;
constexpr auto PythonEntity_IsString = is<as::String>;
constexpr auto PythonEntity_IsDouble = is<as::Double>;
constexpr auto PythonEntity_IsTuple = is<as::Tuple>;
constexpr auto PythonEntity_IsBoolean = is<as::Boolean>;
constexpr auto PythonEntity_IsList = is<as::List>;
constexpr auto PythonEntity_IsObject = is<as::Object>;
constexpr auto PythonEntity_IsDictionary = is<as::Dictionary>;

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
    method<"Constructor()", PythonEntity_Constructor>(kBareConstructor),
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
