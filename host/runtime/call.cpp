#include "host/runtime/call.h"

#include "host/runtime/builtins.h"

#include <algorithm>

namespace host {
namespace {

constexpr const char *kKindNames[] = {"nothing", "Integer", "Int32",  "UInt32", "Int64", "UInt64",
                                      "Double",  "Boolean", "String", "Object", "Ptr"};

std::string describeKinds(KindSet kinds) {
  std::string names;
  for (unsigned i = 0; i < std::size(kKindNames); ++i)
    if (kinds & 1u << i)
      names += (names.empty() ? "" : " or ") + std::string(kKindNames[i]);
  return names;
}

[[noreturn]] void mismatch(const Callee &callee, const std::string &fault) {
  misuse("%s.%s: %s", callee.owner.name.c_str(), callee.name, fault.c_str());
}

Callee calleeOf(const Class &type, const Method *found, const char *declaration, bool isSetter,
                const char *noun) {
  if (!found || (isSetter && !found->row->setter))
    misuse("%s has no %s \"%s\"", type.name.c_str(), noun, declaration);
  return {type, found->row->declaration, isSetter ? found->row->setter : found->row->function,
          found->signature.parameters, found->signature.result};
}

// `types` are the declared ones in the order of the C parameters.
void checkTypes(const Callee &callee, std::span<const Type *const> types,
                std::span<const KindSet> given) {
  if (types.size() != given.size())
    mismatch(callee, "called with " + std::to_string(given.size()) + " arguments, declared with " +
                         std::to_string(types.size()));
  for (std::size_t i = 0; i < types.size(); ++i)
    if (!(given[i] & only(types[i]->kind)))
      mismatch(callee, "argument " + std::to_string(i + 1) + " is " + describeKinds(given[i]) +
                           ", declared " + types[i]->name);
}

std::vector<const Type *> parameterTypes(const Callee &callee, bool isSetter) {
  std::vector<const Type *> types;
  for (const Type &type : callee.parameters)
    types.push_back(&type);
  if (isSetter)
    types.push_back(&callee.result);
  return types;
}

void check(const Callee &callee, bool isSetter, std::span<const detail::Argument> arguments) {
  const std::vector<const Type *> types = parameterTypes(callee, isSetter);
  std::vector<KindSet> given;
  for (const detail::Argument &argument : arguments)
    given.push_back(argument.fits);
  checkTypes(callee, types, given);
  for (std::size_t i = 0; i < types.size(); ++i)
    if (types[i]->kind == Kind::Object)
      detail::checkInstance(callee, *types[i], arguments[i].object);
}

void handleConsoleOutput(REALobject object, REALstring output) noexcept {
  // A copy, because the handler may set another one.
  if (const auto handler = attachmentsOf(object).consoleOutput)
    handler(contents(output));
}

} // namespace

Callee method(const Class &type, const char *declaration) {
  return calleeOf(type, findMethod(type, declaration), declaration, false, "method");
}

Callee setter(const Class &type, const char *declaration) {
  return calleeOf(type, findMethod(type, declaration), declaration, true, "assignable method");
}

Callee sharedMethod(const Class &type, const char *declaration) {
  return calleeOf(type, findSharedMethod(type, declaration), declaration, false, "shared method");
}

Callee getter(const Class &type, const char *propertyName) {
  const Property *const property = findProperty(type, propertyName);
  if (!property)
    misuse("%s has no property \"%s\"", type.name.c_str(), propertyName);
  return {type, property->row->name, property->row->getter, {}, property->type};
}

namespace detail {

void checkArguments(const Callee &callee, std::span<const Argument> arguments) {
  check(callee, false, arguments);
}

void checkAssignment(const Callee &callee, std::span<const Argument> arguments) {
  check(callee, true, arguments);
}

void checkResult(const Callee &callee, KindSet fits) {
  if (!(fits & only(callee.result.kind)))
    mismatch(callee, "the result is taken as " + describeKinds(fits) + ", declared " +
                         (callee.result.name.empty() ? "without one" : callee.result.name));
}

void checkInstance(const Callee &callee, const Type &declared, REALobject object) {
  if (declared.name != "Object" && !findClass(declared.name))
    mismatch(callee, "there is no class " + declared.name);
  if (object && !isA(classOf(object, callee.name), declared.name))
    mismatch(callee, "an object of class " + classOf(object, callee.name).name + ", declared " +
                         declared.name);
}

void checkSignature(const Callee &callee, bool isSetter, bool ofInstance, KindSet result,
                    std::span<const KindSet> parameters) {
  if (ofInstance) {
    if (parameters.empty() || !(parameters.front() & only(Kind::Object)))
      mismatch(callee, "the function's first parameter is no instance");
    parameters = parameters.subspan(1);
  }
  checkTypes(callee, parameterTypes(callee, isSetter), parameters);
  if (!isSetter)
    checkResult(callee, result);
  else if (result != only(Kind::None))
    mismatch(callee, "a setter has no result");
}

void unfitResult(const Callee &callee, std::intmax_t value) {
  mismatch(callee, "the result " + std::to_string(value) + " does not fit " + callee.result.name);
}

} // namespace detail

Object create(std::string_view className) {
  return Object::adopt(newObject(requireClass(className)));
}

Object newFolderItem(std::string_view path) { return Object::adopt(newFolderItemObject(path)); }

void attachHandler(const Object &object, const char *declaration, TextHandler handler) {
  const HostWord key = requireEvent(object.type(), declaration).row->key;
  auto &handlers = attachmentsOf(object.get()).handlers;
  std::erase_if(handlers, [&](const auto &known) { return known.first == key; });
  handlers.emplace_back(key, reinterpret_cast<HostFunction>(handler));
}

void implementEvent(std::string_view className, const char *declaration, TextHandler handler) {
  Class &type = requireClass(className);
  const HostWord key = requireEvent(type, declaration).row->key;
  std::erase_if(type.handlers, [&](const auto &known) { return known.first == key; });
  type.handlers.emplace_back(key, reinterpret_cast<HostFunction>(handler));
}

void onConsoleOutput(const Object &object, std::function<void(std::string_view)> handler) {
  attachHandler(object, "ConsoleOutput(output as String)", handleConsoleOutput);
  attachmentsOf(object.get()).consoleOutput = std::move(handler);
}

void onDestroyed(const Object &object, std::function<void()> hook) {
  attachmentsOf(object.get()).destroyed = std::move(hook);
}

} // namespace host
