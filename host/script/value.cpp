#include "host/script/value.h"

#include "host/runtime/builtins.h"
#include "host/runtime/call.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace script {
namespace {

using host::Kind;

bool isInteger(const Type &type) {
  return !type.isArray && (type.kind == Kind::Int32 || type.kind == Kind::UInt32 ||
                           type.kind == Kind::Int64 || type.kind == Kind::UInt64);
}
bool isDouble(const Type &type) { return !type.isArray && type.kind == Kind::Double; }
bool isNumber(const Type &type) { return isInteger(type) || isDouble(type); }
bool isMemory(const Type &type) {
  return !type.isArray && type.kind == Kind::Object && type.type &&
         type.type->name == "MemoryBlock";
}
bool is(const Value &value, Kind kind) { return !value.type.isArray && value.type.kind == kind; }

double asDouble(const Value &value) {
  if (isDouble(value.type))
    return value.real();
  return value.type.kind == Kind::UInt64
             ? static_cast<double>(static_cast<std::uint64_t>(value.integer()))
             : static_cast<double>(value.integer());
}

// Towards zero; what is out of reach becomes the nearest end.
std::int64_t truncated(double value, Kind kind = Kind::Int64) {
  constexpr double kLimit = 9223372036854775808.0; // 2 to the 63rd
  if (std::isnan(value))
    return 0;
  if (kind == Kind::UInt64 && value >= kLimit)
    return value < 2 * kLimit ? static_cast<std::int64_t>(static_cast<std::uint64_t>(value)) : -1;
  if (value >= kLimit)
    return INT64_MAX;
  return value <= -kLimit ? INT64_MIN : static_cast<std::int64_t>(value);
}

// The bits that an integer type keeps.
std::int64_t wrapped(std::int64_t value, Kind kind) {
  if (kind == Kind::Int32)
    return static_cast<std::int32_t>(value);
  return kind == Kind::UInt32 ? static_cast<std::uint32_t>(value) : value;
}

// Steps from a class to one that it inherits from; negative when it does not.
int distance(const host::Class *from, const host::Class *to) {
  for (int steps = 0; from; ++steps, from = from->super)
    if (from == to)
      return steps;
  constexpr int kFar = 100;
  return to->name == "Object" ? kFar : -1;
}

[[noreturn]] void mismatch(std::string_view operation, const Value &left, const Value &right) {
  throw Error("\"" + std::string(operation) + "\" does not go with " + nameOf(left.type) + " and " +
              nameOf(right.type));
}

template <class T> bool compare(std::string_view operation, const T &a, const T &b) {
  if (operation == "=")
    return a == b;
  if (operation == "<>")
    return a != b;
  if (operation == "<")
    return a < b;
  if (operation == "<=")
    return a <= b;
  return operation == ">" ? a > b : a >= b;
}

Value realResult(std::string_view operation, double a, double b) {
  if (operation == "+")
    return real(a + b);
  if (operation == "-")
    return real(a - b);
  if (operation == "*")
    return real(a * b);
  if (operation == "/")
    return real(a / b);
  if (operation == "^")
    return real(std::pow(a, b));
  if (operation == "mod")
    return real(std::fmod(a, b));
  return integer(truncated(a / b));
}

// Overflow wraps around.
template <class T> T integerResult(std::string_view operation, T a, T b) {
  const auto left = static_cast<std::uint64_t>(a);
  const auto right = static_cast<std::uint64_t>(b);
  if (operation == "+")
    return static_cast<T>(left + right);
  if (operation == "-")
    return static_cast<T>(left - right);
  if (operation == "*")
    return static_cast<T>(left * right);
  if (operation == "and")
    return a & b;
  if (operation == "or")
    return a | b;
  if (operation == "xor")
    return a ^ b;
  if (b == 0)
    throw Error("a division by zero");
  if (right == UINT64_MAX && std::is_signed_v<T>) // the smallest integer has no opposite
    return operation == "mod" ? T{0} : static_cast<T>(0 - left);
  return operation == "mod" ? a % b : a / b;
}

bool isComparison(std::string_view operation) {
  return operation.find_first_of("<>=") != std::string_view::npos;
}

Value numberResult(std::string_view operation, const Value &left, const Value &right) {
  if (isDouble(left.type) || isDouble(right.type) || operation == "/" || operation == "^") {
    if (isComparison(operation))
      return boolean(compare(operation, asDouble(left), asDouble(right)));
    return realResult(operation, asDouble(left), asDouble(right));
  }
  const std::int64_t a = left.integer();
  const std::int64_t b = right.integer();
  if (left.type.kind != Kind::UInt64 && right.type.kind != Kind::UInt64)
    return isComparison(operation) ? boolean(compare(operation, a, b))
                                   : integer(integerResult(operation, a, b));
  const auto x = static_cast<std::uint64_t>(a);
  const auto y = static_cast<std::uint64_t>(b);
  if (isComparison(operation))
    return boolean(compare(operation, x, y));
  return {{Kind::UInt64}, static_cast<std::int64_t>(integerResult(operation, x, y))};
}

} // namespace

std::string lower(std::string_view text) {
  std::string result(text);
  for (char &c : result)
    if (c >= 'A' && c <= 'Z')
      c = static_cast<char>(c - 'A' + 'a');
  return result;
}

bool same(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return x == y || lower({&x, 1}) == lower({&y, 1});
         });
}

// --- types ---------------------------------------------------------------------------------------

const host::Class *findClass(std::string_view name) {
  for (const host::Class *type : host::classes())
    if (same(type->name, name))
      return type;
  return nullptr;
}

Type typeOf(const host::Type &declared) {
  if (declared.kind != Kind::Object)
    return {declared.kind == Kind::Integer ? Kind::Int64 : declared.kind};
  const host::Class *const type = findClass(declared.name);
  if (!type)
    throw Error("there is no type " + declared.name);
  return {Kind::Object, type};
}

Type typeNamed(const std::string &name) {
  return typeOf(host::parseDeclaration("f() as " + name).result);
}

std::string nameOf(const Type &type) {
  static constexpr const char *kNames[] = {"nothing", "Integer", "Int32",   "UInt32", "Integer",
                                           "UInt64",  "Double",  "Boolean", "String"};
  if (type.isArray)
    return nameOf({type.kind, type.type}) + "()";
  if (type.kind == Kind::Object)
    return type.type ? type.type->name : "Nil";
  return type.kind == Kind::Ptr ? "Ptr" : kNames[static_cast<std::size_t>(type.kind)];
}

// --- values --------------------------------------------------------------------------------------

Value integer(std::int64_t value) { return {{Kind::Int64}, value}; }
Value real(double value) { return {{Kind::Double}, value}; }
Value boolean(bool value) { return {{Kind::Boolean}, value}; }
Value text(std::string value) { return {{Kind::String}, std::move(value)}; }
Value object(const host::Object &value, const host::Class *type) {
  return {{Kind::Object, type}, value};
}
Value array(const Type &element, std::vector<Value> items) {
  return {{element.kind, element.type, true},
          std::make_shared<Array>(Array{element, std::move(items)})};
}
Value nil() { return object({}, nullptr); }

Value zeroOf(const Type &type) {
  if (type.isArray)
    return array({type.kind, type.type}, {});
  switch (type.kind) {
  case Kind::None:
    return {};
  case Kind::Double:
    return real(0);
  case Kind::Boolean:
    return boolean(false);
  case Kind::String:
    return text({});
  case Kind::Object:
    return object({}, type.type);
  case Kind::Ptr:
    return {type, static_cast<void *>(nullptr)};
  default:
    return {type, std::int64_t{0}};
  }
}

int costOf(const Type &from, const Type &to) {
  if (from == to)
    return 0;
  if (from.isArray || to.isArray)
    return -1;
  if (from.kind == Kind::Object && to.kind == Kind::Object)
    return from.type ? distance(from.type, to.type) : 1;
  if (from.kind == Kind::Object && !from.type && to.kind == Kind::Ptr)
    return 2;
  // The bytes of a MemoryBlock are a text's, and back; its address is a pointer.
  if (isMemory(from) && (to.kind == Kind::String || to.kind == Kind::Ptr))
    return 3;
  if (from.kind == Kind::String && isMemory(to))
    return 3;
  if (!isNumber(from) || !isNumber(to))
    return -1;
  enum { Wider = 1, Narrower, OtherSign, ToDouble, ToInteger };
  if (isDouble(to))
    return ToDouble;
  if (isDouble(from))
    return ToInteger;
  if (to.kind == Kind::Int64)
    return Wider;
  return to.kind == Kind::Int32 ? Narrower : OtherSign;
}

Value convert(const Value &value, const Type &to) {
  if (costOf(value.type, to) < 0)
    throw Error("a value of type " + nameOf(value.type) + " where " + nameOf(to) + " is needed");
  if (isDouble(to))
    return real(asDouble(value));
  if (isInteger(to))
    return {to, wrapped(isDouble(value.type) ? truncated(value.real(), to.kind) : value.integer(),
                        to.kind)};
  if (isMemory(to) && value.type.kind == Kind::String) {
    const host::Object made = host::create("MemoryBlock");
    host::bytesOf(made.get()) = value.text();
    return object(made, to.type);
  }
  if (to.kind == Kind::String && value.type.kind == Kind::Object)
    return text(value.object() ? host::bytesOf(value.object().get()) : "");
  if (to.kind == Kind::Ptr && value.type.kind == Kind::Object)
    return value.object()
               ? Value{to, static_cast<void *>(host::bytesOf(value.object().get()).data())}
               : zeroOf(to);
  return {to, value.data};
}

host::Value toHost(const Value &value, const host::Type &declared) {
  const Value converted = convert(value, typeOf(declared));
  switch (declared.kind) {
  case Kind::Integer:
  case Kind::Int32:
    return static_cast<std::int32_t>(converted.integer());
  case Kind::UInt32:
    return static_cast<std::uint32_t>(converted.integer());
  case Kind::UInt64:
    return static_cast<std::uint64_t>(converted.integer());
  case Kind::Int64:
    return converted.integer();
  case Kind::Double:
    return converted.real();
  case Kind::Boolean:
    return converted.truth();
  case Kind::String:
    return host::String(converted.text());
  case Kind::Object:
    return converted.object();
  default:
    return std::get<void *>(converted.data);
  }
}

Value fromHost(const host::Value &value, const host::Type &declared) {
  Value result{typeOf(declared), {}};
  std::visit(
      [&]<class T>(const T &held) {
        if constexpr (std::is_same_v<T, host::String>)
          result.data = std::string(held.text());
        else if constexpr (std::integral<T> && !std::is_same_v<T, bool>)
          result.data = static_cast<std::int64_t>(held);
        else
          result.data = held;
      },
      value);
  return result;
}

// --- operators -----------------------------------------------------------------------------------

Value unary(std::string_view operation, const Value &operand) {
  if (operation == "-" && isDouble(operand.type))
    return real(-operand.real());
  if (operation == "-" && isInteger(operand.type))
    return binary("-", integer(0), operand);
  if (operation == "not" && is(operand, Kind::Boolean))
    return boolean(!operand.truth());
  if (operation == "not" && isInteger(operand.type))
    return {operand.type, wrapped(~operand.integer(), operand.type.kind)};
  throw Error("\"" + std::string(operation) + "\" does not go with " + nameOf(operand.type));
}

Value binary(std::string_view operation, const Value &left, const Value &right) {
  if (isNumber(left.type) && isNumber(right.type) && operation != "is") {
    const bool isLogical = operation == "and" || operation == "or" || operation == "xor";
    if (!isLogical || (isInteger(left.type) && isInteger(right.type)))
      return numberResult(operation, left, right);
  } else if (is(left, Kind::String) && is(right, Kind::String)) {
    if (operation == "+")
      return text(left.text() + right.text());
    if (isComparison(operation))
      return boolean(compare(operation, lower(left.text()), lower(right.text())));
  } else if (is(left, Kind::Boolean) && is(right, Kind::Boolean)) {
    if (operation == "and")
      return boolean(left.truth() && right.truth());
    if (operation == "or")
      return boolean(left.truth() || right.truth());
    if (operation == "xor" || operation == "<>")
      return boolean(left.truth() != right.truth());
    if (operation == "=")
      return boolean(left.truth() == right.truth());
  } else if (operation == "is" || operation == "=" || operation == "<>") {
    // Objects and pointers, by identity.
    const bool isObject = is(left, Kind::Object) && is(right, Kind::Object);
    if (isObject)
      return boolean((left.object() == right.object()) == (operation != "<>"));
    const Type pointer{Kind::Ptr};
    if (operation != "is" && costOf(left.type, pointer) >= 0 && costOf(right.type, pointer) >= 0)
      return boolean((convert(left, pointer).data == convert(right, pointer).data) ==
                     (operation == "="));
  }
  mismatch(operation, left, right);
}

} // namespace script
