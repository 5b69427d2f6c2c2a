// Every member of the plug-in's classes, called with nothing of Python's behind it.
#pragma once

#include "tests/support.h"

// Calls members with arguments of the declared types, and expects of each what an operation gives
// that has nothing to work on: the zero value, and of DeleteAttribute -1.
class Sweep {
public:
  // Every shared method except those that start the interpreter.
  void sharedMethods() {
    for (const host::Class *type : host::classes())
      for (const auto &[row, signature] : type->sharedMethods)
        if (signature.name != "Init")
          run(type->name + "." + signature.name, row->function, signature.parameters,
              signature.result.kind);
  }

  // Every method and property of the object, except what gives it something new to work on, and
  // what it knows without Python: its name and its owner.
  void members(const host::Object &object) {
    for (const host::Class *type = &object.type(); type; type = type->super) {
      for (const auto &[row, signature] : type->methods) {
        const std::string name = type->name + "." + signature.name;
        std::vector<host::Type> types = signature.parameters;
        if (signature.name == "Constructor" || name == "PythonList.Clear")
          continue;
        run(name, row->function, types, signature.result.kind, object.get());
        types.push_back(signature.result);
        if (row->setter)
          run(name + " =", row->setter, types, host::Kind::None, object.get());
      }
      for (const auto &[row, result] : type->properties)
        if (row->name != std::string_view("Name") && row->name != std::string_view("OwnerModule"))
          run(type->name + "." + row->name, row->getter, {}, result.kind, object.get());
    }
  }

  // A bare object of every class of the plug-in and, if wanted, one by every constructor.
  void newObjects(bool constructed) {
    for (const host::Class *type : host::classes()) {
      if (type->registered)
        members(host::create(type->name));
      for (const auto &[row, signature] : type->methods)
        if (constructed && signature.name == "Constructor") {
          const host::Object object = host::create(type->name);
          run(type->name, row->function, signature.parameters, host::Kind::None, object.get());
          members(object);
        }
    }
  }

  int calls = 0;

private:
  template <class... Self>
  void run(const std::string &name, HostFunction function, const std::vector<host::Type> &types,
           host::Kind result, Self... self) {
    ++calls;
    addArguments(
        types,
        [&](auto... arguments) {
          withType(result, [&]<class R>() {
            const auto call = [&] { return host::detail::callAs<R>(function, arguments...); };
            if constexpr (std::is_void_v<R>)
              call();
            else if constexpr (std::is_pointer_v<R>)
              EXPECT_EQ(call(), nullptr) << name;
            else if (name == "Quillix.PythonIsFound")
              EXPECT_EQ(call(), R{1}) << name;
            else if (name.ends_with(".DeleteAttribute"))
              EXPECT_EQ(call(), static_cast<R>(-1)) << name;
            else
              EXPECT_EQ(call(), R{}) << name;
          });
        },
        self...);
  }

  // Adds the arguments one by one: the name "x", an object of the class asked for, or zero.
  template <class F, class... A>
  void addArguments(std::span<const host::Type> types, F call, A... arguments) {
    if (types.empty())
      return call(arguments...);
    const auto add = [&](auto a) { addArguments(types.subspan(1), call, arguments..., a); };
    const host::Kind kind = types[0].kind;
    if constexpr (sizeof...(A) == 3)
      FAIL() << "a member with more parameters than any other";
    else
      withType(kind == host::Kind::Integer ? host::Kind::Int32 : kind, [&]<class T>() {
        if constexpr (std::is_same_v<T, REALstring>)
          add(name_.get());
        else if constexpr (std::is_same_v<T, REALobject>)
          add(given_.emplace_back(host::create(types[0].name)).get());
        else if constexpr (!std::is_void_v<T>)
          add(T{});
      });
  }

  // Gives `use` the C type of a result of that declared type.
  template <class F> static void withType(host::Kind kind, F use) {
    using Types = std::tuple<void, std::intptr_t, std::int32_t, std::uint32_t, std::int64_t,
                             std::uint64_t, double, REALboolean, REALstring, REALobject, void *>;
    [&]<std::size_t... I>(std::index_sequence<I...>) {
      (..., (kind == host::Kind(I) ? use.template operator()<std::tuple_element_t<I, Types>>()
                                   : void()));
    }
    (std::make_index_sequence<std::tuple_size_v<Types>>());
  }

  host::String name_{"x"};
  std::vector<host::Object> given_;
};
