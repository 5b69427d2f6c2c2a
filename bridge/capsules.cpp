// Object capsules: the form in which a host object travels through Python.
//
// A capsule owns one lock on its host object, from its making until Python frees it. The bridge
// remembers every capsule that it made: no other capsule is taken for a host object, whatever its
// maker put inside, and the locks of capsules that outlive their interpreter, because something
// still refers to them, are given back when it stops.

#include <cstdlib>

#include "bridge/bridge.h"

namespace {

// The capsules alive and their host objects: a hash table with open addressing, a power of two of
// entries, never more than half full.
class CapsuleTable {
public:
  // Makes room for one more; false when there is no memory.
  bool reserve() { return count_ < limit_ || grow(); }

  // There must be room.
  void add(PyObject *capsule, REALobject object) {
    Entry &entry = entries_[position(capsule)];
    if (!entry.capsule) { // else other code had taken the destructor from a capsule of that address
      ++count_;
    }
    entry = {capsule, object};
  }

  // The capsule's host object, or nil for a capsule that is not here.
  REALobject find(PyObject *capsule) const { return entries_[position(capsule)].object; }

  // Takes a capsule out and yields its host object, or nil.
  REALobject remove(PyObject *capsule) {
    std::size_t hole = position(capsule);
    REALobject object = entries_[hole].object;
    if (!object) {
      return nullptr;
    }
    // Later entries of the same run move up, so that no look-up stops at the hole.
    for (std::size_t i = next(hole); entries_[i].capsule; i = next(i)) {
      if (distance(home(entries_[i].capsule), i) >= distance(hole, i)) {
        entries_[hole] = entries_[i];
        hole = i;
      }
    }
    entries_[hole] = {};
    --count_;
    return object;
  }

  // Empties the table, then gives every capsule's lock back.
  void release() {
    CapsuleTable old = *this;
    *this = {};
    for (std::size_t i = 0; i <= old.mask_; ++i) {
      EUnlockObject(old.entries_[i].object);
    }
    old.free();
  }

private:
  struct Entry {
    PyObject *capsule;
    REALobject object;
  };

  static constexpr std::size_t kLeast = 16;
  static Entry none_[1]; // the entries of a table without room

  // Objects are aligned, so the low bits say nothing.
  std::size_t home(PyObject *capsule) const {
    auto address = reinterpret_cast<std::uintptr_t>(capsule);
    return ((address >> 4) ^ (address >> 12)) & mask_;
  }
  std::size_t next(std::size_t i) const { return (i + 1) & mask_; }
  std::size_t distance(std::size_t from, std::size_t to) const { return (to - from) & mask_; }

  // Where the capsule is, or the empty entry that ends the search for it.
  std::size_t position(PyObject *capsule) const {
    std::size_t i = home(capsule);
    while (entries_[i].capsule && entries_[i].capsule != capsule) {
      i = next(i);
    }
    return i;
  }

  [[gnu::noinline]] bool grow() {
    CapsuleTable larger;
    const std::size_t capacity = limit_ ? (mask_ + 1) * 2 : kLeast;
    larger.entries_ = static_cast<Entry *>(std::calloc(capacity, sizeof(Entry)));
    if (!larger.entries_) {
      return false;
    }
    larger.mask_ = capacity - 1;
    larger.limit_ = capacity / 2;
    for (std::size_t i = 0; i <= mask_; ++i) {
      if (entries_[i].capsule) {
        larger.add(entries_[i].capsule, entries_[i].object);
      }
    }
    free();
    *this = larger;
    return true;
  }

  void free() {
    if (limit_) {
      std::free(entries_);
    }
  }

  Entry *entries_ = none_;
  std::size_t mask_ = 0;  // of a place in the table: one less than a power of two
  std::size_t limit_ = 0; // how many it takes
  std::size_t count_ = 0;
};

constinit CapsuleTable::Entry CapsuleTable::none_[1] = {};

constinit CapsuleTable gCapsules;

// Python calls it as it frees a capsule. The host object comes from the table: what a capsule
// points at can be changed by other code in the process.
//
// The end of the host object may run host code. An error that this raises does not stay, because
// nothing failed where Python let go of the capsule; a garbage collection would even abort. The lock
// of a capsule that is not in the table went back with its interpreter, and there may be none now.
void Capsule_Destructor(PyObject *capsule) {
  PythonCall call;
  REALobject object = gCapsules.remove(capsule);
  if (!object) {
    return;
  }
  bool hadError = EPyErr_Occurred();
  EUnlockObject(object);
  if (!hadError && EPyErr_Occurred()) {
    EPyErr_Clear();
  }
}

} // namespace

PyObject *newCapsuleTakingLock(REALobject object) {
  if (!gCapsules.reserve()) [[unlikely]] {
    if (e__PyExc_MemoryError) {
      EPyErr_SetString(*e__PyExc_MemoryError, "");
    }
    return nullptr;
  }
  PyObject *capsule = EPyCapsule_New(object, nullptr, Capsule_Destructor);
  if (capsule) {
    gCapsules.add(capsule, object);
  }
  return capsule;
}

// Python is asked first: a capsule with a name, which is never ours, leaves its ValueError set.
REALobject capsuleObject(PyObject *capsule) {
  void *pointer = EPyCapsule_GetPointer(capsule, nullptr);
  REALobject object = gCapsules.find(capsule);
  return pointer == object ? object : nullptr;
}

void ReleaseCapsulesOfStoppedInterpreter() { gCapsules.release(); }
