#include "host/cli/cli.h"
#include "host/runtime/call.h"

#include <cstdio>
#include <string>

namespace {

using host::Class;

std::string indented(int depth) { return std::string(static_cast<std::size_t>(depth) * 2, ' '); }

template <class Items>
void printCount(std::string &line, const Items &items, const char *one, const char *many) {
  if (items == 0)
    return;
  line += (line.empty() ? "" : ", ") + std::to_string(items) + ' ' + (items == 1 ? one : many);
}

struct Totals {
  std::size_t classes = 0;
  std::size_t properties = 0;
  std::size_t methods = 0;
  std::size_t sharedMethods = 0;
  std::size_t events = 0;
  std::size_t constants = 0;

  std::string text() const {
    std::string line;
    printCount(line, classes, "class", "classes");
    printCount(line, properties, "property", "properties");
    printCount(line, methods, "method", "methods");
    printCount(line, sharedMethods, "shared method", "shared methods");
    printCount(line, events, "event", "events");
    printCount(line, constants, "constant", "constants");
    return line.empty() ? "no members" : line;
  }
};

void printMethods(const std::vector<host::Method> &methods, const char *kind,
                  const std::string &indent) {
  for (const host::Method &method : methods)
    std::printf("%s%-13s  %s%s\n", indent.c_str(), kind, method.row->declaration,
                method.row->setter ? "  (assignable)" : "");
}

void printConstants(const std::vector<host::Constant> &constants, const std::string &indent) {
  for (const host::Constant &constant : constants)
    std::printf("%s%-13s  %s = %d\n", indent.c_str(), "constant", constant.name.c_str(),
                constant.value);
}

// A class and, below it, its subclasses.
void printClass(const Class &type, int depth, Totals &totals) {
  const REALclassDefinition &record = *type.record;
  const Totals own{0,
                   type.properties.size(),
                   type.methods.size(),
                   type.sharedMethods.size(),
                   record.events.count,
                   type.constants.size()};
  totals.classes += 1;
  totals.properties += own.properties;
  totals.methods += own.methods;
  totals.sharedMethods += own.sharedMethods;
  totals.events += own.events;
  totals.constants += own.constants;

  std::printf("%sclass %s: %s\n", indented(depth).c_str(), type.name.c_str(), own.text().c_str());
  const std::string indent = indented(depth + 1);
  printConstants(type.constants, indent);
  for (const host::Property &property : type.properties)
    std::printf("%s%-13s  %s as %s\n", indent.c_str(), "property", property.row->name,
                property.row->type);
  for (HostWord i = 0; i < record.events.count; ++i)
    std::printf("%s%-13s  %s\n", indent.c_str(), "event", record.events.rows[i].declaration);
  printMethods(type.methods, "method", indent);
  printMethods(type.sharedMethods, "shared method", indent);
  std::putchar('\n');

  for (const Class *other : host::classes())
    if (other->super == &type)
      printClass(*other, depth + 1, totals);
}

} // namespace

const char *const cli::kApiHelp =
    R"(usage: quillix-host api

Lists the public interface that the plug-in registers, in the order of registration: each class with
its subclasses below it, and the modules. Assignable methods are marked. Needs no Python.

Exit status: 0 success; 1 the plug-in cannot be loaded; 2 wrong usage; 3 something was still alive
at the end that should have been gone.
)";

int cli::api(Arguments arguments) {
  if (!arguments.empty())
    return badUsage("api takes no arguments", kApiHelp);
  if (!loadPlugin())
    return kFailure;
  std::printf("interface version %d\n\n", host::announcedVersion());
  Totals totals;
  for (const Class *type : host::classes())
    if (type->registered && (!type->super || !type->super->registered))
      printClass(*type, 0, totals);
  for (const host::Module *module : host::modules()) {
    totals.constants += module->constants.size();
    totals.methods += module->record->methods.count;
    std::printf("module %s: %zu constants\n", module->name.c_str(), module->constants.size());
    printConstants(module->constants, indented(1));
    std::putchar('\n');
  }
  std::printf("in all: %zu %s, %s\n", host::modules().size(),
              host::modules().size() == 1 ? "module" : "modules", totals.text().c_str());
  return finish(kSuccess);
}
