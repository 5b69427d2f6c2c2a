// The stand-in host as a program meets it: handles that own objects and strings, and calls by
// declaration. Every call is checked against its declaration, so that a wrong argument or result
// type ends the process with a message instead of reaching the plug-in.
//
//   host::Object p =
//       host::create("PythonParameters", "Constructor(parameterCount as Integer)", 2);
//   p.assign("IntegerValue(index as Integer) as Integer", 0, 7);
//   int seven = p.call<int>("IntegerValue(index as Integer) as Integer", 0);
//   int two = p.get<int>("Count");
//   bool found = host::callShared<bool>("Quillix", "PythonIsFound() as Boolean");
//
// Declared type        C++ argument                             C++ result (call<...>, get<...>)
// Integer              32-bit signed integer                    int, or std::intptr_t for the word
// Int32, UInt32        32-bit integer of that sign              the same
// Int64, UInt64        64-bit integer of that sign              the same
// Double               double                                   double
// Boolean              bool, or the byte as an unsigned char    bool, or unsigned char
//                      (with rubbish above), or a HostBoolean
// String               text, host::String, REALstring           std::string, host::String
// Object, any class    host::Object, REALobject, nullptr        host::Object
// Ptr                  any other pointer                        void *
#pragma once

#include "host/runtime/runtime.h"

#include <array>
#include <concepts>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace host {

// A set of declared types, one bit each.
using KindSet = unsigned;
constexpr KindSet only(Kind kind) { return 1u << static_cast<unsigned>(kind); }

// A host string, or nil. Owns one lock.
class String {
public:
  String() = default;
  // A new UTF-8 string of these bytes; of none, the host's empty string.
  explicit String(std::string_view bytes) : string_(newString(bytes)) {}
  String(const String &other) : string_(other.string_) { lock(string_); }
  String(String &&other) noexcept : string_(other.release()) {}
  String &operator=(String other) noexcept {
    std::swap(string_, other.string_);
    return *this;
  }
  ~String() { unlock(string_); }

  // Takes over a lock that the caller owns.
  static String adopt(REALstring string) {
    String result;
    result.string_ = string;
    return result;
  }
  // Takes a lock of its own.
  static String share(REALstring string) {
    lock(string);
    return adopt(string);
  }
  // An empty string that is not nil.
  static String emptyObject() { return adopt(newStringObject({})); }

  REALstring get() const { return string_; }                       // borrowed
  REALstring release() { return std::exchange(string_, nullptr); } // the caller unlocks it
  std::string_view text() const { return contents(string_); }      // while the string lives
  std::uint32_t encoding() const { return string_ ? string_->encoding : 0; }
  std::uint32_t locks() const { return string_ ? string_->locks : 0; }
  explicit operator bool() const { return string_ != nullptr; }
  bool operator==(const String &other) const = default; // the same string, not the same text

private:
  REALstring string_ = nullptr;
};

class Object;

// What is called or read, for the checks and their messages.
struct Callee {
  const Class &owner;
  const char *name; // the declaration, or the property's name
  HostFunction function;
  std::span<const Type> parameters;
  const Type &result;
};

// The members of a class or its super classes; a member that nobody registered is misuse.
Callee method(const Class &type, const char *declaration);
Callee setter(const Class &type, const char *declaration); // of an assignable method
Callee sharedMethod(const Class &type, const char *declaration);
Callee getter(const Class &type, const char *propertyName);

namespace detail {

template <class> inline constexpr bool kNever = false;

template <class T>
using FixedWidth =
    std::conditional_t<std::is_signed_v<T>,
                       std::conditional_t<sizeof(T) == 4, std::int32_t, std::int64_t>,
                       std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>;

template <class T>
concept Whole = std::integral<T> && !std::same_as<T, bool> && (sizeof(T) == 4 || sizeof(T) == 8);

// The declared types of a parameter for which a C type stands.
template <class C> constexpr KindSet kindsOfParameter() {
  if constexpr (std::is_same_v<C, double>)
    return only(Kind::Double);
  else if constexpr (std::is_same_v<C, REALboolean> || std::is_same_v<C, HostBoolean>)
    return only(Kind::Boolean);
  else if constexpr (std::is_same_v<C, REALstring>)
    return only(Kind::String);
  else if constexpr (std::is_same_v<C, REALobject>)
    return only(Kind::Object);
  else if constexpr (std::is_pointer_v<C>)
    return only(Kind::Ptr);
  else if constexpr (Whole<C> && std::is_signed_v<C>)
    return sizeof(C) == 4 ? only(Kind::Integer) | only(Kind::Int32) : only(Kind::Int64);
  else if constexpr (Whole<C>)
    return only(sizeof(C) == 4 ? Kind::UInt32 : Kind::UInt64);
  else
    static_assert(kNever<C>, "no declared type crosses as this C type");
}

// The same for a result: an Integer comes back as wide as the machine word.
template <class C> constexpr KindSet kindsOfResult() {
  if constexpr (std::is_void_v<C>)
    return only(Kind::None);
  else if constexpr (Whole<C> && std::is_signed_v<C>)
    return (sizeof(C) == sizeof(std::intptr_t) ? only(Kind::Integer) : 0) |
           only(sizeof(C) == 4 ? Kind::Int32 : Kind::Int64);
  else
    return kindsOfParameter<C>();
}

template <class F> struct CFunction;
template <class R, class... C> struct CFunction<R (*)(C...)> {
  static constexpr KindSet kResult = kindsOfResult<R>();
  static constexpr std::array<KindSet, sizeof...(C)> kParameters = {kindsOfParameter<C>()...};
};

// An argument on its way across: raw() is what the function receives.
template <class C> struct Passed {
  C value;
  C raw() const { return value; }
};
template <> struct Passed<String> {
  String value;
  REALstring raw() const { return value.get(); }
};

template <class T> auto pass(const T &value) {
  if constexpr (std::is_same_v<T, bool> || std::is_same_v<T, REALboolean>)
    return Passed<HostBoolean>{withRubbish(value)};
  else if constexpr (std::is_same_v<T, HostBoolean> || std::is_same_v<T, double> ||
                     std::is_same_v<T, REALstring> || std::is_same_v<T, REALobject>)
    return Passed<T>{value};
  else if constexpr (Whole<T>)
    return Passed<FixedWidth<T>>{static_cast<FixedWidth<T>>(value)};
  else if constexpr (std::is_null_pointer_v<T>)
    return Passed<REALobject>{nullptr};
  else if constexpr (std::is_same_v<T, Object>)
    return Passed<REALobject>{value.get()};
  else if constexpr (std::is_same_v<T, String>)
    return Passed<REALstring>{value.get()};
  else if constexpr (std::is_convertible_v<const T &, std::string_view>)
    return Passed<String>{String(value)};
  else if constexpr (std::is_function_v<std::remove_pointer_t<T>>)
    return Passed<void *>{reinterpret_cast<void *>(value)};
  else if constexpr (std::is_pointer_v<T>)
    return Passed<void *>{const_cast<void *>(static_cast<const void *>(value))};
  else
    static_assert(kNever<T>, "no declared type takes this argument");
}

struct Argument {
  KindSet fits;
  REALobject object; // an argument of a class must be an instance of it
};

template <class C> Argument describe(C raw) {
  if constexpr (std::is_same_v<C, REALobject>)
    return {kindsOfParameter<C>(), raw};
  else
    return {kindsOfParameter<C>(), nullptr};
}

// Misuse when they do not fit the declaration.
void checkArguments(const Callee &callee, std::span<const Argument> arguments);
void checkAssignment(const Callee &callee, std::span<const Argument> arguments); // value last
void checkResult(const Callee &callee, KindSet fits);
void checkInstance(const Callee &callee, const Type &declared, REALobject object);
void checkSignature(const Callee &callee, bool isSetter, bool ofInstance, KindSet result,
                    std::span<const KindSet> parameters);
[[noreturn]] void unfitResult(const Callee &callee, std::intmax_t value);

template <class C, class... A> C callAs(HostFunction function, A... arguments) {
  return reinterpret_cast<C (*)(A...)>(function)(arguments...);
}

// Calls with arguments that have been checked, and turns the result into an R.
template <class R, class... A> R invoke(const Callee &callee, A... arguments) {
  const HostFunction function = callee.function;
  if constexpr (std::is_void_v<R>) {
    checkResult(callee, only(Kind::None));
    callAs<void>(function, arguments...);
  } else if constexpr (std::is_same_v<R, bool>) {
    checkResult(callee, only(Kind::Boolean));
    const REALboolean value = callAs<REALboolean>(function, arguments...);
    if (value > 1)
      unfitResult(callee, value);
    return value != 0;
  } else if constexpr (std::is_same_v<R, String>) {
    checkResult(callee, only(Kind::String));
    return String::adopt(callAs<REALstring>(function, arguments...));
  } else if constexpr (std::is_same_v<R, std::string>) {
    return std::string(invoke<String>(callee, arguments...).text());
  } else if constexpr (std::is_same_v<R, Object>) {
    checkResult(callee, only(Kind::Object));
    const REALobject object = callAs<REALobject>(function, arguments...);
    checkInstance(callee, callee.result, object);
    return R::adopt(object);
  } else if constexpr (Whole<R>) {
    using C = FixedWidth<R>;
    if (callee.result.kind == Kind::Integer && std::is_signed_v<R>) {
      const std::intptr_t word = callAs<std::intptr_t>(function, arguments...);
      if (static_cast<std::intptr_t>(static_cast<R>(word)) != word)
        unfitResult(callee, word);
      return static_cast<R>(word);
    }
    checkResult(callee, kindsOfResult<C>());
    return static_cast<R>(callAs<C>(function, arguments...));
  } else {
    checkResult(callee, kindsOfResult<R>());
    return callAs<R>(function, arguments...);
  }
}

} // namespace detail

// A host object, or nil. Owns one lock.
class Object {
public:
  Object() = default;
  Object(std::nullptr_t) {}
  Object(const Object &other) : object_(other.object_) { lock(object_); }
  Object(Object &&other) noexcept : object_(other.release()) {}
  Object &operator=(Object other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Object() { unlock(object_); }

  // Takes over a lock that the caller owns.
  static Object adopt(REALobject object) {
    Object result;
    result.object_ = object;
    return result;
  }
  // Takes a lock of its own.
  static Object share(REALobject object) {
    lock(object);
    return adopt(object);
  }

  REALobject get() const { return object_; }                       // borrowed
  REALobject release() { return std::exchange(object_, nullptr); } // the caller unlocks it
  explicit operator bool() const { return object_ != nullptr; }
  bool operator==(const Object &other) const = default;

  const Class &type() const { return classOf(object_, "using an object"); }
  const std::string &className() const { return type().name; }
  std::uint32_t locks() const { return object_ ? object_->locks : 0; }

  // Calls a method.
  template <class R = void, class... A>
  R call(const char *declaration, const A &...arguments) const {
    const Callee callee = method(type(), declaration);
    return std::apply(
        [&](const auto &...passed) {
          detail::checkArguments(callee, std::array<detail::Argument, sizeof...(A)>{
                                             detail::describe(passed.raw())...});
          return detail::invoke<R>(callee, object_, passed.raw()...);
        },
        std::tuple(detail::pass(arguments)...));
  }

  // Assigns to an assignable method: its parameters, then the value.
  template <class... A> void assign(const char *declaration, const A &...argumentsAndValue) const {
    const Callee callee = setter(type(), declaration);
    std::apply(
        [&](const auto &...passed) {
          detail::checkAssignment(callee, std::array<detail::Argument, sizeof...(A)>{
                                              detail::describe(passed.raw())...});
          detail::callAs<void>(callee.function, object_, passed.raw()...);
        },
        std::tuple(detail::pass(argumentsAndValue)...));
  }

  // Reads a property.
  template <class R> R get(const char *propertyName) const {
    return detail::invoke<R>(getter(type(), propertyName), object_);
  }

private:
  REALobject object_ = nullptr;
};

// `New X`, without a constructor row.
Object create(std::string_view className);

// `New X(...)`: the class constructors, then the constructor row of that declaration.
template <class... A>
Object create(std::string_view className, const char *declaration, const A &...arguments) {
  Object object = create(className);
  object.call(declaration, arguments...);
  return object;
}

// Calls a shared method of a class.
template <class R = void, class... A>
R callShared(std::string_view className, const char *declaration, const A &...arguments) {
  const Callee callee = sharedMethod(requireClass(className), declaration);
  return std::apply(
      [&](const auto &...passed) {
        detail::checkArguments(
            callee, std::array<detail::Argument, sizeof...(A)>{detail::describe(passed.raw())...});
        return detail::invoke<R>(callee, passed.raw()...);
      },
      std::tuple(detail::pass(arguments)...));
}

// The plain functions, for measurements and for calls without these checks. F is the function
// pointer's type, which must fit the declaration:
//   find<std::intptr_t (*)(REALobject, std::int32_t)>("PythonParameters", "IntegerValue(...")
template <class F> F findFunction(const Callee &callee, bool isSetter, bool ofInstance) {
  using Function = detail::CFunction<F>;
  detail::checkSignature(callee, isSetter, ofInstance, Function::kResult, Function::kParameters);
  return reinterpret_cast<F>(callee.function);
}
template <class F> F find(std::string_view className, const char *declaration) {
  return findFunction<F>(method(requireClass(className), declaration), false, true);
}
template <class F> F findSetter(std::string_view className, const char *declaration) {
  return findFunction<F>(setter(requireClass(className), declaration), true, true);
}
template <class F> F findShared(std::string_view className, const char *declaration) {
  return findFunction<F>(sharedMethod(requireClass(className), declaration), false, false);
}
template <class F> F findGetter(std::string_view className, const char *propertyName) {
  return findFunction<F>(getter(requireClass(className), propertyName), false, true);
}

// A FolderItem of that path.
Object newFolderItem(std::string_view path);

// Event handlers. One that is attached to an instance goes before one of its class; attaching
// another replaces it. A plug-in that has asked for a handler before may keep the old one.
using TextHandler = void (*)(REALobject, REALstring);
void attachHandler(const Object &object, const char *declaration, TextHandler handler);
void implementEvent(std::string_view className, const char *declaration, TextHandler handler);

// Handles "ConsoleOutput(output as String)" of one QuillixConsoleOutput. May be called again, also
// by a handler that runs; an empty function ignores the text.
void onConsoleOutput(const Object &object, std::function<void(std::string_view)> handler);

// Called once, when the last lock has gone, before the class destructors run.
void onDestroyed(const Object &object, std::function<void()> hook);

} // namespace host
