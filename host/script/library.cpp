// What the language offers without any plug-in: members of texts, numbers and arrays, and
// functions.
#include "host/script/value.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <limits>

namespace script {
namespace {

using host::Kind;

constexpr std::size_t kAny = std::numeric_limits<std::size_t>::max();

struct Offer {
  std::string_view name;
  std::size_t least; // arguments
  std::size_t most;
  Value (*run)(const Value &self, Arguments arguments);
};

// --- arguments -----------------------------------------------------------------------------------

std::int64_t integerAt(Arguments arguments, std::size_t i) {
  return convert(arguments[i], {Kind::Int64}).integer();
}
std::string textAt(Arguments arguments, std::size_t i) {
  return convert(arguments[i], {Kind::String}).text();
}

// --- texts: positions count characters, not bytes -------------------------------------------------

bool beginsCharacter(char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }

std::int64_t lengthOf(std::string_view text) {
  return std::count_if(text.begin(), text.end(), beginsCharacter);
}

// The byte at which the nth character begins; the end when there are fewer.
std::size_t byteOf(std::string_view text, std::int64_t n) {
  std::size_t at = 0;
  while (at < text.size() && (n > 0 || !beginsCharacter(text[at])))
    if (beginsCharacter(text[at++]))
      --n;
  return at;
}

std::string part(const std::string &text, std::int64_t from, std::int64_t count) {
  const std::size_t begin = byteOf(text, std::max<std::int64_t>(from, 0));
  return text.substr(begin, byteOf(std::string_view(text).substr(begin), count));
}

std::string trimmed(const std::string &text) {
  constexpr const char *kBlanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  return begin == std::string::npos
             ? ""
             : text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::string replaced(const std::string &text, const std::string &old, const std::string &by) {
  const std::string searched = lower(text);
  const std::string sought = lower(old);
  std::string result;
  std::size_t at = 0;
  for (std::size_t found;
       !sought.empty() && (found = searched.find(sought, at)) != std::string::npos;
       at = found + sought.size())
    result += text.substr(at, found - at) + by;
  return result + text.substr(at);
}

Value split(const std::string &whole, const std::string &delimiter) {
  std::vector<Value> parts;
  std::size_t at = 0;
  for (std::size_t found;
       !delimiter.empty() && (found = whole.find(delimiter, at)) != std::string::npos;
       at = found + delimiter.size())
    parts.push_back(text(whole.substr(at, found - at)));
  parts.push_back(text(whole.substr(at)));
  return array({Kind::String}, std::move(parts));
}

// The number that a text begins with, as lenient as the language is; else 0.
std::int64_t integerIn(const std::string &text) {
  const std::string digits = trimmed(text);
  std::int64_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

const Offer kTextOffers[] = {
    {"Length", 0, 0, [](const Value &s, Arguments) { return integer(lengthOf(s.text())); }},
    {"Bytes", 0, 0,
     [](const Value &s, Arguments) { return integer(static_cast<std::int64_t>(s.text().size())); }},
    {"Left", 1, 1,
     [](const Value &s, Arguments a) { return text(part(s.text(), 0, integerAt(a, 0))); }},
    {"Right", 1, 1,
     [](const Value &s, Arguments a) {
       const std::int64_t count = std::max<std::int64_t>(integerAt(a, 0), 0);
       return text(part(s.text(), lengthOf(s.text()) - count, INT64_MAX));
     }},
    {"Middle", 1, 2,
     [](const Value &s, Arguments a) {
       return text(part(s.text(), integerAt(a, 0), a.size() > 1 ? integerAt(a, 1) : INT64_MAX));
     }},
    {"IndexOf", 1, 1,
     [](const Value &s, Arguments a) {
       const std::size_t at = lower(s.text()).find(lower(textAt(a, 0)));
       return integer(at == std::string::npos ? -1
                                              : lengthOf(std::string_view(s.text()).substr(0, at)));
     }},
    {"Uppercase", 0, 0,
     [](const Value &s, Arguments) {
       std::string result = s.text();
       for (char &c : result)
         if (c >= 'a' && c <= 'z')
           c = static_cast<char>(c - 'a' + 'A');
       return text(result);
     }},
    {"Trim", 0, 0, [](const Value &s, Arguments) { return text(trimmed(s.text())); }},
    {"ReplaceAll", 2, 2,
     [](const Value &s, Arguments a) {
       return text(replaced(s.text(), textAt(a, 0), textAt(a, 1)));
     }},
    {"Split", 1, 1, [](const Value &s, Arguments a) { return split(s.text(), textAt(a, 0)); }},
    {"ToInteger", 0, 0, [](const Value &s, Arguments) { return integer(integerIn(s.text())); }},
    {"ToString", 0, 0, [](const Value &s, Arguments) { return s; }},
};

// --- numbers -------------------------------------------------------------------------------------

std::string shortest(double value) {
  char digits[400];
  return {digits, std::to_chars(digits, digits + sizeof digits, value).ptr};
}

// By a pattern such as "#,##0.00", with any text around it.
std::string formatted(double value, const std::string &pattern) {
  if (!std::isfinite(value))
    return shortest(value);
  constexpr const char *kMarks = "#,0.";
  const std::size_t begin = std::min(pattern.find_first_of(kMarks), pattern.size());
  const std::size_t end = std::min(pattern.find_first_not_of(kMarks, begin), pattern.size());
  const std::string marks = pattern.substr(begin, end - begin);
  const std::size_t point = std::min(marks.find('.'), marks.size());
  const std::string places = marks.substr(std::min(point + 1, marks.size()));

  char digits[400];
  std::snprintf(digits, sizeof digits, "%.*f", static_cast<int>(places.size()), std::fabs(value));
  const std::string_view all = digits;
  std::string whole(all.substr(0, all.find('.')));
  std::string fraction(all.substr(std::min(all.find('.') + 1, all.size())));
  if (places.empty())
    fraction.clear();
  for (std::size_t i = places.size(); i > 0 && places[i - 1] == '#' && fraction.ends_with('0'); --i)
    fraction.pop_back();
  const auto zeros = static_cast<std::size_t>(
      std::count(marks.begin(), marks.begin() + static_cast<std::ptrdiff_t>(point), '0'));
  if (whole.size() < zeros)
    whole.insert(0, zeros - whole.size(), '0');
  if (marks.find(',') != std::string::npos)
    for (std::size_t at = whole.size(); at > 3; at -= 3)
      whole.insert(at - 3, ",");
  const bool isNegative =
      value < 0 && (whole + fraction).find_first_of("123456789") != std::string::npos;
  return (isNegative ? "-" : "") + pattern.substr(0, begin) + whole +
         (fraction.empty() ? "" : "." + fraction) + pattern.substr(end);
}

Value numberToText(const Value &n, Arguments a) {
  if (!a.empty())
    return text(formatted(convert(n, {Kind::Double}).real(), textAt(a, 0)));
  if (n.type.kind == Kind::Double)
    return text(shortest(n.real()));
  return text(n.type.kind == Kind::UInt64 ? std::to_string(static_cast<std::uint64_t>(n.integer()))
                                          : std::to_string(n.integer()));
}

const Offer kNumberOffers[] = {{"ToString", 0, 1, numberToText}};

const Offer kBooleanOffers[] = {
    {"ToString", 0, 0,
     [](const Value &b, Arguments) { return text(b.truth() ? "True" : "False"); }},
};

// --- arrays --------------------------------------------------------------------------------------

std::ptrdiff_t indexAt(const Array &items, Arguments arguments, std::size_t i, std::size_t limit) {
  const std::int64_t index = integerAt(arguments, i);
  if (index < 0 || static_cast<std::uint64_t>(index) >= limit)
    throw Fault("OutOfBoundsException", "index " + std::to_string(index) + " of an array of " +
                                            std::to_string(items.items.size()));
  return static_cast<std::ptrdiff_t>(index);
}

std::int64_t countOf(const Value &a) { return static_cast<std::int64_t>(a.array().items.size()); }

const Offer kArrayOffers[] = {
    {"Count", 0, 0, [](const Value &s, Arguments) { return integer(countOf(s)); }},
    {"LastIndex", 0, 0, [](const Value &s, Arguments) { return integer(countOf(s) - 1); }},
    {"Add", 1, 1,
     [](const Value &s, Arguments a) {
       s.array().items.push_back(convert(a[0], s.array().element));
       return Value();
     }},
};

// --- functions -----------------------------------------------------------------------------------

std::string utf8(std::int64_t code) {
  const auto byte = [](std::int64_t bits) { return static_cast<char>(bits); };
  const auto tail = [&](int shift) { return byte(0x80 | (code >> shift & 0x3f)); };
  if (code < 0x80)
    return {byte(code)};
  if (code < 0x800)
    return {byte(0xc0 | code >> 6), tail(0)};
  if (code < 0x10000)
    return {byte(0xe0 | code >> 12), tail(6), tail(0)};
  return {byte(0xf0 | code >> 18), tail(12), tail(6), tail(0)};
}

void write(const std::string &text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

std::string lineRead() {
  std::string line;
  std::getline(std::cin, line);
  if (line.ends_with('\r'))
    line.pop_back();
  return line;
}

Value joined(const Value &, Arguments a) {
  if (!a[0].type.isArray || a[0].type.kind != Kind::String)
    throw Error("String.FromArray needs a String()");
  const std::string delimiter = a.size() > 1 ? textAt(a, 1) : " ";
  std::string result;
  for (const Value &item : a[0].array().items)
    result += (&item == &a[0].array().items.front() ? "" : delimiter) + item.text();
  return text(result);
}

Value arrayOf(const Value &, Arguments a) {
  const Type element = a[0].type;
  std::vector<Value> items;
  for (const Value &item : a)
    items.push_back(convert(item, element));
  return array(element, std::move(items));
}

const Offer kFunctions[] = {
    {"Print", 1, 1,
     [](const Value &, Arguments a) {
       write(textAt(a, 0) + '\n');
       return Value();
     }},
    {"StdOut.Write", 1, 1,
     [](const Value &, Arguments a) {
       write(textAt(a, 0));
       return Value();
     }},
    {"StdIn.ReadLine", 0, 0, [](const Value &, Arguments) { return text(lineRead()); }},
    {"StdIn.EndOfFile", 0, 0,
     [](const Value &, Arguments) {
       return boolean(std::cin.peek() == std::char_traits<char>::eof());
     }},
    {"String.FromArray", 1, 2, joined},
    {"Array", 1, kAny, arrayOf},
    {"EndOfLine", 0, 0, [](const Value &, Arguments) { return text("\n"); }},
    {"Chr", 1, 1, [](const Value &, Arguments a) { return text(utf8(integerAt(a, 0))); }},
};

const Offer *findOffer(std::span<const Offer> offers, std::string_view name) {
  const auto found = std::find_if(offers.begin(), offers.end(),
                                  [&](const Offer &offer) { return same(offer.name, name); });
  return found == offers.end() ? nullptr : &*found;
}

Value callOffer(const Offer &offer, const Value &self, Arguments arguments) {
  if (arguments.size() < offer.least || arguments.size() > offer.most)
    throw Error(std::string(offer.name) + " does not take " + std::to_string(arguments.size()) +
                (arguments.size() == 1 ? " argument" : " arguments"));
  return offer.run(self, arguments);
}

std::span<const Offer> offersOf(const Type &type) {
  if (type.isArray)
    return kArrayOffers;
  if (type.kind == Kind::String)
    return kTextOffers;
  if (type.kind == Kind::Boolean)
    return kBooleanOffers;
  if (type.kind == Kind::None || type.kind == Kind::Ptr || type.kind == Kind::Object)
    return {};
  return kNumberOffers;
}

} // namespace

Value &itemOf(const Value &array, Arguments arguments) {
  if (!array.type.isArray || arguments.size() != 1)
    throw Error(array.type.isArray ? "one index is needed" : "this is no array");
  Array &items = array.array();
  return items.items[static_cast<std::size_t>(indexAt(items, arguments, 0, items.items.size()))];
}

Value callMember(const Value &self, std::string_view name, Arguments arguments) {
  const Offer *const offer = findOffer(offersOf(self.type), name);
  if (!offer)
    throw Error(nameOf(self.type) + " has no member " + std::string(name));
  return callOffer(*offer, self, arguments);
}

bool isFunction(std::string_view name) { return findOffer(kFunctions, name) != nullptr; }

Value callFunction(std::string_view name, Arguments arguments) {
  return callOffer(*findOffer(kFunctions, name), {}, arguments);
}

} // namespace script
