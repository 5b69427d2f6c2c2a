#include "plugin/host.h"

HostResolver gResolver = nullptr;

void (*ELockObject)(REALobject) = nullptr;
void (*EUnlockObject)(REALobject) = nullptr;
void (*EUnlockString)(REALstring) = nullptr;
void (*ELockString)(REALstring) = nullptr;

void (*IArray_Append)(REALobject, REALobject) = nullptr;
std::int32_t (*IArray_Count)(REALobject) = nullptr;
REALobject (*IArray_GetAt)(REALobject, std::int32_t) = nullptr;
REALclassRef ObjectArrayRef = nullptr;

bool gStringEntriesKnown = false;

constinit HostEntry<const char *(REALstring)> gGetCString("StringGetCString");
// The length function is a method of the host's framework, not an entry point.
constinit HostEntry<std::int32_t(REALstring)> gStringLength("LenB( s as string ) as integer",
                                                            REALLoadFrameworkMethod);
constinit HostEntry<REALstring(const char *, std::int32_t, std::uint32_t)>
    gBuildString("REALBuildStringWithEncoding");
constinit HostEntry<REALobject(REALclassRef)> gCreateInstance("CreateInstance");

namespace {

constinit HostEntry<void *(void *, const char *)> gLoadGlobalMethod("REALLoadGlobalMethod");
constinit HostEntry<REALclassRef(const char *)> gObjectType("pluginObjectType");
constinit HostEntry<void *(REALobject, const char *)> gLoadObjectMethod("REALLoadObjectMethod");
constinit HostEntry<void *(REALobject, HostWord)> gEventInstance("GetEventInstance");
constinit HostEntry<signed char(REALobject, const char *, REALstring *)>
    gPropValueString("REALGetPropValueString");
constinit HostEntry<void(REALclassDefinition *)> gRegisterClass("PluginRegisterClass");
constinit HostEntry<void(REALmoduleDefinition *)> gRegisterModule("PluginRegisterModule");

template <class Counted> void ignore(Counted) {}

template <class Counted> void loadLockSlot(void (*&slot)(Counted), const char *entryName) {
  slot = reinterpret_cast<void (*)(Counted)>(HCallResolver(entryName));
}

template <class Counted> void requirePair(void (*&lock)(Counted), void (*&unlock)(Counted)) {
  if (!lock || !unlock) {
    lock = ignore<Counted>;
    unlock = ignore<Counted>;
  }
}

template <class Method>
bool loadArrayMethod(Method *&cache, REALobject list, const char *declaration) {
  if (!cache) {
    cache = reinterpret_cast<Method *>(REALLoadObjectMethod(list, declaration));
  }
  return cache;
}

} // namespace

void *HCallResolver(const char *entryName) { return gResolver(entryName); }

void LoadEntryPoints() {
  loadLockSlot(ELockObject, "REALLockObject");
  loadLockSlot(EUnlockObject, "REALUnlockObject");
  loadLockSlot(EUnlockString, "REALUnlockString");
  loadLockSlot(ELockString, "REALLockString");
  requirePair(ELockObject, EUnlockObject);
  requirePair(ELockString, EUnlockString);
}

const char *REALGetStringContents(REALstring string, std::int32_t *length) {
  if (!string) {
    return nullptr;
  }
  auto *getCString = gGetCString.get();
  auto *stringLength = gStringLength.get();
  gStringEntriesKnown = getCString && stringLength;
  if (length && stringLength) {
    *length = stringLength(string);
  }
  return getCString ? getCString(string) : nullptr;
}

std::string_view lookUpBytesOf(REALstring string) {
  std::int32_t length = -1;
  const char *bytes = REALGetStringContents(string, &length);
  if (!bytes) {
    return "";
  }
  if (length < 0) { // the host has no length function
    return bytes;
  }
  return {bytes, static_cast<std::size_t>(length)};
}

REALclassRef REALGetClassRef(const char *className) {
  auto *entry = gObjectType.get();
  return entry ? entry(className) : nullptr;
}

void *REALLoadObjectMethod(REALobject object, const char *declaration) {
  auto *entry = gLoadObjectMethod.get();
  return entry ? entry(object, declaration) : nullptr;
}

void *REALLoadFrameworkMethod(const char *declaration) {
  auto *entry = gLoadGlobalMethod.get();
  return entry ? entry(nullptr, declaration) : nullptr;
}

void *REALGetEventInstance(REALobject instance, const REALevent *event) {
  auto *entry = gEventInstance.get();
  return entry ? entry(instance, event->key) : nullptr;
}

signed char REALGetPropValueString(REALobject object, const char *name, REALstring *value) {
  auto *entry = gPropValueString.get();
  return entry ? entry(object, name, value) : static_cast<signed char>(0);
}

void REALRegisterClass(REALclassDefinition *definition) {
  if (auto *entry = gRegisterClass.get()) {
    entry(definition);
  }
}

void REALRegisterModule(REALmoduleDefinition *definition) {
  if (auto *entry = gRegisterModule.get()) {
    entry(definition);
  }
}

bool AppendToObjectArray(REALobject &list, REALobject item) {
  if (!list) {
    list = REALnewInstanceWithClass(cachedClassRef(ObjectArrayRef, "ObjectArray"));
  }
  if (!list || !loadArrayMethod(IArray_Append, list, "Append(item as Object)")) {
    return false;
  }
  IArray_Append(list, item);
  return true;
}

bool LoadObjectArrayReaders(REALobject list) {
  return loadArrayMethod(IArray_Count, list, "Count() as Integer") &&
         loadArrayMethod(IArray_GetAt, list, "GetAt(n as Integer) as Object");
}
