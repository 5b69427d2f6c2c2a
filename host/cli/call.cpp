#include "host/runtime/call.h"
#include "host/cli/cli.h"
#include "host/runtime/platform.h"

#include <charconv>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace {

using host::Object;

constexpr const char *kStringIndex = "StringValue(index as Integer) as String";

// The number that is written as exactly `text`.
template <class Number> std::optional<Number> numberIn(std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size())
    return std::nullopt;
  return value;
}

void setArgument(const Object &tuple, int index, std::string_view text) {
  // "inf" is a text, and a whole number too large for the bridge keeps all its digits as one.
  const bool isNumber = text.find_first_of("0123456789") != std::string_view::npos;
  const bool isReal = isNumber && text.find_first_of(".eE") != std::string_view::npos;
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
    tuple.assign(kStringIndex, index, text.substr(1, text.size() - 2));
  else if (text == "true" || text == "false")
    tuple.assign("BooleanValue(index as Integer) as Boolean", index, text == "true");
  else if (const auto integer = numberIn<std::int32_t>(text))
    tuple.assign("IntegerValue(index as Integer) as Integer", index, *integer);
  else if (const auto signedBig = numberIn<std::int64_t>(text))
    tuple.assign("Int64Value(index as Integer) as Int64", index, *signedBig);
  else if (const auto unsignedBig = numberIn<std::uint64_t>(text))
    tuple.assign("UInt64Value(index as Integer) as UInt64", index, *unsignedBig);
  else if (const auto real = isReal ? numberIn<double>(text) : std::nullopt)
    tuple.assign("DoubleValue(index as Integer) as Double", index, *real);
  else
    tuple.assign(kStringIndex, index, text);
}

Object tupleOf(cli::Arguments arguments) {
  const int count = static_cast<int>(arguments.size());
  Object tuple = host::create("PythonParameters", "Constructor(parameterCount as Integer)", count);
  for (int i = 0; i < count; ++i)
    setArgument(tuple, i, arguments[static_cast<std::size_t>(i)]);
  return tuple;
}

} // namespace

const char *const cli::kCallHelp =
    R"(usage: quillix-host call FILE.py FUNCTION [ARGUMENT...]

Imports a Python 2.7 file and calls one of its functions. What Python prints appears as it comes,
then the result, much as Python would write it.

An ARGUMENT that is a whole number of up to 64 bits becomes an int or, beyond 32 bits, a long; a
number with a point or an exponent becomes a float; true and false become bools; all else, a larger
whole number too, becomes a str, and so does anything in double quotes of its own, without them:
'"42"'. The name of FILE is that of a module: it has no dot, and no other module has it.

  cd examples/text_analysis
  quillix-host call text_analysis.py analyse declaration.txt

Exit status: 0 success; 1 Python raised an error, which is shown on standard error; 2 wrong usage;
3 something was still alive at the end that should have been gone.
)";

int cli::call(Arguments arguments) {
  if (arguments.size() < 2)
    return badUsage("call needs a file and a function", kCallHelp);
  const std::filesystem::path file =
      std::filesystem::absolute(host::platform::pathOf(arguments[0]));
  if (file.extension() != ".py" || !std::filesystem::is_regular_file(file))
    return badUsage(std::string(arguments[0]) + " is no Python file", kCallHelp);
  if (host::platform::textOf(file.stem()).find('.') != std::string::npos)
    return badUsage(std::string(arguments[0]) + " has a dot in its name, which no module has",
                    kCallHelp);
  if (!startPython(host::platform::textOf(file.parent_path())))
    return kFailure;
  // A statement of its own, so that the tuple is gone before Python stops.
  const int result =
      callFunction(host::platform::textOf(file), arguments[1], tupleOf(arguments.subspan(2)));
  return stopPython(result);
}
