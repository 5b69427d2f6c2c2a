#include "tests/tour.h"

#include <gtest/gtest.h>

using host::Kind;

namespace {

host::Object make(const std::string &type) {
  return type == "FolderItem" ? host::newFolderItem("/nowhere") : host::create(type);
}

// An argument in each of the C types in which it could cross.
struct Argument {
  Kind kind;
  host::Object object;
  host::String string;

  Argument(const host::Type &type, bool nil) : kind(type.kind) {
    if (!nil && kind == Kind::Object)
      object = make(type.name);
    if (!nil && kind == Kind::String)
      string = host::String("name");
  }

  // Hands it over in its own type. Where two parameters are declared, the first one is a key.
  template <class Use> void asKey(Use use) const {
    if (kind == Kind::String)
      use(string.get());
    else if (kind == Kind::Object)
      use(object.get());
    else
      use(std::int32_t{1});
  }
  template <class Use> void asValue(Use use) const {
    switch (kind) {
    case Kind::UInt32:
      return use(std::uint32_t{1});
    case Kind::Int64:
      return use(std::int64_t{1});
    case Kind::UInt64:
      return use(std::uint64_t{1});
    case Kind::Double:
      return use(1.5);
    case Kind::Boolean:
      return use(REALboolean{1});
    case Kind::Ptr:
      return use(static_cast<void *>(nullptr));
    default:
      return asKey(use);
    }
  }
};

// Calls, and says whether the result was more than the zero value.
template <class R, class... A>
bool answersAs(HostFunction function, void (*takePointer)(void *), A... arguments) {
  const R result = host::detail::callAs<R>(function, arguments...);
  if constexpr (requires { host::unlock(result); })
    host::unlock(result);
  else if constexpr (std::is_pointer_v<R>)
    if (result && takePointer)
      takePointer(result);
  return result != R{};
}

template <class... A>
bool answers(HostFunction function, Kind result, void (*take)(void *), A... arguments) {
  switch (result) {
  case Kind::None:
    host::detail::callAs<void>(function, arguments...);
    return false;
  case Kind::Integer:
    return answersAs<std::intptr_t>(function, take, arguments...);
  case Kind::Int64:
    return answersAs<std::int64_t>(function, take, arguments...);
  case Kind::UInt64:
    return answersAs<std::uint64_t>(function, take, arguments...);
  case Kind::Double:
    return answersAs<double>(function, take, arguments...);
  case Kind::Boolean:
    return answersAs<REALboolean>(function, take, arguments...);
  case Kind::String:
    return answersAs<REALstring>(function, take, arguments...);
  case Kind::Object:
    return answersAs<REALobject>(function, take, arguments...);
  case Kind::Ptr:
    return answersAs<void *>(function, take, arguments...);
  default:
    return answersAs<std::int32_t>(function, take, arguments...);
  }
}

// Appends the arguments in their C types, then calls.
template <class... Self>
bool answersWith(HostFunction function, std::span<const Argument> arguments, Kind result,
                 void (*take)(void *), Self... self) {
  bool answered = false;
  if (arguments.empty())
    return answers(function, result, take, self...);
  if (arguments.size() == 1)
    arguments[0].asValue([&](auto a) { answered = answers(function, result, take, self..., a); });
  else if (arguments.size() == 2 && result == Kind::None)
    arguments[0].asKey([&](auto a) {
      arguments[1].asValue([&](auto b) { host::detail::callAs<void>(function, self..., a, b); });
    });
  else
    ADD_FAILURE() << "no such member was thought of";
  return answered;
}

} // namespace

void Tour::visitClasses() {
  for (const host::Class *type : host::classes()) {
    if (!type->registered)
      continue;
    visit(make(type->name));
    for (const auto &[row, signature] : type->sharedMethods)
      call(row->declaration, row->function, signature.parameters, signature.result, nullptr);
  }
  host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", nullptr);
}

void Tour::visit(const host::Object &instance) {
  for (const host::Class *type = &instance.type(); type; type = type->super) {
    for (const auto &[row, signature] : type->methods) {
      std::vector<host::Type> types = signature.parameters;
      call(row->declaration, row->function, types, signature.result, instance.get());
      types.push_back(signature.result);
      if (row->setter)
        call(row->declaration, row->setter, types, host::Type(), instance.get());
    }
    for (const auto &[row, valueType] : type->properties)
      call(row->name, row->getter, {}, valueType, instance.get());
  }
}

void Tour::call(const char *name, HostFunction function, std::span<const host::Type> parameters,
                const host::Type &result, REALobject self) {
  if (wanted && !wanted(name))
    return;
  ++calls;
  std::vector<Argument> arguments;
  for (const host::Type &type : parameters)
    arguments.emplace_back(type, nil_);
  if (self ? answersWith(function, arguments, result.kind, takePointer, self)
           : answersWith(function, arguments, result.kind, takePointer))
    answers.emplace_back(name);
}
