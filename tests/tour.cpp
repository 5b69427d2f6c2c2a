#include "tests/tour.h"

using host::Kind;

void Tour::visitClasses() {
  for (const host::Class *type : host::classes())
    if (type->registered)
      visit(host::create(type->name));
  for (const host::Member &member : host::sharedMembers())
    call(member, nullptr);
  host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", nullptr);
}

void Tour::visit(const host::Object &instance) {
  for (const host::Member &member : host::membersOf(instance.type()))
    call(member, instance);
}

std::vector<std::string> Tour::answersOf(const std::vector<host::Object> &oldWrappers) {
  Tour tour(false);
  tour.wanted = [](std::string_view name) {
    return !name.starts_with("Constructor(") && name != "Clear()";
  };
  for (const host::Object &wrapper : oldWrappers)
    tour.visit(wrapper);
  std::erase_if(tour.answers, [](std::string_view name) {
    return name == "Name" || name == "OwnerModule" ||
           name == "DeleteAttribute(name as String) as Integer";
  });
  return tour.answers;
}

void Tour::call(const host::Member &member, const host::Object &self) {
  if (wanted && !wanted(member.name))
    return;
  ++calls;
  std::vector<host::Value> arguments;
  for (const host::Type &type : member.parameters)
    arguments.push_back(argument(type));
  const host::Value result = host::call(member, self, arguments);
  if (void *const *pointer = std::get_if<void *>(&result); pointer && *pointer && takePointer)
    takePointer(*pointer);
  if (result != host::zeroOf(member.result))
    answers.push_back(member.name);
}

host::Value Tour::argument(const host::Type &type) const {
  if (!nil_ && type.kind == Kind::Object)
    return type.name == "FolderItem" ? host::newFolderItem("/nowhere") : host::create(type.name);
  if (!nil_ && type.kind == Kind::String)
    return host::String("name");
  host::Value value = host::zeroOf(type);
  std::visit(
      [](auto &held) {
        if constexpr (std::is_arithmetic_v<std::remove_reference_t<decltype(held)>>)
          held = 1;
      },
      value);
  return value;
}
