// The attribute accessors that modules and instances have in common, called by the C++ type of the
// value: IntegerField for an int, and so on.
#pragma once

#include "tests/wrappers.h"

template <class V> std::string fieldDeclaration() {
  const std::string type = accessorFor<V>().type;
  return type + "Field(name as String) as " + type;
}
template <class V, class Name> V getField(const host::Object &owner, const Name &name) {
  return owner.call<V>(fieldDeclaration<V>().c_str(), name);
}
template <class V, class Name>
void setField(const host::Object &owner, const Name &name, const V &value) {
  owner.assign(fieldDeclaration<V>().c_str(), name, value);
}
template <class Name> bool hasAttribute(const host::Object &owner, const Name &name) {
  return owner.call<bool>("HasAttribute(name as String) as Boolean", name);
}
template <class Name> int deleteAttribute(const host::Object &owner, const Name &name) {
  return owner.call<int>("DeleteAttribute(name as String) as Integer", name);
}
