#include "host/runtime/runtime.h"

#include "host/runtime/builtins.h"
#include "host/runtime/platform.h"

#include <cstdlib>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>

namespace host {
namespace {

struct State {
  std::set<std::string, std::less<>> withheld;
  std::map<std::string, int, std::less<>> lookups;
  int refuseInstance = 0; // calls until the one that is refused; 0: none is
  int refuseString = 0;
  int announcedVersion = 0;
  void *plugin = nullptr;
};

// Never destroyed: a plug-in may call until the very end.
State &state() {
  static State *const instance = new State;
  return *instance;
}

// Counts the look-up, and says whether it may be answered.
bool offered(std::string_view name) {
  ++state().lookups[std::string(name)];
  return !state().withheld.contains(name);
}

bool refuses(int &left) { return left > 0 && --left == 0; }

int &callsLeft(std::string_view entryName) {
  if (entryName == "CreateInstance")
    return state().refuseInstance;
  if (entryName == "REALBuildStringWithEncoding")
    return state().refuseString;
  misuse("%.*s cannot refuse", static_cast<int>(entryName.size()), entryName.data());
}

template <class F> void *address(F *function) { return reinterpret_cast<void *>(function); }

// --- entry points --------------------------------------------------------------------------------

void registerPluginVersion(std::int32_t version) { state().announcedVersion = version; }

void pluginRegisterClass(REALclassDefinition *record) { registerClass(record); }

void pluginRegisterModule(REALmoduleDefinition *record) { registerModule(record); }

REALclassRef pluginObjectType(const char *className) { return findClass(className); }

REALobject createInstance(REALclassRef type) {
  if (!type)
    misuse("CreateInstance: no class");
  return refuses(state().refuseInstance) ? nullptr : newObject(*type);
}

void lockObject(REALobject object) { lock(object); }
void unlockObject(REALobject object) { unlock(object); }
void lockString(REALstring string) { lock(string); }
void unlockString(REALstring string) { unlock(string); }

const char *stringGetCString(REALstring string) {
  return string ? contents(string).data() : nullptr;
}

REALstring buildStringWithEncoding(const char *bytes, std::int32_t byteCount,
                                   std::uint32_t encoding) {
  if (byteCount < 0 || (!bytes && byteCount > 0))
    misuse("REALBuildStringWithEncoding: %d bytes from %p", byteCount,
           static_cast<const void *>(bytes));
  if (refuses(state().refuseString))
    return nullptr;
  return newString({bytes, static_cast<std::size_t>(byteCount)}, encoding);
}

void *loadGlobalMethod(void *null, const char *declaration) {
  if (null)
    misuse("REALLoadGlobalMethod: the first argument is not null");
  const REALmethodDefinition *const method = findGlobalMethod(declaration);
  return offered(declaration) && method ? address(method->function) : nullptr;
}

void *loadObjectMethod(REALobject object, const char *declaration) {
  const Method *const method = findMethod(classOf(object, "REALLoadObjectMethod"), declaration);
  return offered(declaration) && method ? address(method->row->function) : nullptr;
}

// A handler of the instance goes before one that its class brought along.
void *getEventInstance(REALobject instance, HostWord key) {
  const Class &type = classOf(instance, "GetEventInstance");
  const Event *const event = findEvent(key);
  if (!event || !isA(type, event->owner->name))
    misuse("GetEventInstance: %#jx is no event of class %s", static_cast<std::uintmax_t>(key),
           type.name.c_str());
  if (instance->attachments)
    for (const auto &[handled, handler] : instance->attachments->handlers)
      if (handled == key)
        return address(handler);
  for (const Class *next = &type; next; next = next->super)
    for (const auto &[handled, handler] : next->handlers)
      if (handled == key)
        return address(handler);
  return nullptr;
}

HostBoolean getPropValueString(REALobject object, const char *propertyName, REALstring *value) {
  const Property *const property =
      findProperty(classOf(object, "REALGetPropValueString"), propertyName);
  if (!property || property->type.kind != Kind::String || !offered(propertyName))
    return withRubbish(0);
  *value = reinterpret_cast<REALstring (*)(REALobject)>(property->row->getter)(object);
  return withRubbish(1);
}

struct Entry {
  std::string_view name;
  void *address;
};

const Entry *findEntry(std::string_view name) {
  static const Entry entries[] = {
      {"RegisterPluginVersion", address(registerPluginVersion)},
      {"PluginRegisterClass", address(pluginRegisterClass)},
      {"PluginRegisterModule", address(pluginRegisterModule)},
      {"pluginObjectType", address(pluginObjectType)},
      {"CreateInstance", address(createInstance)},
      {"REALLockObject", address(lockObject)},
      {"REALUnlockObject", address(unlockObject)},
      {"REALLockString", address(lockString)},
      {"REALUnlockString", address(unlockString)},
      {"StringGetCString", address(stringGetCString)},
      {"REALLoadGlobalMethod", address(loadGlobalMethod)},
      {"REALBuildStringWithEncoding", address(buildStringWithEncoding)},
      {"REALLoadObjectMethod", address(loadObjectMethod)},
      {"GetEventInstance", address(getEventInstance)},
      {"REALGetPropValueString", address(getPropValueString)},
  };
  for (const Entry &entry : entries)
    if (entry.name == name)
      return &entry;
  return nullptr;
}

} // namespace

void *resolve(const char *entryName) {
  const Entry *const entry = findEntry(entryName);
  return offered(entryName) && entry ? entry->address : nullptr;
}

void withhold(std::string_view name) { state().withheld.emplace(name); }
void restore(std::string_view name) { state().withheld.erase(std::string(name)); }
void restoreAll() { state().withheld.clear(); }

int lookups(std::string_view name) {
  const auto found = state().lookups.find(name);
  return found == state().lookups.end() ? 0 : found->second;
}

std::vector<std::string> lookedUp() {
  std::vector<std::string> names;
  for (const auto &[name, count] : state().lookups)
    names.push_back(name);
  return names;
}

void forgetLookups() { state().lookups.clear(); }

void refuseCall(std::string_view entryName, int nth) { callsLeft(entryName) = nth; }
bool refusalPending(std::string_view entryName) { return callsLeft(entryName) > 0; }

void load(const std::string &path) {
  if (state().plugin)
    throw std::runtime_error("a plug-in is loaded already");
  // With a directory in its name, so that the loader searches nowhere else.
  const std::string file = platform::absolute(path);
  void *const plugin = platform::openLibrary(file);
  if (!plugin)
    throw std::runtime_error("the plug-in cannot be opened: " + platform::libraryError());
  void *const entry = platform::findSymbol(plugin, "REALPluginMain");
  if (!entry) {
    platform::closeLibrary(plugin);
    throw std::runtime_error(file + " is no plug-in: it does not export REALPluginMain");
  }
  state().plugin = plugin;
  reinterpret_cast<void (*)(HostResolver)>(entry)(resolve);
  if (state().announcedVersion != static_cast<int>(kInterfaceVersion))
    throw std::runtime_error(file + " is for another host: it announced interface version " +
                             std::to_string(state().announcedVersion));
}

std::string pluginPath(std::string_view otherwise) {
  const std::string chosen = platform::variable("QUILLIX_PLUGIN_PATH");
  return chosen.empty() ? std::string(otherwise) : chosen;
}

int announcedVersion() { return state().announcedVersion; }

void unload() {
  forgetClasses();
  state().announcedVersion = 0;
  if (state().plugin)
    platform::closeLibrary(std::exchange(state().plugin, nullptr));
}

} // namespace host
