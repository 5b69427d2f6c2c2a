// Rows of declaration tables, held against the functions behind them by the compiler.
//
// A declaration string is what users of the plug-in see; the C++ function is what runs. Each row
// function takes both, works out from the string how every parameter and the result cross the
// boundary, and refuses to compile when the function's type says anything else:
//
//   method<"IntegerValue(index as Integer) as Integer", getItem<Integer>, setItem<Integer>>()
//
// A function receives the instance (unless the method is shared), then the declared parameters.
// A setter returns nothing and receives the assigned value last.
#pragma once

#include <string_view>
#include <type_traits>

#include "boundary/records.h"

namespace declare {

// A string as a template argument.
template <std::size_t N> struct Text {
  char chars[N];
  consteval Text(const char (&text)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
      chars[i] = text[i];
    }
  }
};

// How a value crosses: its kind and its size in bytes. Integer types of one size and sign are the
// same carrier, whatever the platform calls them.
struct Carrier {
  enum Kind : unsigned char { None, Signed, Unsigned, Boolean, Double, String, Object, Pointer };
  Kind kind = None;
  std::size_t size = 0;
  constexpr bool operator==(const Carrier &) const = default;
};

struct Signature {
  static constexpr std::size_t kMost = 8;
  Carrier parameters[kMost];
  std::size_t count = 0;
  Carrier result;
  bool valid = true;

  constexpr void add(Carrier carrier) {
    valid = valid && count < kMost;
    if (valid) {
      parameters[count++] = carrier;
    }
  }
  constexpr bool operator==(const Signature &) const = default;
};

template <class T> consteval Carrier carrierOf() {
  if constexpr (std::is_void_v<T>) {
    return {};
  } else if constexpr (std::is_same_v<T, REALboolean> || std::is_same_v<T, HostBoolean>) {
    return {Carrier::Boolean, sizeof(T)};
  } else if constexpr (std::is_same_v<T, double>) {
    return {Carrier::Double, sizeof(T)};
  } else if constexpr (std::is_same_v<T, REALstring>) {
    return {Carrier::String, sizeof(T)};
  } else if constexpr (std::is_same_v<T, REALobject>) {
    return {Carrier::Object, sizeof(T)};
  } else if constexpr (std::is_same_v<T, void *>) {
    return {Carrier::Pointer, sizeof(T)};
  } else {
    static_assert(std::is_integral_v<T> && sizeof(T) >= 4, "no declared type crosses as this");
    constexpr bool isSigned = std::is_signed_v<T>;
    return {isSigned ? Carrier::Signed : Carrier::Unsigned, sizeof(T)};
  }
}

enum class Place { Parameter, Result };

// Any name that is not a value type of the host is a class name.
consteval Carrier carrierOf(std::string_view type, Place place) {
  if (type == "Integer") {
    return {Carrier::Signed, place == Place::Result ? sizeof(std::intptr_t) : 4};
  }
  if (type == "Int32") {
    return carrierOf<std::int32_t>();
  }
  if (type == "UInt32") {
    return carrierOf<std::uint32_t>();
  }
  if (type == "Int64") {
    return carrierOf<std::int64_t>();
  }
  if (type == "UInt64") {
    return carrierOf<std::uint64_t>();
  }
  if (type == "Double") {
    return carrierOf<double>();
  }
  if (type == "Boolean") {
    return place == Place::Result ? carrierOf<REALboolean>() : carrierOf<HostBoolean>();
  }
  if (type == "String") {
    return carrierOf<REALstring>();
  }
  if (type == "Ptr") {
    return carrierOf<void *>();
  }
  return carrierOf<REALobject>();
}

// Reads a declaration left to right; anything out of shape makes it invalid for good.
class Reader {
public:
  explicit consteval Reader(std::string_view text) : rest_(text) {}

  consteval bool accept(std::string_view token) {
    if (!rest_.starts_with(token)) {
      return false;
    }
    rest_.remove_prefix(token.size());
    return true;
  }
  consteval void expect(std::string_view token) { valid_ = accept(token) && valid_; }

  consteval std::string_view identifier() {
    std::size_t length = 0;
    while (length < rest_.size() && isIdentifierPart(rest_[length], length)) {
      ++length;
    }
    valid_ = length > 0 && valid_;
    std::string_view name = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return name;
  }

  consteval long number() {
    long value = 0;
    valid_ = !rest_.empty() && valid_;
    for (; !rest_.empty(); rest_.remove_prefix(1)) {
      valid_ = rest_[0] >= '0' && rest_[0] <= '9' && valid_;
      value = value * 10 + (rest_[0] - '0');
    }
    return value;
  }

  consteval bool finished() const { return valid_ && rest_.empty(); }

private:
  static consteval bool isIdentifierPart(char c, std::size_t position) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           (position > 0 && c >= '0' && c <= '9');
  }

  std::string_view rest_;
  bool valid_ = true;
};

// "Name(first as Type, second as Type) as Type"; the result may be missing.
consteval Signature signatureOf(std::string_view declaration) {
  Signature signature;
  Reader reader(declaration);
  reader.identifier();
  reader.expect("(");
  if (!reader.accept(")")) {
    do {
      reader.identifier();
      reader.expect(" as ");
      signature.add(carrierOf(reader.identifier(), Place::Parameter));
    } while (reader.accept(", "));
    reader.expect(")");
  }
  if (reader.accept(" as ")) {
    signature.result = carrierOf(reader.identifier(), Place::Result);
  }
  signature.valid = signature.valid && reader.finished();
  return signature;
}

template <class Result, class... Parameters>
consteval Signature signatureOf(Result (*)(Parameters...)) {
  Signature signature;
  (signature.add(carrierOf<Parameters>()), ...);
  signature.result = carrierOf<Result>();
  return signature;
}

// The declared signature with the instance in front.
consteval Signature onInstance(const Signature &declared) {
  Signature signature;
  signature.add(carrierOf<REALobject>());
  for (std::size_t i = 0; i < declared.count; ++i) {
    signature.add(declared.parameters[i]);
  }
  signature.result = declared.result;
  signature.valid = signature.valid && declared.valid;
  return signature;
}

// The signature of the setter that goes with an assignable declaration. A value is assigned as a
// parameter, so a declared Integer is 32 bits wide here.
consteval Signature assigning(const Signature &declared, std::string_view declaration) {
  Signature signature = onInstance(declared);
  std::string_view type = declaration.substr(declaration.rfind(' ') + 1);
  signature.add(carrierOf(type, Place::Parameter));
  signature.result = {};
  return signature;
}

template <Text text> consteval std::string_view view() {
  return {text.chars, sizeof(text.chars) - 1};
}

// A declaration outlives its row: a template argument object has static storage.
template <Text text> constexpr const char *chars() { return text.chars; }

template <class Function> HostFunction asHostFunction(Function *function) {
  return reinterpret_cast<HostFunction>(function);
}

// A method of an instance; with a setter, an assignable one.
template <Text declaration, auto function, auto setter = nullptr>
REALmethodDefinition method(HostWord flags = kPublicMember) {
  constexpr Signature declared = signatureOf(view<declaration>());
  static_assert(declared.valid, "the declaration is not well formed");
  static_assert(signatureOf(function) == onInstance(declared),
                "the declaration does not fit its function");
  HostFunction assign = nullptr;
  if constexpr (!std::is_same_v<decltype(setter), std::nullptr_t>) {
    static_assert(signatureOf(setter) == assigning(declared, view<declaration>()),
                  "the declaration does not fit its setter");
    assign = asHostFunction(setter);
  }
  return {asHostFunction(function), assign, chars<declaration>(), flags, {}};
}

// A method of the class itself.
template <Text declaration, auto function> REALmethodDefinition sharedMethod() {
  constexpr Signature declared = signatureOf(view<declaration>());
  static_assert(declared.valid, "the declaration is not well formed");
  static_assert(signatureOf(function) == declared, "the declaration does not fit its function");
  return {asHostFunction(function), nullptr, chars<declaration>(), kPublicMember, {}};
}

// A read-only property.
template <Text name, Text type, auto getter> REALproperty property() {
  constexpr Signature actual = signatureOf(getter);
  static_assert(actual.count == 1 && actual.parameters[0] == carrierOf<REALobject>(),
                "a property getter receives the instance");
  static_assert(actual.result == carrierOf(view<type>(), Place::Result),
                "the property's type does not fit its getter");
  return {0, chars<name>(), chars<type>(), kPublicMember, asHostFunction(getter), nullptr, {}};
}

// An event whose handlers have the C type Handler.
template <Text declaration, class Handler> consteval REALevent event() {
  constexpr Signature declared = signatureOf(view<declaration>());
  static_assert(declared.valid, "the declaration is not well formed");
  static_assert(signatureOf(static_cast<Handler *>(nullptr)) == onInstance(declared),
                "the declaration does not fit the event's handlers");
  return {chars<declaration>(), 0, {}};
}

// Whether a declaration reads "NAME = value" with that value.
consteval bool saysValue(std::string_view declaration, long value) {
  Reader reader(declaration);
  reader.identifier();
  reader.expect(" = ");
  return reader.number() == value && reader.finished();
}

// A constant, held against the value that the code uses.
template <Text declaration, long value> consteval REALconstant constant() {
  static_assert(saysValue(view<declaration>(), value),
                "the declaration does not say the constant's value");
  return {chars<declaration>(), {}};
}

} // namespace declare
