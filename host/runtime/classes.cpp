#include "host/runtime/classes.h"

#include "host/runtime/builtins.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>

namespace host {
namespace {

struct Registry {
  std::vector<std::unique_ptr<Class>> classes;
  std::vector<std::unique_ptr<Module>> modules;
  std::vector<Event> events;
  std::size_t builtinClasses = 0;
};

Registry &registry();

template <class Items> auto *findByName(const Items &items, std::string_view name) {
  const auto found = std::find_if(items.begin(), items.end(),
                                  [&](const auto &item) { return item->name == name; });
  return found == items.end() ? nullptr : found->get();
}

constexpr HostWord kFirstEventKey = 0x1000; // any word that no record holds by chance

// --- reading declarations ----------------------------------------------------------------------

bool isBlank(char c) { return c == ' ' || c == '\t'; }
bool isNameCharacter(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

bool sameIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  });
}

class DeclarationReader {
public:
  explicit DeclarationReader(std::string_view declaration)
      : declaration_(declaration), rest_(declaration) {}

  std::string_view name() {
    skipBlanks();
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), isNameCharacter);
    const auto length = static_cast<std::size_t>(end - rest_.begin());
    if (length == 0)
      fail("a name is missing");
    const std::string_view result = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return result;
  }

  bool accept(char c) {
    skipBlanks();
    if (rest_.empty() || rest_.front() != c)
      return false;
    rest_.remove_prefix(1);
    return true;
  }

  void expect(char c) {
    if (!accept(c))
      fail("a bracket, comma or equals sign is missing");
  }

  Type asType();

  // The rest of the declaration, as one whole number.
  int number() {
    skipBlanks();
    int value = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
    if (error != std::errc() || end != rest_.data() + rest_.size())
      fail("the value is no number");
    return value;
  }

  bool atEnd() {
    skipBlanks();
    return rest_.empty();
  }

  [[noreturn]] void fail(const char *reason) const {
    misuse("malformed declaration \"%.*s\": %s", static_cast<int>(declaration_.size()),
           declaration_.data(), reason);
  }

private:
  void skipBlanks() {
    while (!rest_.empty() && isBlank(rest_.front()))
      rest_.remove_prefix(1);
  }

  std::string_view declaration_;
  std::string_view rest_;
};

Kind kindOf(std::string_view typeName) {
  struct Named {
    std::string_view name;
    Kind kind;
  };
  static constexpr Named kKinds[] = {
      {"Integer", Kind::Integer}, {"Int32", Kind::Int32},   {"UInt32", Kind::UInt32},
      {"Int64", Kind::Int64},     {"UInt64", Kind::UInt64}, {"Double", Kind::Double},
      {"Boolean", Kind::Boolean}, {"String", Kind::String}, {"Ptr", Kind::Ptr},
  };
  for (const Named &named : kKinds)
    if (sameIgnoringCase(typeName, named.name))
      return named.kind;
  return Kind::Object;
}

Type DeclarationReader::asType() {
  if (!sameIgnoringCase(name(), "as"))
    fail("\"as\" is missing");
  const std::string_view typeName = name();
  return {kindOf(typeName), std::string(typeName)};
}

Constant parseConstant(std::string_view declaration) {
  DeclarationReader reader(declaration);
  Constant constant;
  constant.name = reader.name();
  reader.expect('=');
  constant.value = reader.number();
  return constant;
}

// --- reading records ---------------------------------------------------------------------------

// The rows of a table; `owner` and `table` are named when they do not fit their count.
template <class Row>
std::vector<const Row *> rowsOf(const HostTable<Row> &table, const char *owner, const char *name) {
  if ((table.rows == nullptr) != (table.count == 0))
    misuse("%s: the %s table does not fit its count", owner, name);
  std::vector<const Row *> rows;
  for (HostWord i = 0; i < table.count; ++i)
    rows.push_back(&table.rows[i]);
  return rows;
}

template <std::size_t N> void requireZero(const HostWord (&words)[N], const char *owner) {
  if (std::any_of(words, words + N, [](HostWord word) { return word != 0; }))
    misuse("%s: a reserved word of the record is not 0", owner);
}

std::vector<Method> readMethods(const HostTable<REALmethodDefinition> &table, const char *owner) {
  std::vector<Method> methods;
  for (const REALmethodDefinition *row : rowsOf(table, owner, "method")) {
    if (!row->declaration || !row->function)
      misuse("%s: a method without a declaration or function", owner);
    if (std::any_of(methods.begin(), methods.end(), [&](const Method &other) {
          return std::strcmp(other.row->declaration, row->declaration) == 0;
        }))
      misuse("%s: \"%s\" is declared twice", owner, row->declaration);
    requireZero(row->reserved, owner);
    methods.push_back({row, parseDeclaration(row->declaration)});
    if (row->setter && methods.back().signature.result.kind == Kind::None)
      misuse("%s: \"%s\" is assignable but has no value", owner, row->declaration);
  }
  return methods;
}

std::vector<Property> readProperties(const HostTable<REALproperty> &table, const char *owner) {
  std::vector<Property> properties;
  for (const REALproperty *row : rowsOf(table, owner, "property")) {
    if (!row->name || !row->type || !row->getter)
      misuse("%s: a property without a name, type or getter", owner);
    requireZero(row->reservedTail, owner);
    properties.push_back({row, {kindOf(row->type), row->type}});
  }
  return properties;
}

std::vector<Constant> readConstants(const HostTable<REALconstant> &table, const char *owner) {
  std::vector<Constant> constants;
  for (const REALconstant *row : rowsOf(table, owner, "constant")) {
    if (!row->declaration)
      misuse("%s: a constant without a declaration", owner);
    constants.push_back(parseConstant(row->declaration));
  }
  return constants;
}

void requireNewName(const Registry &known, const char *name, HostWord version) {
  if (!name || !*name)
    misuse("a record without a name");
  if (version != kInterfaceVersion)
    misuse("%s: the record has version %ju, not %ju", name, static_cast<std::uintmax_t>(version),
           static_cast<std::uintmax_t>(kInterfaceVersion));
  if (findByName(known.classes, name) || findByName(known.modules, name))
    misuse("%s is registered twice", name);
}

constexpr std::size_t aligned(std::size_t size) {
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

void readEvents(Registry &known, const Class &type) {
  const char *const name = type.record->name;
  rowsOf(type.record->events, name, "event");
  for (HostWord i = 0; i < type.record->events.count; ++i) {
    REALevent &row = type.record->events.rows[i];
    if (!row.declaration)
      misuse("%s: an event without a declaration", name);
    parseDeclaration(row.declaration);
    requireZero(row.reserved, name);
    row.key = kFirstEventKey + known.events.size();
    known.events.push_back({&type, &row});
  }
}

Class &add(Registry &known, REALclassDefinition *record) {
  if (!record)
    misuse("PluginRegisterClass: no record");
  const char *const name = record->name;
  requireNewName(known, name, record->version);
  if (!record->interfaces)
    misuse("%s: the interfaces field is null", name);
  requireZero(record->unusedA, name);
  requireZero(record->unusedB, name);
  requireZero(record->unusedC, name);
  requireZero(record->unusedD, name);
  requireZero(record->unusedE, name);

  auto type = std::make_unique<Class>();
  type->record = record;
  type->name = name;
  if (record->superName && !(type->super = findByName(known.classes, record->superName)))
    misuse("%s: its super class %s is not registered", name, record->superName);
  type->properties = readProperties(record->properties, name);
  type->methods = readMethods(record->methods, name);
  type->sharedMethods = readMethods(record->sharedMethods, name);
  type->constants = readConstants(record->constants, name);
  readEvents(known, *type);

  record->dataOffset = aligned(type->super ? type->super->instanceSize : sizeof(REALobjectStruct));
  type->instanceSize = aligned(record->dataOffset + record->dataSize);
  if (type->super) {
    type->constructors = type->super->constructors;
    type->destructors = type->super->destructors;
  }
  if (record->constructor)
    type->constructors.push_back(record->constructor);
  if (record->destructor)
    type->destructors.insert(type->destructors.begin(), record->destructor);
  return *known.classes.emplace_back(std::move(type));
}

// Made on first use, and never destroyed: handles may outlive any static object.
Registry &registry() {
  static Registry *const instance = [] {
    auto *const made = new Registry;
    for (REALclassDefinition *record : builtinRecords()) {
      // The host's own methods return an Integer in 32 bits.
      for (Method &method : add(*made, record).methods)
        if (method.signature.result.kind == Kind::Integer)
          method.signature.result.kind = Kind::Int32;
    }
    made->builtinClasses = made->classes.size();
    return made;
  }();
  return *instance;
}

const Method *findDeclared(const std::vector<Method> &methods, std::string_view declaration) {
  const auto found = std::find_if(methods.begin(), methods.end(), [&](const Method &method) {
    return method.row->declaration == declaration;
  });
  return found == methods.end() ? nullptr : &*found;
}

const Constant *findConstant(const std::vector<Constant> &constants, std::string_view name) {
  const auto found = std::find_if(constants.begin(), constants.end(),
                                  [&](const Constant &item) { return item.name == name; });
  return found == constants.end() ? nullptr : &*found;
}

} // namespace

Signature parseDeclaration(std::string_view declaration) {
  DeclarationReader reader(declaration);
  Signature signature;
  signature.name = reader.name();
  reader.expect('(');
  if (!reader.accept(')')) {
    do {
      reader.name(); // parameters are known by their place alone
      signature.parameters.push_back(reader.asType());
    } while (reader.accept(','));
    reader.expect(')');
  }
  if (!reader.atEnd())
    signature.result = reader.asType();
  if (!reader.atEnd())
    reader.fail("something follows it");
  return signature;
}

Class &registerClass(REALclassDefinition *record) {
  Class &type = add(registry(), record);
  type.registered = true;
  return type;
}

Module &registerModule(const REALmoduleDefinition *record) {
  if (!record)
    misuse("PluginRegisterModule: no record");
  requireNewName(registry(), record->name, record->version);
  requireZero(record->reserved, record->name);
  readMethods(record->methods, record->name);
  return *registry().modules.emplace_back(std::make_unique<Module>(
      Module{record, record->name, readConstants(record->constants, record->name)}));
}

Class &defineClass(std::string_view name, std::string_view superName) {
  if (Class *const known = findClass(name)) {
    if (!known->ownRecord || !known->super || known->super->name != superName)
      misuse("%s is another class already", known->name.c_str());
    return *known;
  }
  // The class keeps the name; the record borrows it from there.
  auto record = std::make_unique<REALclassDefinition>();
  const std::string ownName(name);
  record->name = ownName.c_str();
  record->superName = requireClass(superName).name.c_str();
  Class &type = add(registry(), record.get());
  record->name = type.name.c_str();
  type.ownRecord = std::move(record);
  return type;
}

Class *findClass(std::string_view name) { return findByName(registry().classes, name); }
const Module *findModule(std::string_view name) { return findByName(registry().modules, name); }

Class &requireClass(std::string_view name) {
  Class *const type = findClass(name);
  if (!type)
    misuse("there is no class %.*s", static_cast<int>(name.size()), name.data());
  return *type;
}

std::vector<const Class *> classes() {
  std::vector<const Class *> all;
  for (const auto &type : registry().classes)
    all.push_back(type.get());
  return all;
}

std::vector<const Module *> modules() {
  std::vector<const Module *> all;
  for (const auto &module : registry().modules)
    all.push_back(module.get());
  return all;
}

bool isA(const Class &type, std::string_view className) {
  if (className == "Object")
    return true;
  const Class *next = &type;
  while (next && next->name != className)
    next = next->super;
  return next != nullptr;
}

const Method *findMethod(const Class &type, std::string_view declaration) {
  for (const Class *next = &type; next; next = next->super)
    if (const Method *const method = findDeclared(next->methods, declaration))
      return method;
  return nullptr;
}

const Method *findSharedMethod(const Class &type, std::string_view declaration) {
  for (const Class *next = &type; next; next = next->super)
    if (const Method *const method = findDeclared(next->sharedMethods, declaration))
      return method;
  return nullptr;
}

const Property *findProperty(const Class &type, std::string_view name) {
  for (const Class *next = &type; next; next = next->super)
    for (const Property &property : next->properties)
      if (property.row->name == name)
        return &property;
  return nullptr;
}

int constant(std::string_view owner, std::string_view name) {
  const Constant *found = nullptr;
  if (const Module *const module = findModule(owner))
    found = findConstant(module->constants, name);
  for (const Class *type = findClass(owner); type && !found; type = type->super)
    found = findConstant(type->constants, name);
  if (!found)
    misuse("there is no constant %.*s.%.*s", static_cast<int>(owner.size()), owner.data(),
           static_cast<int>(name.size()), name.data());
  return found->value;
}

const Event *findEvent(HostWord key) {
  const std::vector<Event> &events = registry().events;
  return key >= kFirstEventKey && key - kFirstEventKey < events.size()
             ? &events[key - kFirstEventKey]
             : nullptr;
}

const Event &requireEvent(const Class &type, std::string_view declaration) {
  for (const Event &event : registry().events)
    if (event.row->declaration == declaration && isA(type, event.owner->name))
      return event;
  misuse("%s has no event \"%.*s\"", type.name.c_str(), static_cast<int>(declaration.size()),
         declaration.data());
}

void forgetClasses() {
  checkNothingAlive();
  giveFreedBlocksBack(); // they name their classes
  registry().classes.resize(registry().builtinClasses);
  registry().modules.clear();
  registry().events.clear();
}

} // namespace host
