#include "host/cli/values.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace {

using host::Object;

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

// Bytes of the printable character beyond ASCII that `text` begins with; 0 when there is none.
std::size_t printableLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const std::size_t length = byte(0) >= 0xf0 ? 4 : byte(0) >= 0xe0 ? 3 : 2;
  if (byte(0) < 0xc2 || byte(0) > 0xf4 || text.size() < length)
    return 0;
  if (!std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length),
                   isContinuation))
    return 0;
  const bool isControl = byte(0) == 0xc2 && byte(1) < 0xa0;
  const bool isOverlong =
      (byte(0) == 0xe0 && byte(1) < 0xa0) || (byte(0) == 0xf0 && byte(1) < 0x90);
  const bool isSurrogate = byte(0) == 0xed && byte(1) >= 0xa0;
  const bool isTooLarge = byte(0) == 0xf4 && byte(1) >= 0x90;
  return isControl || isOverlong || isSurrogate || isTooLarge ? 0 : length;
}

// In quotes as Python writes them, but with UTF-8 kept.
std::string quoted(std::string_view text) {
  const bool hasSingle = text.find('\'') != std::string_view::npos;
  const bool hasDouble = text.find('"') != std::string_view::npos;
  const char quote = hasSingle && !hasDouble ? '"' : '\'';
  std::string result(1, quote);
  while (!text.empty()) {
    const char c = text.front();
    std::size_t length = 1;
    if (c == quote || c == '\\')
      (result += '\\') += c;
    else if (c == '\n')
      result += "\\n";
    else if (c == '\r')
      result += "\\r";
    else if (c == '\t')
      result += "\\t";
    else if (c >= ' ' && c < 0x7f)
      result += c;
    else if (const std::size_t printable = printableLength(text))
      result += text.substr(0, length = printable);
    else {
      char escape[5];
      std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(c));
      result += escape;
    }
    text.remove_prefix(length);
  }
  return result + quote;
}

// The shortest text that reads back as the same number, in Python's form.
std::string textOf(double value) {
  if (!std::isfinite(value))
    return std::isnan(value) ? "nan" : value < 0 ? "-inf" : "inf";
  char text[400];
  const double size = std::fabs(value);
  const bool isFixed = value == 0 || (size >= 1e-4 && size < 1e16);
  const auto format = isFixed ? std::chars_format::fixed : std::chars_format::scientific;
  std::string result(text, std::to_chars(text, text + sizeof text, value, format).ptr);
  if (isFixed && result.find('.') == std::string::npos)
    result += ".0";
  return result;
}

// A tuple that stands for something, as textOf in the header describes it.
std::string textOf(const Object &tagged) {
  const auto kind = tagged.call<std::string>("StringValue(index as Integer) as String", 0);
  if (kind == "unicode")
    return 'u' +
           quoted(tagged.call<host::String>("StringValue(index as Integer) as String", 1).text());
  if (kind == "repr")
    return tagged.call<std::string>("StringValue(index as Integer) as String", 1);

  const bool isDict = kind == "dict";
  const bool isTuple = kind == "tuple";
  const int count = tagged.get<int>("Count");
  std::string result(1, isDict ? '{' : isTuple ? '(' : '[');
  for (int i = 1; i < count; ++i) {
    if (i > 1)
      result += isDict && i % 2 == 0 ? ": " : ", ";
    result += cli::textOf(tagged, i);
  }
  if (isTuple && count == 2)
    result += ',';
  return result + (isDict ? '}' : isTuple ? ')' : ']');
}

// A whole number that Python holds as a long.
std::string bigInteger(const Object &tuple, int index) {
  const auto value = tuple.call<std::int64_t>("Int64Value(index as Integer) as Int64", index);
  if (!host::callShared<bool>("Quillix", "ErrorOccurred() as Boolean"))
    return std::to_string(value);
  host::callShared("Quillix", "ClearError()");
  return std::to_string(
      tuple.call<std::uint64_t>("UInt64Value(index as Integer) as UInt64", index));
}

} // namespace

std::string cli::textOf(const Object &tuple, int index) {
  const auto is = [&](const char *declaration) { return tuple.call<bool>(declaration, index); };
  // A bool is an integer too.
  if (is("IsBoolean(index as Integer) as Boolean"))
    return tuple.call<bool>("BooleanValue(index as Integer) as Boolean", index) ? "True" : "False";
  if (is("IsInteger(index as Integer) as Boolean"))
    return std::to_string(tuple.call<int>("IntegerValue(index as Integer) as Integer", index));
  if (is("IsBigInteger(index as Integer) as Boolean"))
    return bigInteger(tuple, index);
  if (is("IsDouble(index as Integer) as Boolean"))
    return ::textOf(tuple.call<double>("DoubleValue(index as Integer) as Double", index));
  if (is("IsString(index as Integer) as Boolean"))
    return quoted(
        tuple.call<host::String>("StringValue(index as Integer) as String", index).text());
  if (is("IsTuple(index as Integer) as Boolean"))
    return ::textOf(tuple.call<Object>("TupleValue(index as Integer) as PythonParameters", index));
  if (is("IsObject(index as Integer) as Boolean")) {
    const auto object = tuple.call<Object>("ObjectValue(index as Integer) as Object", index);
    return object ? "<Object " + object.className() + ">" : "<capsule>";
  }
  return "None";
}
