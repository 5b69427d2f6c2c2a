// PythonDictionary: a dict, read and written by String keys with typed accessors, or by any Python
// value as a key. The empty String, which the host passes as nil, is never a key.

#include "bridge/conversions.h"

constinit HostClass PythonDictionaryClassRef("PythonDictionary");

void PythonDictionary_Init() {
  EPyDict_DelItem = nullptr;
  PythonDictionaryClassRef.forget();
}

namespace {

// Fills the extra slots when a dictionary is first constructed, or first needs them; as long as the
// library does not have them all, every need asks again and is refused.
inline bool ensureExtras() {
  if (!EPyDict_DelItem) [[unlikely]] {
    PythonDictionary_LoadAPI();
  }
  return EPyDict_DelItem;
}

void PythonDictionary_Constructor(REALobject self) {
  PythonCall call;
  ensureExtras();
  if (interpreterRuns()) {
    entityHeld(self).hold(PyRef(EPyDict_New()));
  }
}

void PythonDictionary_Destructor(REALobject) {} // the dict is PythonEntityBase's to release

// --- Keys. Null when there is no key: for the empty String, nil, and a wrapper that is empty. ---

inline PyRef newKey(REALstring key) {
  std::string_view bytes = bytesOf(key);
  return bytes.empty() ? PyRef() : newPythonString(bytes);
}
inline PyRef newKey(REALobject key) { return shareHeld(key); }

// --- Typed accessors ---

template <class Value> typename Value::Result get(REALobject self, REALstring name) {
  OwnedCall dict(entityHeld(self));
  PyRef key = dict ? newKey(name) : PyRef();
  return convert<Value>(key ? EPyDict_GetItem(dict.get(), key.get()) : nullptr);
}

template <class Value> void set(REALobject self, REALstring name, typename Value::Param value) {
  OwnedCall dict(entityHeld(self));
  PyRef key = dict ? newKey(name) : PyRef();
  PyRef item = key ? Value::make(value) : PyRef();
  if (item) {
    EPyDict_SetItem(dict.get(), key.get(), item.get());
  }
}

constexpr auto PythonDictionary_GetParamInt = get<as::Int>;
constexpr auto PythonDictionary_GetParamInt64 = get<as::Int64>;
constexpr auto PythonDictionary_GetParamUInt64 = get<as::UInt64>;
constexpr auto PythonDictionary_GetParamString = get<as::String>;
constexpr auto PythonDictionary_GetParamDouble = get<as::Double>;
constexpr auto PythonDictionary_GetParamBoolean = get<as::Boolean>;
constexpr auto PythonDictionary_GetParamObject = get<as::Object>;

constexpr auto PythonDictionary_SetParamInt = set<as::Int>;
constexpr auto PythonDictionary_SetParamInt64 = set<as::Int64>;
constexpr auto PythonDictionary_SetParamUInt64 = set<as::UInt64>;
constexpr auto PythonDictionary_SetParamString = set<as::String>;
constexpr auto PythonDictionary_SetParamDouble = set<as::Double>;
constexpr auto PythonDictionary_SetParamBoolean = set<as::Boolean>;
constexpr auto PythonDictionary_SetParamObject = set<as::Object>;

// --- Operations by either kind of key ---

template <class Key> REALobject getValue(REALobject self, Key wanted) {
  OwnedCall dict(entityHeld(self));
  PyRef key = dict ? newKey(wanted) : PyRef();
  PyRef found = PyRef::share(key ? EPyDict_GetItem(dict.get(), key.get()) : nullptr);
  return found ? newEntity(std::move(found)) : nullptr;
}

template <class Key> void setValue(REALobject self, Key wanted, REALobject value) {
  OwnedCall dict(entityHeld(self));
  PyRef item = shareHeld(value);
  PyRef key = dict && item ? newKey(wanted) : PyRef();
  if (key) {
    EPyDict_SetItem(dict.get(), key.get(), item.get());
  }
}

template <class Key> void removeKey(REALobject self, Key wanted) {
  OwnedCall dict(entityHeld(self));
  PyRef key = dict && ensureExtras() ? newKey(wanted) : PyRef();
  if (key) {
    EPyDict_DelItem(dict.get(), key.get());
  }
}

// A key that cannot be hashed reads as True, with Python's error set.
template <class Key> REALboolean contains(REALobject self, Key wanted) {
  OwnedCall dict(entityHeld(self));
  PyRef key = dict ? newKey(wanted) : PyRef();
  return key && EPyDict_Contains(dict.get(), key.get()) != 0;
}

constexpr auto PythonDictionary_Contains = contains<REALstring>;
constexpr auto PythonDictionary_GetValue = getValue<REALstring>;
constexpr auto PythonDictionary_SetValue = setValue<REALstring>;
constexpr auto PythonDictionary_Remove = removeKey<REALstring>;

constexpr auto PythonDictionary_ContainsEntity = contains<REALobject>;
constexpr auto PythonDictionary_GetValueByEntity = getValue<REALobject>;
constexpr auto PythonDictionary_SetValueByEntity = setValue<REALobject>;
constexpr auto PythonDictionary_RemoveEntity = removeKey<REALobject>;

// --- The whole dict ---

void PythonDictionary_Clear(REALobject self) {
  OwnedCall dict(entityHeld(self));
  if (dict) {
    EPyDict_Clear(dict.get());
  }
}

std::intptr_t PythonDictionary_Count(REALobject self) {
  BorrowedCall dict(entityHeld(self));
  return dict ? EPyDict_Size(dict.get()) : 0;
}

// A new list of the keys or of the values, of its own from then on.
template <PyObject *(*&take)(PyObject *)> REALobject snapshot(REALobject self) {
  OwnedCall dict(entityHeld(self));
  return dict && ensureExtras() ? newList(PyRef(take(dict.get()))) : nullptr;
}

constexpr auto PythonDictionary_GetKeys = snapshot<EPyDict_Keys>;
constexpr auto PythonDictionary_GetValues = snapshot<EPyDict_Values>;

} // namespace

using declare::method;

static REALproperty PythonDictionaryProperties[] = {
    declare::property<"Count", "Integer", PythonDictionary_Count>(),
};

static REALmethodDefinition PythonDictionaryMethods[] = {
    method<"Constructor()", PythonDictionary_Constructor>(),
    method<"Clear()", PythonDictionary_Clear>(),
    method<"Contains(key as String) as Boolean", PythonDictionary_Contains>(),
    method<"IntegerValue(key as String) as Integer", PythonDictionary_GetParamInt,
           PythonDictionary_SetParamInt>(),
    method<"Int64Value(key as String) as Int64", PythonDictionary_GetParamInt64,
           PythonDictionary_SetParamInt64>(),
    method<"UInt64Value(key as String) as UInt64", PythonDictionary_GetParamUInt64,
           PythonDictionary_SetParamUInt64>(),
    method<"StringValue(key as String) as String", PythonDictionary_GetParamString,
           PythonDictionary_SetParamString>(),
    method<"DoubleValue(key as String) as Double", PythonDictionary_GetParamDouble,
           PythonDictionary_SetParamDouble>(),
    method<"BooleanValue(key as String) as Boolean", PythonDictionary_GetParamBoolean,
           PythonDictionary_SetParamBoolean>(),
    method<"ObjectValue(key as String) as Object", PythonDictionary_GetParamObject,
           PythonDictionary_SetParamObject>(),
    method<"GetValue(key as String) as PythonEntity", PythonDictionary_GetValue>(),
    method<"SetValue(key as String, value as PythonEntityBase)", PythonDictionary_SetValue>(),
    method<"Remove(key as String)", PythonDictionary_Remove>(),
    method<"Remove(key as PythonEntityBase)", PythonDictionary_RemoveEntity>(),
    method<"Contains(key as PythonEntityBase) as Boolean", PythonDictionary_ContainsEntity>(),
    method<"GetValue(key as PythonEntityBase) as PythonEntity",
           PythonDictionary_GetValueByEntity>(),
    method<"SetValue(key as PythonEntityBase, value as PythonEntityBase)",
           PythonDictionary_SetValueByEntity>(),
    method<"GetKeys() as PythonList", PythonDictionary_GetKeys>(),
    method<"GetValues() as PythonList", PythonDictionary_GetValues>(),
};

REALclassDefinition PythonDictionaryClass = {
    .name = "PythonDictionary",
    .superName = "PythonEntityBase",
    .destructor = PythonDictionary_Destructor,
    .properties = PythonDictionaryProperties,
    .methods = PythonDictionaryMethods,
};
