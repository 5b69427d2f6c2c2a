// The one channel to the host: the operations that the plug-in asks of it.
//
// Each operation resolves its entry point by name at its first call, keeps the answer, and has a
// harmless result when the host has no such entry. Locks follow four rules:
//   - an object or string passed in is lent for the call; what is kept longer is locked once;
//   - an object or string returned to the host carries one lock for the caller;
//   - what the host hands over with a lock is unlocked when done with, unless it is stored;
//   - nil may be locked and unlocked, to no effect.
// Everything runs on the host's thread; only what Python's own threads print arrives on theirs, one
// at a time, while the host's thread waits inside Python.
#pragma once

#include <string_view>

#include "plugin/declare.h"
#include "plugin/platform.h"
#include "plugin/records.h"

// --- Set-up ---

// Set once, by REALPluginMain, before anything else runs.
extern HostResolver gResolver;

// The resolver's answer, unchanged.
void *HCallResolver(const char *entryName);

// Fills the four slots below. Where the host lacks one of a pair, both do nothing: better to keep
// what should go than to let go of what is in use.
void LoadEntryPoints();

extern void (*ELockObject)(REALobject);
extern void (*EUnlockObject)(REALobject);
extern void (*EUnlockString)(REALstring);
extern void (*ELockString)(REALstring);

// A host entry point, looked up by name until the host answers.
template <class Function> class HostEntry {
public:
  using LookUp = void *(*)(const char *name);
  explicit constexpr HostEntry(const char *name, LookUp lookUp = HCallResolver)
      : name_(name), lookUp_(lookUp) {}

  Function *get() {
    if (!entry_) [[unlikely]] {
      entry_ = reinterpret_cast<Function *>(lookUp_(name_));
    }
    return entry_;
  }
  // Where it has been looked up with success.
  Function *known() const { return entry_; }

private:
  const char *name_;
  LookUp lookUp_;
  Function *entry_ = nullptr;
};

// Those that nearly every operation calls.
extern HostEntry<const char *(REALstring)> gGetCString;
extern HostEntry<std::int32_t(REALstring)> gStringLength;
extern HostEntry<REALstring(const char *, std::int32_t, std::uint32_t)> gBuildString;
extern HostEntry<REALobject(REALclassRef)> gCreateInstance;

// --- Classes, instances, strings ---

// The class data block of one plug-in class in an instance.
inline void *REALGetClassData(REALobject instance, const REALclassDefinition *definition) {
  return reinterpret_cast<char *>(instance) + definition->dataOffset;
}

// The bytes of a string, ended by a NUL, alive as long as the string; their count through
// `length` when that is not null. Null, and no length written, for a nil string.
const char *REALGetStringContents(REALstring string, std::int32_t *length);

// A new string of exactly those bytes; the caller owns its lock. Nil when the host makes none.
inline REALstring REALBuildStringWithEncoding(const char *bytes, std::int32_t byteCount,
                                              std::uint32_t encoding) {
  auto *entry = gBuildString.get();
  return entry ? entry(bytes, byteCount, encoding) : nullptr;
}

// Nil for an unknown class.
REALclassRef REALGetClassRef(const char *className);

// A new instance with zeroed class data, its constructors run; the caller owns its lock. Nil for
// a nil class, or when the host makes none.
inline REALobject REALnewInstanceWithClass(REALclassRef classRef) {
  auto *entry = classRef ? gCreateInstance.get() : nullptr;
  return entry ? entry(classRef) : nullptr;
}

void *REALLoadObjectMethod(REALobject object, const char *declaration);
void *REALLoadFrameworkMethod(const char *declaration);

// The handler attached to an event of this instance, or null.
void *REALGetEventInstance(REALobject instance, const REALevent *event);

// True when the object has that String property; the caller unlocks the value.
signed char REALGetPropValueString(REALobject object, const char *name, REALstring *value);

void REALRegisterClass(REALclassDefinition *definition);
void REALRegisterModule(REALmoduleDefinition *definition);

// --- ObjectArray, the host's ordered list that holds a lock on each item ---

extern void (*IArray_Append)(REALobject list, REALobject item);
extern std::int32_t (*IArray_Count)(REALobject list);
extern REALobject (*IArray_GetAt)(REALobject list, std::int32_t index); // the caller unlocks
extern REALclassRef ObjectArrayRef;

// Appends to a list, which is made first where it is nil; whoever owns the reference owns the new
// list's one lock. False when the host has no such list or it cannot be appended to.
bool AppendToObjectArray(REALobject &list, REALobject item);

// Loads Count and GetAt from a list at hand; false when the host lacks one.
bool LoadObjectArrayReaders(REALobject list);

// --- Shorthands ---

// The class data of one class, by its type.
template <class Data> Data &classData(REALobject instance, const REALclassDefinition &definition) {
  return *static_cast<Data *>(REALGetClassData(instance, &definition));
}

// The class reference behind a cache that is null until its first use.
inline REALclassRef cachedClassRef(REALclassRef &cache, const char *className) {
  if (!cache) [[unlikely]] {
    cache = REALGetClassRef(className);
  }
  return cache;
}

// Whether REALGetStringContents has found both its entries; then they are called in place.
extern bool gStringEntriesKnown;

std::string_view lookUpBytesOf(REALstring string); // by entries that are not known yet

// The bytes of a string; no bytes for nil, and for an empty string object alike.
inline std::string_view bytesOf(REALstring string) {
  if (!string) {
    return "";
  }
  if (!gStringEntriesKnown) [[unlikely]] {
    return lookUpBytesOf(string);
  }
  std::int32_t length = gStringLength.known()(string);
  const char *bytes = gGetCString.known()(string);
  return bytes ? std::string_view(bytes, static_cast<std::size_t>(length)) : "";
}

// A string where Python wants a name: NUL-ended bytes, or null when there is no name.
inline const char *nameOf(REALstring string) {
  const char *bytes = string && gStringEntriesKnown ? gGetCString.known()(string)
                                                    : REALGetStringContents(string, nullptr);
  return bytes && *bytes ? bytes : nullptr;
}

// A new string of Python's text; the caller owns its lock. Nil, too, for more than the host counts.
inline REALstring newString(const char *bytes, std::size_t count) {
  if (count > INT32_MAX) [[unlikely]] {
    return nullptr;
  }
  return REALBuildStringWithEncoding(bytes, static_cast<std::int32_t>(count), kEncodingUTF8);
}

// Without the call into the host where there is nothing to lock.
inline void lockIfAny(REALobject object) {
  if (object) {
    ELockObject(object);
  }
}
inline void unlockIfAny(REALobject object) {
  if (object) {
    EUnlockObject(object);
  }
}

// One lock on a host object or string, given back at the end.
template <class Counted, void (*&lock)(Counted), void (*&unlock)(Counted)> class HostLock {
public:
  static HostLock take(Counted counted) {
    lock(counted);
    return HostLock(counted);
  }
  static HostLock adopt(Counted locked) { return HostLock(locked); }
  ~HostLock() { unlock(counted_); }
  HostLock(const HostLock &) = delete;
  HostLock &operator=(const HostLock &) = delete;

  Counted get() const { return counted_; }

private:
  explicit HostLock(Counted counted) : counted_(counted) {}
  Counted counted_;
};

using ObjectLock = HostLock<REALobject, ELockObject, EUnlockObject>;
using StringLock = HostLock<REALstring, ELockString, EUnlockString>;
