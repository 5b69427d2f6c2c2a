// The plug-in's members as plain functions, found once: for millions of calls, without the checks
// that host/call.h makes of each.
#pragma once

#include <tuple>

#include "host/call.h"

namespace soak {

using host::Object;
using host::String;
using Text = REALstring;
using Flag = REALboolean;

// What host code owns of a result.
template <class R> auto own(R result) {
  if constexpr (std::is_same_v<R, REALobject>)
    return Object::adopt(result);
  else if constexpr (std::is_same_v<R, Text>)
    return String::adopt(result);
  else
    return result;
}

template <class> class Method;
template <class R, class... A> class Method<R(A...)> {
public:
  Method(const char *className, const std::string &declaration)
      : function_(host::find<Function>(className, declaration.c_str())) {}
  auto operator()(const Object &self, A... arguments) const {
    if constexpr (std::is_void_v<R>)
      function_(self.get(), arguments...);
    else
      return own(function_(self.get(), arguments...));
  }

private:
  using Function = R (*)(REALobject, A...);
  Function function_;
};

template <class> class SharedMethod;
template <class R, class... A> class SharedMethod<R(A...)> {
public:
  SharedMethod(const char *className, const std::string &declaration)
      : function_(host::findShared<R (*)(A...)>(className, declaration.c_str())) {}
  auto operator()(A... arguments) const {
    if constexpr (std::is_void_v<R>)
      function_(arguments...);
    else
      return own(function_(arguments...));
  }

private:
  R (*function_)(A...);
};

template <class R> class Property {
public:
  Property(const char *className, const std::string &name)
      : getter_(host::findGetter<R (*)(REALobject)>(className, name.c_str())) {}
  auto operator()(const Object &self) const { return own(getter_(self.get())); }

private:
  R (*getter_)(REALobject);
};

// Assigns a wrapper to a place in a tuple.
class SetWrapper {
public:
  explicit SetWrapper(const std::string &declaration)
      : setter_(host::findSetter<void (*)(REALobject, std::int32_t, REALobject)>(
            "PythonParameters", declaration.c_str())) {}
  void operator()(const Object &self, std::int32_t index, const Object &value) const {
    setter_(self.get(), index, value.get());
  }

private:
  void (*setter_)(REALobject, std::int32_t, REALobject);
};

// --- Families of members, one of each for every type of value that crosses ---

template <template <class> class Of>
using ForEachType = std::tuple<Of<std::int32_t>, Of<std::int64_t>, Of<std::uint64_t>, Of<double>,
                               Of<Flag>, Of<Text>, Of<REALobject>>;

// An Integer is as wide as the machine word when it comes back.
template <class V>
using Returned = std::conditional_t<std::is_same_v<V, std::int32_t>, std::intptr_t, V>;

template <class V> std::string typeName(const char *ofInt32 = "Integer") {
  return std::is_same_v<V, std::int32_t>    ? ofInt32
         : std::is_same_v<V, std::int64_t>  ? "Int64"
         : std::is_same_v<V, std::uint64_t> ? "UInt64"
         : std::is_same_v<V, double>        ? "Double"
         : std::is_same_v<V, Flag>          ? "Boolean"
         : std::is_same_v<V, Text>          ? "String"
                                            : "Object";
}

// The assignable methods of a class that name a place: an index, a key, an attribute.
template <class Place> class Places {
public:
  Places(const char *className, const std::string &behindType)
      : accessors_{{className, behindType}, {className, behindType}, {className, behindType},
                   {className, behindType}, {className, behindType}, {className, behindType},
                   {className, behindType}} {}

  template <class V> auto get(const Object &self, Place place) const {
    return own(std::get<Accessor<V>>(accessors_).get(self.get(), place));
  }
  template <class V> void set(const Object &self, Place place, V value) const {
    std::get<Accessor<V>>(accessors_).set(self.get(), place, value);
  }

private:
  template <class V> struct Accessor {
    Accessor(const char *className, const std::string &behindType) {
      const std::string declaration = typeName<V>() + behindType + " as " + typeName<V>();
      get = host::find<decltype(get)>(className, declaration.c_str());
      set = host::findSetter<decltype(set)>(className, declaration.c_str());
    }
    Returned<V> (*get)(REALobject, Place);
    void (*set)(REALobject, Place, V);
  };
  ForEachType<Accessor> accessors_;
};

// PythonEntity and PythonResult, made from a value and read.
template <class V> struct EntityOf {
  SharedMethod<REALobject(V)> make{"PythonEntity", "From" + typeName<V>("Int32") + "(value as " +
                                                       typeName<V>("Int32") + ") as PythonEntity"};
  Property<V> value{"PythonEntity", typeName<V>("Int32") + "Value"};
};
template <class V> struct ResultOf {
  Method<void(V)> construct{"PythonResult", "Constructor(value as " + typeName<V>("Int32") + ")"};
  Method<Returned<V>()> value{"PythonResult", typeName<V>() + "Value() as " + typeName<V>()};
};

// --- All that is used ---

struct Members {
  const host::Class &parametersClass = host::requireClass("PythonParameters");
  const host::Class &resultClass = host::requireClass("PythonResult");
  const host::Class &dictionaryClass = host::requireClass("PythonDictionary");
  const host::Class &listClass = host::requireClass("PythonList");

  const SharedMethod<REALobject(Text)> getModule{"Quillix",
                                                 "GetModule(name as String) as PythonModule"};
  const SharedMethod<Flag()> errorOccurred{"Quillix", "ErrorOccurred() as Boolean"};
  const SharedMethod<Text()> getError{"Quillix", "GetError() as String"};
  const SharedMethod<void()> clearError{"Quillix", "ClearError()"};
  const SharedMethod<void(std::int32_t, Text)> setError{
      "Quillix", "SetError(errorType as Integer, message as String)"};

  const Method<void(std::int32_t)> newTuple{"PythonParameters",
                                            "Constructor(parameterCount as Integer)"};
  const Method<void(void *)> overTuple{"PythonParameters", "Constructor(paramPtr as Ptr)"};
  const Places<std::int32_t> item{"PythonParameters", "Value(index as Integer)"};
  const Property<std::intptr_t> itemCount{"PythonParameters", "Count"};
  const Property<std::intptr_t> lastError{"PythonParameters", "LastError"};
  const Method<REALobject(std::int32_t)> tupleItem{
      "PythonParameters", "TupleValue(index as Integer) as PythonParameters"};
  const Method<REALobject(std::int32_t)> dictionaryItem{
      "PythonParameters", "DictionaryValue(index as Integer) as PythonDictionary"};
  const Method<REALobject(std::int32_t)> listItem{"PythonParameters",
                                                  "ListValue(index as Integer) as PythonList"};

  const SetWrapper setTuple{"TupleValue(index as Integer) as PythonParameters"};
  const SetWrapper setDictionary{"DictionaryValue(index as Integer) as PythonDictionary"};
  const SetWrapper setList{"ListValue(index as Integer) as PythonList"};
  const Method<void()> clearLastError{"PythonParameters", "ClearError()"};

  const ForEachType<EntityOf> entity{};
  const ForEachType<ResultOf> result{};
  const Method<void *()> pointer{"PythonResult", "GetPtr() as Ptr"};
  const Method<REALobject()> resultTuple{"PythonResult", "TupleValue() as PythonParameters"};
  const Method<REALobject()> resultDictionary{"PythonResult",
                                              "DictionaryValue() as PythonDictionary"};

  const Method<void()> newDictionary{"PythonDictionary", "Constructor()"};
  const Method<void()> clearDictionary{"PythonDictionary", "Clear()"};
  const Places<Text> entry{"PythonDictionary", "Value(key as String)"};
  const Property<std::intptr_t> entryCount{"PythonDictionary", "Count"};
  const Method<Flag(Text)> contains{"PythonDictionary", "Contains(key as String) as Boolean"};
  const Method<void(Text)> remove{"PythonDictionary", "Remove(key as String)"};
  const Method<REALobject(REALobject)> getValue{
      "PythonDictionary", "GetValue(key as PythonEntityBase) as PythonEntity"};
  const Method<void(REALobject, REALobject)> setValue{
      "PythonDictionary", "SetValue(key as PythonEntityBase, value as PythonEntityBase)"};
  const Method<REALobject()> keys{"PythonDictionary", "GetKeys() as PythonList"};
  const Method<REALobject()> values{"PythonDictionary", "GetValues() as PythonList"};

  const Method<void()> newList{"PythonList", "Constructor()"};
  const Method<void()> clearList{"PythonList", "Clear()"};
  const Property<std::intptr_t> listCount{"PythonList", "Count"};
  const Method<void(REALobject)> append{"PythonList", "Append(value as PythonEntityBase)"};
  const Method<void(std::int32_t, REALobject)> insert{
      "PythonList", "Insert(index as Integer, value as PythonEntityBase)"};
  const Method<void(std::int32_t, REALobject)> setItem{
      "PythonList", "SetItem(index as Integer, value as PythonEntityBase)"};
  const Method<REALobject(std::int32_t)> getItem{"PythonList",
                                                 "GetItem(index as Integer) as PythonEntity"};
  const Method<REALobject()> asTuple{"PythonList", "AsTuple() as PythonParameters"};
  const Method<void()> sort{"PythonList", "Sort()"};
  const Method<void()> reverse{"PythonList", "Reverse()"};

  const Method<REALobject(Text)> getFunction{"PythonModule",
                                             "GetFunction(name as String) as PythonFunction"};
  const Method<REALobject(Text)> getClass{"PythonModule",
                                          "GetClass(name as String) as PythonClass"};
  const Method<Flag()> reload{"PythonModule", "Reload() as Boolean"};
  const Places<Text> moduleField{"PythonModule", "Field(name as String)"};
  const Method<std::intptr_t(Text)> deleteAttribute{"PythonModule",
                                                    "DeleteAttribute(name as String) as Integer"};
  const Method<REALobject(REALobject)> invoke{
      "PythonFunction", "Invoke(parameters as PythonParameters) as PythonResult"};
  const Property<REALobject> ownerModule{"PythonFunction", "OwnerModule"};
  const Method<REALobject()> createInstance{"PythonClass", "CreateInstance() as PythonInstance"};
  const Method<REALobject(Text)> getMethod{"PythonInstance",
                                           "GetFunction(name as String) as PythonFunction"};
  const Places<Text> instanceField{"PythonInstance", "Field(name as String)"};
  const Method<Flag(Text)> hasAttribute{"PythonInstance",
                                        "HasAttribute(name as String) as Boolean"};
  const Property<Text> name{"PythonObject", "Name"};
};

} // namespace soak
