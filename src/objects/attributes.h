// The attributes of what a named wrapper holds, and the accessors that modules and instances have
// in common.
#pragma once

#include "bridge/conversions.h"
#include "objects/objects.h"

// A new reference to an attribute of what the wrapper holds. Null without a name, and with Python's
// error set when there is no such attribute.
inline PyRef findAttribute(const OwnedCall &object, REALstring name) {
  const char *attribute = object ? asPythonName(name) : nullptr;
  return PyRef(attribute ? EPyObject_GetAttrString(object.get(), attribute) : nullptr);
}

template <class Value> typename Value::Result getField(REALobject self, REALstring name) {
  OwnedCall object(objectData(self).held);
  PyRef found = findAttribute(object, name);
  return convert<Value>(found.get());
}

// A value that cannot be made, or that Python refuses, stores nothing and leaves Python's error.
template <class Value>
void setField(REALobject self, REALstring name, typename Value::Param value) {
  OwnedCall object(objectData(self).held);
  const char *attribute = object ? asPythonName(name) : nullptr;
  PyRef item = attribute ? Value::make(value) : PyRef();
  if (item) {
    EPyObject_SetAttrString(object.get(), attribute, item.get());
  }
}

inline constexpr auto PythonModule_GetIntegerField = getField<as::AnyInteger>;
inline constexpr auto PythonModule_GetInt64Field = getField<as::Int64>;
inline constexpr auto PythonModule_GetUInt64Field = getField<as::UInt64>;
inline constexpr auto PythonModule_GetDoubleField = getField<as::AnyDouble>;
inline constexpr auto PythonModule_GetBooleanField = getField<as::Truth>;
inline constexpr auto PythonModule_GetStringField = getField<as::String>;
inline constexpr auto PythonModule_GetObjectField = getField<as::Object>;

inline constexpr auto PythonModule_SetIntegerField = setField<as::AnyInteger>;
inline constexpr auto PythonModule_SetInt64Field = setField<as::Int64>;
inline constexpr auto PythonModule_SetUInt64Field = setField<as::UInt64>;
inline constexpr auto PythonModule_SetDoubleField = setField<as::AnyDouble>;
inline constexpr auto PythonModule_SetBooleanField = setField<as::Truth>;
inline constexpr auto PythonModule_SetStringField = setField<as::String>;
inline constexpr auto PythonModule_SetObjectField = setField<as::Object>;

// A missing attribute clears Python's error state.
REALboolean PythonModule_HasAttribute(REALobject self, REALstring name);
// 0 when the attribute was deleted; -1, as a rule with Python's error set, when not.
std::intptr_t PythonModule_DeleteAttribute(REALobject self, REALstring name);

// The rows that the tables of modules and instances have in common, in their order.
#define QUILLIX_ATTRIBUTE_ROWS                                                                     \
  declare::method<"IntegerField(name as String) as Integer", PythonModule_GetIntegerField,         \
                  PythonModule_SetIntegerField>(),                                                 \
      declare::method<"Int64Field(name as String) as Int64", PythonModule_GetInt64Field,           \
                      PythonModule_SetInt64Field>(),                                               \
      declare::method<"UInt64Field(name as String) as UInt64", PythonModule_GetUInt64Field,        \
                      PythonModule_SetUInt64Field>(),                                              \
      declare::method<"DoubleField(name as String) as Double", PythonModule_GetDoubleField,        \
                      PythonModule_SetDoubleField>(),                                              \
      declare::method<"BooleanField(name as String) as Boolean", PythonModule_GetBooleanField,     \
                      PythonModule_SetBooleanField>(),                                             \
      declare::method<"StringField(name as String) as String", PythonModule_GetStringField,        \
                      PythonModule_SetStringField>(),                                              \
      declare::method<"ObjectField(name as String) as Object", PythonModule_GetObjectField,        \
                      PythonModule_SetObjectField>(),                                              \
      declare::method<"HasAttribute(name as String) as Boolean", PythonModule_HasAttribute>(),     \
      declare::method<"DeleteAttribute(name as String) as Integer",                                \
                      PythonModule_DeleteAttribute>()
