#include "tests/fuzz/expectation.h"

#include <algorithm>

namespace model {
namespace {

using host::Value;

const Expected kError{{}, nullptr, true, false};

std::int32_t integerOf(const Value &value) { return std::get<std::int32_t>(value); }

// --- Reading: the type tests and conversions of the accessors -------------------------------------

enum class As { Int, Long, IntOrLong, Int64, UInt64, Double, Boolean, String, Object, Of };

// Which of them an accessor makes, by its class and its name: IntegerValue, IsTuple.
struct Accessor {
  bool isTest;
  As as;
  Kind container; // of As::Of
};

std::optional<Accessor> accessorOf(const std::string &owner, const std::string &name) {
  const bool isTest = name.starts_with("Is");
  if (!isTest && !name.ends_with("Value"))
    return std::nullopt;
  const std::string word = isTest ? name.substr(2) : name.substr(0, name.size() - 5);
  static const std::map<std::string, Accessor> words = {
      {"Int32", {false, As::Long, {}}},           {"Int64", {false, As::Int64, {}}},
      {"BigInteger", {false, As::Int64, {}}},     {"UInt64", {false, As::UInt64, {}}},
      {"Double", {false, As::Double, {}}},        {"Boolean", {false, As::Boolean, {}}},
      {"String", {false, As::String, {}}},        {"Object", {false, As::Object, {}}},
      {"Tuple", {false, As::Of, Kind::Tuple}},    {"List", {false, As::Of, Kind::List}},
      {"Dictionary", {false, As::Of, Kind::Dict}}};
  if (word == "Integer")
    return Accessor{isTest,
                    owner == "PythonEntity"              ? As::Long
                    : owner == "PythonResult" && !isTest ? As::IntOrLong
                                                         : As::Int,
                    {}};
  const auto found = words.find(word);
  if (found == words.end())
    return std::nullopt;
  Accessor accessor = found->second;
  accessor.isTest = isTest;
  return accessor;
}

bool passes(const Accessor &accessor, const Node *node) {
  switch (accessor.as) {
  case As::Int:
    return node->isInteger() && !node->countsAsLong();
  case As::Long:
  case As::Int64:
  case As::UInt64:
    return node->countsAsLong();
  case As::IntOrLong:
    return node->isInteger();
  case As::Double:
    return node->kind == Kind::Float;
  case As::Boolean:
    return node->kind == Kind::Bool;
  case As::String:
    return node->kind == Kind::Str;
  case As::Object:
    return node->kind == Kind::Capsule;
  case As::Of:
    return node->kind == accessor.container;
  }
  return false;
}

// What a getter gives for a value, or for none.
Expected read(const Accessor &accessor, Node *node, const host::Type &type) {
  Expected expected{host::zeroOf(type)};
  const bool is = node && passes(accessor, node);
  if (accessor.isTest)
    return {Value(is)};
  if (!is)
    return expected;
  switch (accessor.as) {
  case As::Int:
  case As::Long:
  case As::IntOrLong:
    return node->fitsInt32() ? Expected{static_cast<std::int32_t>(node->integer)}
                             : Expected{std::int32_t{-1}, nullptr, true};
  case As::Int64:
    return node->isBig || node->isHuge ? Expected{std::int64_t{-1}, nullptr, true}
                                       : Expected{node->integer};
  case As::UInt64:
    if (node->isBig)
      return {node->magnitude};
    return node->isHuge || node->integer < 0 ? Expected{UINT64_MAX, nullptr, true}
                                             : Expected{static_cast<std::uint64_t>(node->integer)};
  case As::Double:
    return {node->real};
  case As::Boolean:
    return {node->integer != 0};
  case As::String:
    return {host::String(node->text)};
  case As::Object:
    return {host::Object::share(node->object), nullptr, !node->object};
  case As::Of:
    expected.held = node;
    return expected;
  }
  return expected;
}

} // namespace

// --- Values from the host -------------------------------------------------------------------------

// Null when Python makes none, with an error.
Node *Expectation::make(const std::string &type, const Value &value, bool isLong) {
  if (type == "Integer" || type == "Int32")
    return world.integer(integerOf(value), isLong);
  if (type == "Int64")
    return world.integer(std::get<std::int64_t>(value), true);
  if (type == "UInt64")
    return world.unsignedInteger(std::get<std::uint64_t>(value));
  if (type == "Double")
    return world.real(std::get<double>(value));
  if (type == "Boolean")
    return world.boolean(std::get<bool>(value));
  if (type == "String")
    return world.text(std::get<host::String>(value).text());
  const REALobject object = std::get<host::Object>(value).get();
  return object ? world.capsule(object) : nullptr;
}

Node *Expectation::heldBy(const Value &wrapper) {
  const REALobject object = std::get<host::Object>(wrapper).get();
  return object ? wrappers[object].held : nullptr;
}

// --- The classes ----------------------------------------------------------------------------------

auto Expectation::of(const host::Member &member, REALobject object,
                     std::span<const Value> arguments) -> Result {
  const std::string &owner = member.owner->name;
  const std::string name = member.name.substr(0, member.name.find('('));
  const bool setter = member.role == host::Member::Role::Setter;
  if (owner == "PythonEntity" && name.starts_with("From")) {
    Expected expected{host::zeroOf(member.result)};
    if (running)
      expected.held = make(name.substr(4), arguments[0], true);
    expected.error =
        running && name == "FromObject" && !expected.held && std::get<host::Object>(arguments[0]);
    return expected;
  }
  if (!object)
    return std::nullopt;
  Wrapper &self = wrappers[object];
  if (const auto accessor = accessorOf(owner, name);
      accessor && (owner == "PythonEntity" || owner == "PythonResult"))
    return read(*accessor, self.held, member.result);
  if (const auto accessor = accessorOf(owner, name);
      accessor && owner == "PythonParameters" && !setter) {
    const std::int32_t i = integerOf(arguments[0]);
    const bool there = self.held && i >= 0 && static_cast<std::size_t>(i) < self.held->items.size();
    return read(*accessor, there ? self.held->items[static_cast<std::size_t>(i)] : nullptr,
                member.result);
  }
  if (const auto accessor = accessorOf(owner, name);
      accessor && owner == "PythonDictionary" && !setter) {
    const std::string key(std::get<host::String>(arguments[0]).text());
    Node *found = nullptr;
    if (self.held && !key.empty())
      for (const auto &[each, value] : self.held->entries) {
        const Answer same = equal(each, world.text(key));
        if (!same)
          return std::nullopt;
        if (*same)
          found = value;
      }
    return read(*accessor, found, member.result);
  }
  if (owner == "PythonParameters")
    return ofParameters(member.name, setter, self, arguments, object);
  if (owner == "PythonList")
    return ofList(name, self, arguments);
  if (owner == "PythonDictionary")
    return ofDictionary(name, setter, self, arguments);
  if (owner == "PythonResult")
    return ofResult(member, name, self, arguments);
  return std::nullopt;
}

auto Expectation::ofParameters(const std::string &declaration, bool setter, Wrapper &self,
                               std::span<const Value> arguments, REALobject object) -> Result {
  if (declaration == "Constructor(parameterCount as Integer)") {
    const std::int32_t count = integerOf(arguments[0]);
    self.lastError = 0;
    if (!running)
      return Expected{};
    self.held = count < 0 ? nullptr : world.container(Kind::Tuple);
    for (std::int32_t i = 0; i < count; ++i)
      self.held->items.push_back(world.none());
    return Expected{{}, nullptr, count < 0};
  }
  if (declaration == "Count")
    return Expected{static_cast<std::int32_t>(self.held ? self.held->items.size() : 0)};
  if (declaration == "LastError")
    return Expected{std::int32_t{self.lastError}};
  if (declaration == "ClearError()")
    return self.lastError = 0, Expected{};
  if (!setter)
    return std::nullopt;

  if (!self.held)
    return Expected{};
  const std::string name = declaration.substr(0, declaration.find('('));
  const bool container = name == "TupleValue" || name == "DictionaryValue" || name == "ListValue";
  const std::int32_t i = integerOf(arguments[0]);
  if (container && !std::get<host::Object>(arguments[1]))
    return self.lastError = 3, Expected{};
  if (i < 0 || static_cast<std::size_t>(i) >= self.held->items.size())
    return self.lastError = 2, Expected{};
  Node *const item =
      container ? heldBy(arguments[1]) : make(name.substr(0, name.size() - 5), arguments[1], false);
  if (!item)
    return self.lastError = container ? 3 : 1, Expected{{}, nullptr, !container};
  if (!isWritable(object) || item == self.held)
    return kError;
  self.held->items[static_cast<std::size_t>(i)] = item;
  return Expected{};
}

auto Expectation::ofList(const std::string &name, Wrapper &self, std::span<const Value> arguments)
    -> Result {
  if (name == "Constructor" || name == "Clear") {
    if (running)
      self.held = world.container(Kind::List);
    return Expected{};
  }
  if (name == "Count")
    return Expected{static_cast<std::int32_t>(self.held ? self.held->items.size() : 0)};
  const bool takesIndex = name == "Insert" || name == "GetItem" || name == "SetItem";
  if (!self.held)
    return name == "GetItem" || name == "AsTuple" ? Expected{host::Object()} : Expected{};
  std::vector<Node *> &items = self.held->items;
  const auto count = static_cast<std::int64_t>(items.size());
  std::int64_t i = takesIndex ? integerOf(arguments[0]) : 0;
  const bool inside = i >= 0 && i < count;
  if (name == "GetItem")
    return Expected{host::Object(), inside ? items[static_cast<std::size_t>(i)] : nullptr, !inside};
  if (name == "AsTuple")
    return Expected{host::Object(), world.container(Kind::Tuple, items)};
  if (name == "Reverse")
    return std::reverse(items.begin(), items.end()), Expected{};
  if (name == "Sort")
    return sort(items) ? Result(Expected{}) : std::nullopt;
  if (!std::get<host::Object>(arguments.back()))
    return Expected{};
  Node *const item = heldBy(arguments.back());
  if (name == "SetItem") {
    if (item && inside)
      items[static_cast<std::size_t>(i)] = item;
    return Expected{{}, nullptr, item && !inside};
  }
  if (!item)
    return kError;
  if (name == "Append")
    return items.push_back(item), Expected{};
  if (name != "Insert")
    return std::nullopt;
  i = std::clamp(i < 0 ? i + count : i, std::int64_t{0}, count);
  items.insert(items.begin() + static_cast<std::ptrdiff_t>(i), item);
  return Expected{};
}

auto Expectation::store(Node *dict, Node *key, Node *value) -> Result {
  const Answer can = hashable(key);
  if (!can)
    return std::nullopt;
  if (!*can)
    return kError;
  for (auto &[known, old] : dict->entries) {
    const Answer same = equal(known, key);
    if (!same)
      return std::nullopt;
    if (*same)
      return old = value, Expected{};
  }
  dict->entries.emplace_back(key, value);
  return Expected{};
}

auto Expectation::ofDictionary(const std::string &name, bool setter, Wrapper &self,
                               std::span<const Value> arguments) -> Result {
  if (name == "Constructor") {
    if (running)
      self.held = world.container(Kind::Dict);
    return Expected{};
  }
  if (name == "Count")
    return Expected{static_cast<std::int32_t>(self.held ? self.held->entries.size() : 0)};
  if (name == "Clear") {
    if (self.held)
      self.held->entries.clear();
    return Expected{};
  }
  if (name == "GetKeys" || name == "GetValues")
    return std::nullopt; // in Python's order

  Node *key = nullptr;
  if (const auto *string = std::get_if<host::String>(arguments.data()))
    key = string->text().empty() ? nullptr : world.text(string->text());
  else
    key = heldBy(arguments[0]);
  if (setter) {
    if (!self.held || !key)
      return Expected{};
    Node *const value = make(name.substr(0, name.size() - 5), arguments[1], false);
    return value ? store(self.held, key, value) : kError;
  }
  if (name == "SetValue") {
    Node *const value = heldBy(arguments[1]);
    return self.held && key && value ? store(self.held, key, value) : Expected{};
  }
  const bool contains = name == "Contains";
  const bool gets = name == "GetValue";
  Expected nothing{contains ? Value(false) : gets ? Value(host::Object()) : Value()};
  if (!self.held || !key)
    return nothing;
  const Answer can = hashable(key);
  if (!can)
    return std::nullopt;
  // Python's own rule: a look-up swallows the error of a key that cannot be one, and any other.
  nothing.cleared = !*can && gets;
  if (!*can)
    return gets ? nothing : Expected{contains ? Value(true) : Value(), nullptr, true};
  auto &entries = self.held->entries;
  for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
    const Answer same = equal(entry->first, key);
    if (!same)
      return std::nullopt;
    if (!*same)
      continue;
    if (contains)
      return Expected{true};
    if (gets)
      return Expected{host::Object(), entry->second};
    return entries.erase(entry), Expected{};
  }
  nothing.error = name == "Remove";
  return nothing;
}

auto Expectation::ofResult(const host::Member &member, const std::string &name, Wrapper &self,
                           std::span<const Value> arguments) -> Result {
  if (name == "GetPtr")
    return Expected{static_cast<void *>(nullptr), self.held};
  if (name != "Constructor")
    return std::nullopt;
  if (!running)
    return Expected{};
  self.held =
      arguments.empty() ? world.none() : make(member.parameters[0].name, arguments[0], true);
  return Expected{{}, nullptr, !self.held};
}

} // namespace model
