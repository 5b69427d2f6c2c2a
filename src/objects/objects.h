// What the named wrappers share: a name, the held object, and the attribute accessors that modules
// and instances have in common.
#pragma once

#include "bridge/bridge.h"

extern REALclassDefinition PythonObjectClass;

// The class data of the root. A named wrapper keeps its origin alive by locks in class data of its
// own: a function its module or instance, an instance its class, a class its module.
struct PythonObjectData {
  REALstring name; // locked once
  HeldObject held;
};

inline PythonObjectData &objectData(REALobject self) {
  return classData<PythonObjectData>(self, PythonObjectClass);
}

// Fills a new instance: locks the name for it and takes over the reference.
inline void fillObject(REALobject instance, REALstring name, PyRef object) {
  PythonObjectData &data = objectData(instance);
  data.name = name;
  data.held.fill(std::move(object));
  ELockString(name);
}

// A new instance of a named wrapper class, filled; its lock belongs to the caller. Nil when the
// host makes none; the reference is released then.
inline REALobject newNamedObject(REALclassRef &cache, const char *className, REALstring name,
                                 PyRef object) {
  REALobject instance = REALnewInstanceWithClass(cachedClassRef(cache, className));
  if (instance) [[likely]] {
    fillObject(instance, name, std::move(object));
  }
  return instance;
}

// --- Attributes ---

// A new reference to an attribute of what the wrapper holds. Null without a name, and with Python's
// error set when there is no such attribute.
inline PyRef findAttribute(const Operation &object, REALstring name) {
  const char *attribute = object ? nameOf(name) : nullptr;
  return PyRef(attribute ? EPyObject_GetAttrString(object.get(), attribute) : nullptr);
}

template <class Value> typename Value::Result getField(REALobject self, REALstring name) {
  Operation object(objectData(self).held);
  PyRef found = findAttribute(object, name);
  return convert<Value>(found.get());
}

// A value that cannot be made, or that Python refuses, stores nothing and leaves Python's error.
template <class Value>
void setField(REALobject self, REALstring name, typename Value::Param value) {
  Operation object(objectData(self).held);
  const char *attribute = object ? nameOf(name) : nullptr;
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

// --- Modules ---

// Imports one; nil, with Python's error set, when that fails.
REALobject Python_GetModule(REALstring name);

// --- Functions ---

extern REALclassRef PythonFunctionClassRef;
extern REALclassRef PythonClassClassRef;
extern REALclassRef PythonPythonInstanceClassRef;
extern REALclassRef PythonModuleClassRef;

// A new PythonFunction over an attribute that can be called, keeping one owner alive by a lock;
// the other is nil. Nil when there is no such attribute, or when it cannot be called, which raises
// no Python error.
REALobject newFunction(REALobject self, REALstring name, REALobject ownerModule,
                       REALobject ownerInstance);

// A new PythonClass over an object found in a module, which it keeps alive by a lock.
REALobject newClass(REALstring name, PyRef object, REALobject ownerModule);
