// Every member that classes offer, callable without knowing it beforehand: for tools that use the
// whole of an interface, whatever it declares.
#pragma once

#include "host/runtime/call.h"

#include <span>
#include <string>
#include <variant>
#include <vector>

namespace host {

// A value as it crosses. An Integer is an int32_t both ways; a result that does not fit is misuse.
using Value = std::variant<std::monostate, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t,
                           double, bool, String, Object, void *>;

struct Member {
  enum class Role { Method, Setter, Getter, Shared };

  const Class *owner;
  Role role;
  std::string name; // the declaration, or the property's name
  HostFunction function;
  std::vector<Type> parameters; // a setter's last one is the value
  Type result;

  bool isConstructor() const { return name.starts_with("Constructor("); }
};

// Of an instance: methods in table order, constructors among them, setters behind their getters;
// then the properties; the class's own before those of its super classes.
std::vector<Member> membersOf(const Class &type);
// Of the classes themselves: the shared methods of all that a plug-in registered.
std::vector<Member> sharedMembers();

// What the declared type starts out with: nil, 0, False. A monostate where there is no result.
Value zeroOf(const Type &type);

// Calls; a shared member takes no instance, every other one needs one. Arguments must be of the
// alternatives that zeroOf() gives for the declared types.
Value call(const Member &member, const Object &self, std::span<const Value> arguments);

// For a reader: 5, "text", PythonList, nil.
std::string textOf(const Value &value);

} // namespace host
