// Values of the host's language as a script computes with them, and what the language itself offers
// on them.
#pragma once

#include "host/runtime/member.h"

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace script {

// What is wrong with a script. Line 0 stands for the line that is being run.
struct Error : std::runtime_error {
  explicit Error(const std::string &message, int where = 0)
      : std::runtime_error(message), line(where) {}
  int line;
};

// What the host raises an exception of its own for, which a script can catch.
struct Fault : Error {
  Fault(const char *name, const std::string &message) : Error(message), className(name) {}
  const char *className;
};

// Names are compared without regard to the case of letters, and so are texts.
bool same(std::string_view a, std::string_view b);
std::string lower(std::string_view text); // of ASCII letters

// A declared type. Integer is Int64, as in a 64-bit host.
struct Type {
  host::Kind kind = host::Kind::None;
  const host::Class *type = nullptr; // of an Object; null for Nil, which is of every class
  bool isArray = false;
  bool operator==(const Type &other) const = default;
};

const host::Class *findClass(std::string_view name);
Type typeNamed(const std::string &name); // an unknown name is an Error
Type typeOf(const host::Type &declared); // by a plug-in
std::string nameOf(const Type &type);

struct Array;

// Goes with the type under which an expression is known, as the compiler would know it.
struct Value {
  Type type;
  std::variant<std::monostate, std::int64_t, double, bool, std::string, host::Object, void *,
               std::shared_ptr<Array>>
      data; // an integer of any type is kept in 64 bits

  std::int64_t integer() const { return std::get<std::int64_t>(data); }
  double real() const { return std::get<double>(data); }
  bool truth() const { return std::get<bool>(data); }
  const std::string &text() const { return std::get<std::string>(data); }
  const host::Object &object() const { return std::get<host::Object>(data); }
  Array &array() const { return *std::get<std::shared_ptr<Array>>(data); }
};

struct Array {
  Type element;
  std::vector<Value> items;
};

Value integer(std::int64_t value);
Value real(double value);
Value boolean(bool value);
Value text(std::string value);
Value object(const host::Object &value, const host::Class *type);
Value array(const Type &element, std::vector<Value> items);
Value nil();
Value zeroOf(const Type &type);

// How well a value of one type serves where the other is asked for, 0 being best; negative when it
// does not without a cast.
int costOf(const Type &from, const Type &to);
Value convert(const Value &value, const Type &to); // an Error when it does not serve

host::Value toHost(const Value &value, const host::Type &declared);
Value fromHost(const host::Value &value, const host::Type &declared);

using Arguments = std::span<const Value>;

Value unary(std::string_view operation, const Value &operand);
Value binary(std::string_view operation, const Value &left, const Value &right);

Value &itemOf(const Value &array, Arguments arguments);

// What a plain value or an array offers, such as Length or Add.
Value callMember(const Value &self, std::string_view name, Arguments arguments);

// The language's own functions, such as Chr or String.FromArray.
bool isFunction(std::string_view name);
Value callFunction(std::string_view name, Arguments arguments);

} // namespace script
