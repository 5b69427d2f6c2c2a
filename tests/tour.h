// Calls every member that a plug-in registered, for promises that hold of all of them alike.
#pragma once

#include "host/call.h"

#include <string>
#include <vector>

class Tour {
public:
  // Strings and objects as arguments are all nil, or one of each.
  explicit Tour(bool nilArguments) : nil_(nilArguments) {}

  // Every class, on a bare instance and on the class itself.
  void visitClasses() {
    for (const host::Class *type : host::classes()) {
      if (!type->registered)
        continue;
      visit(make(type->name));
      for (const auto &[row, signature] : type->sharedMethods)
        call(row->declaration, row->function, signature.parameters, signature.result);
    }
    host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", nullptr);
  }

  // One instance: the methods in table order, constructors first, then the getters.
  void visit(const host::Object &instance) {
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

  std::vector<std::string> answers;      // members whose result was not the zero value
  void (*takePointer)(void *) = nullptr; // takes over the reference that a Ptr result is

private:
  static host::Object make(const std::string &type) {
    return type == "FolderItem" ? host::newFolderItem("/nowhere") : host::create(type);
  }

  // Appends an argument for each declared parameter that is left, then calls.
  template <int most = 2, class... Passed>
  void call(const char *name, HostFunction function, std::span<const host::Type> left,
            const host::Type &result, Passed... passed) {
    if (left.empty())
      return finish(name, function, result, passed...);
    if constexpr (most > 0)
      withValue(left.front(), [&](auto argument) {
        call<most - 1>(name, function, left.subspan(1), result, passed..., argument);
      });
    else
      host::misuse("%s takes more than the tour has", name);
  }

  template <class... Passed>
  void finish(const char *name, HostFunction function, const host::Type &type, Passed... passed) {
    if (type.kind == host::Kind::None)
      return host::detail::callAs<void>(function, passed...);
    withValue(type, [&](auto like) {
      const auto result = host::detail::callAs<decltype(like)>(function, passed...);
      if (result != decltype(like){})
        answers.emplace_back(name);
      if constexpr (requires { host::unlock(result); })
        host::unlock(result);
      else if constexpr (std::is_pointer_v<decltype(like)>)
        if (result && takePointer)
          takePointer(result);
    });
  }

  // Hands over a value of the C type in which values of the declared type cross.
  template <class Use> void withValue(const host::Type &type, Use use) {
    const bool isObject = type.kind == host::Kind::Object;
    const host::Object object = isObject && !nil_ ? make(type.name) : nullptr;
    const host::String string(nil_ ? "" : "name");
    const auto offer = [&](auto value) {
      if (host::detail::kindsOfParameter<decltype(value)>() & host::only(type.kind))
        use(value);
    };
    [&](auto... values) {
      (offer(values), ...);
    }(std::int32_t{1}, std::uint32_t{1}, std::int64_t{1}, std::uint64_t{1}, 1.5, REALboolean{1},
      string.get(), object.get(), static_cast<void *>(nullptr));
  }

  const bool nil_;
};
