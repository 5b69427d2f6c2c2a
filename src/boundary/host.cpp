#include "boundary/host.h"

#include <cstring>

HostResolver gResolver = nullptr;

void (*ELockObject)(REALobject) = nullptr;
void (*EUnlockObject)(REALobject) = nullptr;
void (*EUnlockString)(REALstring) = nullptr;
void (*ELockString)(REALstring) = nullptr;

void (*IArray_Append)(REALobject, REALobject) = nullptr;
std::int32_t (*IArray_Count)(REALobject) = nullptr;
REALobject (*IArray_GetAt)(REALobject, std::int32_t) = nullptr;
constinit HostClass ObjectArrayRef("ObjectArray");

FoundEntry *gFoundEntries = nullptr;

namespace {

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

  while (FoundEntry *found = gFoundEntries) {
    gFoundEntries = found->next;
    found->forget();
  }
}

std::int32_t countToNul(REALstring string) {
  const char *bytes = StringGetCString::call(string);
  return bytes ? static_cast<std::int32_t>(std::strlen(bytes)) : 0;
}

[[gnu::cold, gnu::noinline]] bool isEmpty(REALstring string) { return bytesOf(string).empty(); }

REALclassRef REALGetClassRef(const char *className) {
  return HostEntry<"pluginObjectType", REALclassRef(const char *)>::call(className);
}

void *REALLoadObjectMethod(REALobject object, const char *declaration) {
  return HostEntry<"REALLoadObjectMethod", void *(REALobject, const char *)>::call(object,
                                                                                   declaration);
}

void *REALLoadFrameworkMethod(const char *declaration) {
  return HostEntry<"REALLoadGlobalMethod", void *(void *, const char *)>::call(nullptr,
                                                                               declaration);
}

void *REALGetEventInstance(REALobject instance, const REALevent *event) {
  return HostEntry<"GetEventInstance", void *(REALobject, HostWord)>::call(instance, event->key);
}

bool REALGetPropValueString(REALobject object, const char *name, REALstring *value) {
  return isTrue(
      HostEntry<"REALGetPropValueString",
                HostBoolean(REALobject, const char *, REALstring *)>::call(object, name, value));
}

void REALRegisterClass(REALclassDefinition *definition) {
  HostEntry<"PluginRegisterClass", void(REALclassDefinition *)>::call(definition);
}

void REALRegisterModule(REALmoduleDefinition *definition) {
  HostEntry<"PluginRegisterModule", void(REALmoduleDefinition *)>::call(definition);
}

bool AppendToObjectArray(REALobject &list, REALobject item) {
  if (!list) {
    list = REALnewInstanceWithClass(ObjectArrayRef.get());
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
