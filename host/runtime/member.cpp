#include "host/runtime/member.h"

#include <sstream>

namespace host {
namespace {

using Role = Member::Role;

void addMethods(std::vector<Member> &members, const Class &owner,
                const std::vector<Method> &methods, Role role) {
  for (const auto &[row, signature] : methods) {
    std::vector<Type> types = signature.parameters;
    members.push_back({&owner, role, row->declaration, row->function, types, signature.result});
    if (row->setter) {
      types.push_back(signature.result);
      members.push_back({&owner, Role::Setter, row->declaration, row->setter, types, {}});
    }
  }
}

// Hands over the C type in which a declared type crosses.
template <class Use> Value withTypeOf(Kind kind, Use use) {
  switch (kind) {
  case Kind::None:
    return use(std::type_identity<void>());
  case Kind::Integer:
  case Kind::Int32:
    return use(std::type_identity<std::int32_t>());
  case Kind::UInt32:
    return use(std::type_identity<std::uint32_t>());
  case Kind::Int64:
    return use(std::type_identity<std::int64_t>());
  case Kind::UInt64:
    return use(std::type_identity<std::uint64_t>());
  case Kind::Double:
    return use(std::type_identity<double>());
  case Kind::Boolean:
    return use(std::type_identity<bool>());
  case Kind::String:
    return use(std::type_identity<String>());
  case Kind::Object:
    return use(std::type_identity<Object>());
  case Kind::Ptr:
    return use(std::type_identity<void *>());
  }
  misuse("a declared type of no kind");
}

template <bool ofInstance> struct Invocation {
  const Callee callee;
  std::span<const Type> types;
  std::span<const Value> arguments;

  // Takes the arguments one by one, as C values, behind those that are there already.
  template <class... C> Value with(C... ready) const {
    constexpr std::size_t kMost = 2;
    const std::size_t taken = types.size() - rest;
    if (rest == 0)
      return finish(ready...);
    if constexpr (sizeof...(C) == kMost + (ofInstance ? 1 : 0))
      misuse("%s.%s: more parameters than any other member has", callee.owner.name.c_str(),
             callee.name);
    else
      return withTypeOf(types[taken].kind, [&]<class T>(std::type_identity<T>) -> Value {
        if constexpr (std::is_void_v<T>) {
          misuse("%s: a parameter without a type", callee.name);
        } else {
          const T *const value = std::get_if<T>(&arguments[taken]);
          if (!value)
            misuse("%s.%s: argument %zu is not of its declared type", callee.owner.name.c_str(),
                   callee.name, taken + 1);
          const auto passed = detail::pass(*value);
          if constexpr (std::is_same_v<T, Object>)
            detail::checkInstance(callee, types[taken], passed.raw());
          return Invocation<ofInstance>{callee, types, arguments, rest - 1}.with(ready...,
                                                                                 passed.raw());
        }
      });
  }

  template <class... C> Value finish(C... ready) const {
    return withTypeOf(callee.result.kind, [&]<class R>(std::type_identity<R>) -> Value {
      if constexpr (std::is_void_v<R>)
        return detail::invoke<void>(callee, ready...), Value();
      else
        return detail::invoke<R>(callee, ready...);
    });
  }

  std::size_t rest; // arguments still to be taken
};

} // namespace

std::vector<Member> membersOf(const Class &type) {
  std::vector<Member> members;
  for (const Class *owner = &type; owner; owner = owner->super) {
    addMethods(members, *owner, owner->methods, Role::Method);
    for (const auto &[row, valueType] : owner->properties)
      members.push_back({owner, Role::Getter, row->name, row->getter, {}, valueType});
  }
  return members;
}

std::vector<Member> sharedMembers() {
  std::vector<Member> members;
  for (const Class *type : classes())
    if (type->registered)
      addMethods(members, *type, type->sharedMethods, Role::Shared);
  return members;
}

Value zeroOf(const Type &type) {
  return withTypeOf(type.kind, []<class T>(std::type_identity<T>) -> Value {
    if constexpr (std::is_void_v<T>)
      return {};
    else
      return T{};
  });
}

Value call(const Member &member, const Object &self, std::span<const Value> arguments) {
  const Callee callee{*member.owner, member.name.c_str(), member.function, member.parameters,
                      member.result};
  if (arguments.size() != member.parameters.size())
    misuse("%s.%s: called with %zu arguments, declared with %zu", member.owner->name.c_str(),
           callee.name, arguments.size(), member.parameters.size());
  if (member.role == Role::Shared)
    return Invocation<false>{callee, member.parameters, arguments, arguments.size()}.with();
  if (!isA(classOf(self.get(), callee.name), member.owner->name))
    misuse("%s.%s: called on a %s", member.owner->name.c_str(), callee.name,
           self.className().c_str());
  return Invocation<true>{callee, member.parameters, arguments, arguments.size()}.with(self.get());
}

std::string textOf(const Value &value) {
  std::ostringstream text;
  text << std::boolalpha;
  std::visit(
      [&]<class T>(const T &held) {
        if constexpr (std::is_same_v<T, std::monostate>)
          text << "nothing";
        else if constexpr (std::is_same_v<T, String>)
          text << (held ? '"' + std::string(held.text()) + '"' : "nil");
        else if constexpr (std::is_same_v<T, Object>)
          text << (held ? held.className() : "nil");
        else if constexpr (std::is_same_v<T, void *>)
          text << (held ? "pointer" : "nil");
        else
          text << held;
      },
      value);
  return text.str();
}

} // namespace host
