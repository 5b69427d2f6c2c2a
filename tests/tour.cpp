#include "tests/tour.h"

#include <gtest/gtest.h>

using host::Kind;

namespace {

host::Object make(const std::string &type) {
  return type == "FolderItem" ? host::newFolderItem("/nowhere") : host::create(type);
}

// Hands over the zero value of the C type in which a declared type crosses.
template <class Use> void withTypeOf(Kind kind, Use use) {
  switch (kind) {
  case Kind::UInt32:
    return use(std::uint32_t{});
  case Kind::Int64:
    return use(std::int64_t{});
  case Kind::UInt64:
    return use(std::uint64_t{});
  case Kind::Double:
    return use(double{});
  case Kind::Boolean:
    return use(REALboolean{});
  case Kind::String:
    return use(REALstring{});
  case Kind::Object:
    return use(REALobject{});
  case Kind::Ptr:
    return use(static_cast<void *>(nullptr));
  default:
    return use(std::int32_t{});
  }
}

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

  // Hands it over in its own type.
  template <class Use> void give(Use use) const {
    withTypeOf(kind, [&]<class C>(C) {
      if constexpr (std::is_same_v<C, REALstring>)
        use(string.get());
      else if constexpr (std::is_same_v<C, REALobject>)
        use(object.get());
      else if constexpr (std::is_pointer_v<C>)
        use(C{});
      else
        use(static_cast<C>(1.5));
    });
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
  bool answered = false;
  if (result == Kind::None)
    host::detail::callAs<void>(function, arguments...);
  else if (result == Kind::Integer)
    answered = answersAs<std::intptr_t>(function, take, arguments...);
  else
    withTypeOf(result, [&]<class R>(R) { answered = answersAs<R>(function, take, arguments...); });
  return answered;
}

// Appends the arguments in their C types, then calls.
template <class... Self>
bool answersWith(HostFunction function, std::span<const Argument> arguments, Kind result,
                 void (*take)(void *), Self... self) {
  bool answered = false;
  if (arguments.empty())
    return answers(function, result, take, self...);
  if (arguments.size() == 1)
    arguments[0].give([&](auto a) { answered = answers(function, result, take, self..., a); });
  else if (arguments.size() == 2 && result == Kind::None)
    arguments[0].give([&](auto a) {
      arguments[1].give([&](auto b) { host::detail::callAs<void>(function, self..., a, b); });
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
