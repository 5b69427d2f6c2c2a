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
#include <utility>

#include "boundary/declare.h"
#include "boundary/platform.h"
#include "boundary/records.h"

// --- Set-up ---

// Set once, by REALPluginMain, before anything else runs.
extern HostResolver gResolver;

// The resolver's answer, unchanged.
void *HCallResolver(const char *entryName);

// Fills the four slots below, and forgets every other entry of an earlier resolver. Where the host
// lacks one of a pair, both do nothing: better to keep what should go than to let go of what is in
// use.
void LoadEntryPoints();

extern void (*ELockObject)(REALobject);
extern void (*EUnlockObject)(REALobject);
extern void (*EUnlockString)(REALstring);
extern void (*ELockString)(REALstring);

// An entry that has been found, to be looked up anew after the next load.
struct FoundEntry {
  void (*forget)();
  FoundEntry *next;
};
extern FoundEntry *gFoundEntries;

// A host entry point, called by its type:
//   HostEntry<"CreateInstance", REALobject(REALclassRef)>::call
// The first call looks it up. As long as the host does not answer,
// each call asks again and gives the zero value, or what `missing` gives.
template <declare::Text name, class Function, auto lookUp = HCallResolver, auto missing = nullptr>
struct HostEntry;

template <declare::Text name, class Result, class... Arguments, auto lookUp, auto missing>
struct HostEntry<name, Result(Arguments...), lookUp, missing> {
  using Call = Result (*)(Arguments...);

  static Result firstCall(Arguments... arguments) {
    if (auto *entry = reinterpret_cast<Call>(lookUp(name.chars))) {
      call = entry;
      found.next = std::exchange(gFoundEntries, &found);
      return entry(arguments...);
    }
    if constexpr (std::is_null_pointer_v<decltype(missing)>) {
      return Result();
    } else {
      return missing(arguments...);
    }
  }
  static void forget() { call = firstCall; }

  static inline constinit Call call = firstCall;
  static inline constinit FoundEntry found{forget, nullptr};
};

void *REALLoadFrameworkMethod(const char *declaration);

// --- Classes, instances, strings ---

// The class data block of one plug-in class in an instance.
inline void *REALGetClassData(REALobject instance, const REALclassDefinition *definition) {
  return reinterpret_cast<char *>(instance) + definition->dataOffset;
}

using StringGetCString = HostEntry<"StringGetCString", const char *(REALstring)>;
std::int32_t countToNul(REALstring string);
// A method of the host's framework, not an entry point.
using StringLength = HostEntry<"LenB( s as string ) as integer", std::int32_t(REALstring),
                               REALLoadFrameworkMethod, countToNul>;

// The bytes of a string, ended by a NUL, alive as long as the string; their count, up to the first
// NUL where the host cannot tell, through `length` when that is not null. Null, and no length
// written, for a nil string.
inline const char *REALGetStringContents(REALstring string, std::int32_t *length) {
  if (!string) {
    return nullptr;
  }
  if (length) {
    *length = StringLength::call(string);
  }
  return StringGetCString::call(string);
}

// A new string of exactly those bytes; the caller owns its lock. Nil when the host makes none.
inline REALstring REALBuildStringWithEncoding(const char *bytes, std::int32_t byteCount,
                                              std::uint32_t encoding) {
  return HostEntry<"REALBuildStringWithEncoding",
                   REALstring(const char *, std::int32_t, std::uint32_t)>::call(bytes, byteCount,
                                                                                encoding);
}

// Nil for an unknown class.
REALclassRef REALGetClassRef(const char *className);

// A registered class, looked up by name at the first use after a load.
class HostClass {
public:
  explicit constexpr HostClass(const char *name) : name_(name) {}

  // Nil, and asked for anew, as long as the host does not know it.
  REALclassRef get() {
    if (!found_) [[unlikely]] {
      found_ = REALGetClassRef(name_);
    }
    return found_;
  }
  void forget() { found_ = nullptr; }

private:
  const char *name_;
  REALclassRef found_ = nullptr;
};

// A new instance with zeroed class data, its constructors run; the caller owns its lock. Nil for
// a nil class, or when the host makes none.
inline REALobject REALnewInstanceWithClass(REALclassRef classRef) {
  return classRef ? HostEntry<"CreateInstance", REALobject(REALclassRef)>::call(classRef) : nullptr;
}

void *REALLoadObjectMethod(REALobject object, const char *declaration);

// The handler attached to an event of this instance, or null.
void *REALGetEventInstance(REALobject instance, const REALevent *event);

// True when the object has that String property; the caller unlocks the value.
bool REALGetPropValueString(REALobject object, const char *name, REALstring *value);

void REALRegisterClass(REALclassDefinition *definition);
void REALRegisterModule(REALmoduleDefinition *definition);

// --- ObjectArray, the host's ordered list that holds a lock on each item ---

extern void (*IArray_Append)(REALobject list, REALobject item);
extern std::int32_t (*IArray_Count)(REALobject list);
extern REALobject (*IArray_GetAt)(REALobject list, std::int32_t index); // the caller unlocks
extern HostClass ObjectArrayRef;

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

// The bytes of a string; no bytes for nil, and for an empty string object alike.
inline std::string_view bytesOf(REALstring string) {
  std::int32_t length = 0;
  const char *bytes = REALGetStringContents(string, &length);
  return bytes ? std::string_view(bytes, static_cast<std::size_t>(length)) : "";
}

bool isEmpty(REALstring string); // also nil

// A string where Python wants a name: NUL-ended bytes, or null when there is no name. Python reads
// up to the first NUL, so that one in front makes the empty name, which is a name.
inline const char *asPythonName(REALstring string) {
  const char *bytes = REALGetStringContents(string, nullptr);
  if (bytes && !*bytes) [[unlikely]] {
    return isEmpty(string) ? nullptr : "";
  }
  return bytes;
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
  // Takes over a lock.
  explicit HostLock(Counted locked) : counted_(locked) {}
  // A lock of its own on what is lent.
  static HostLock share(Counted lent) {
    lock(lent);
    return HostLock(lent);
  }
  ~HostLock() { unlock(counted_); }
  HostLock(const HostLock &) = delete;
  HostLock &operator=(const HostLock &) = delete;

  Counted get() const { return counted_; }

private:
  Counted counted_;
};

using ObjectLock = HostLock<REALobject, ELockObject, EUnlockObject>;
using StringLock = HostLock<REALstring, ELockString, EUnlockString>;
