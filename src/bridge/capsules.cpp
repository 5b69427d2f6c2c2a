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

  // There must be room. Yields the host object of an earlier capsule of that address, from which
  // other code has taken the destructor, or nil.
  REALobject add(PyObject *capsule, REALobject object) {
    Entry *entry = position(capsule);
    REALobject old = entry->object;
    if (!old) [[likely]] {
      ++count_;
    }
    *entry = {capsule, object};
    return old;
  }

  // The capsule's host object, or nil for a capsule that is not here.
  REALobject find(PyObject *capsule) const { return position(capsule)->object; }

  // Takes a capsule out and yields its host object, or nil.
  REALobject remove(PyObject *capsule) {
    Entry *hole = position(capsule);
    REALobject object = hole->object;
    if (!object) {
      return nullptr;
    }
    // Later entries of the same run move up, so that no look-up stops at the hole.
    for (Entry *entry = next(hole); entry->capsule; entry = next(entry)) {
      if (distance(home(entry->capsule), entry) >= distance(hole, entry)) {
        *hole = *entry;
        hole = entry;
      }
    }
    *hole = {};
    --count_;
    return object;
  }

  bool empty() const { return count_ == 0; }

  // Empties the table, then gives every capsule's lock back.
  void release() {
    CapsuleTable old = *this;
    *this = {};
    for (std::size_t i = 0; i <= old.mask_ / sizeof(Entry); ++i) {
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

  // Entries are addressed by their distance in bytes from the first one.
  Entry *at(std::size_t offset) const {
    return reinterpret_cast<Entry *>(reinterpret_cast<char *>(entries_) + (offset & mask_));
  }
  std::size_t offset(const Entry *entry) const {
    return static_cast<std::size_t>(reinterpret_cast<const char *>(entry) -
                                    reinterpret_cast<const char *>(entries_));
  }
  Entry *next(const Entry *entry) const { return at(offset(entry) + sizeof(Entry)); }
  std::size_t distance(const Entry *from, const Entry *to) const {
    return (offset(to) - offset(from)) & mask_;
  }

  // Objects are aligned, so the low bits of an address say nothing; the mask leaves them out.
  Entry *home(PyObject *capsule) const {
    auto address = reinterpret_cast<std::uintptr_t>(capsule);
    return at(address ^ (address >> 8));
  }

  // Where the capsule is, or the empty entry that ends the search for it.
  Entry *position(PyObject *capsule) const {
    Entry *entry = home(capsule);
    while (entry->capsule && entry->capsule != capsule) {
      entry = next(entry);
    }
    return entry;
  }

  [[gnu::noinline]] bool grow() {
    CapsuleTable larger;
    const std::size_t capacity = limit_ ? limit_ * 4 : kLeast;
    larger.entries_ = static_cast<Entry *>(std::calloc(capacity, sizeof(Entry)));
    if (!larger.entries_) {
      return false;
    }
    larger.mask_ = (capacity - 1) * sizeof(Entry);
    larger.limit_ = capacity / 2;
    for (std::size_t i = 0; i <= mask_ / sizeof(Entry); ++i) {
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
  std::size_t mask_ = 0;  // of an entry's offset: that of the last one
  std::size_t limit_ = 0; // how many it takes
  std::size_t count_ = 0;
};

constinit CapsuleTable::Entry CapsuleTable::none_[1] = {};

constinit CapsuleTable gCapsules;

// --- The end of a capsule ---

// Gives a lock back where Python may be in the middle of anything. The object may end with it, and
// run host code.
inline void unlockAside(REALobject object) {
  callAside([object] { EUnlockObject(object); });
}

// A host object may be the last to hold another by a capsule, and that one a third. Beyond a depth
// they wait until those above have ended, so that a long chain of them does not need a deep stack.
constexpr int kManyCalls =
    200; // into Python, one inside the other, before it is looked for a chain
constexpr int kLongChain = 50;

struct Waiting {
  REALobject object;
  Waiting *next;
};

Waiting *gWaiting = nullptr;
int gChain = 0; // ends inside ends, of those that were looked at

[[gnu::cold, gnu::noinline]] void unlockDeepDown(REALobject object) {
  if (gChain >= kLongChain) {
    if (auto *waiting = static_cast<Waiting *>(std::malloc(sizeof(Waiting)))) {
      *waiting = {object, gWaiting};
      gWaiting = waiting;
      return;
    }
  }
  ++gChain;
  unlockAside(object);
  while (gChain == 1 && gWaiting) {
    Waiting *waiting = std::exchange(gWaiting, gWaiting->next);
    object = waiting->object;
    std::free(waiting);
    unlockAside(object);
  }
  --gChain;
}

[[gnu::cold, gnu::noinline]] void unlockForgotten(REALobject object) { unlockAside(object); }

// Python calls it as it frees a capsule. The host object comes from the table: what a capsule
// points at can be changed by other code in the process. The lock of a capsule that is not in the
// table went back with its interpreter, and there may be none now.
void Capsule_Destructor(PyObject *capsule) {
  PythonCall call;
  REALobject object = gCapsules.remove(capsule);
  if (!object) [[unlikely]] {
    return;
  }
  if (gPythonCalls > kManyCalls) [[unlikely]] {
    unlockDeepDown(object);
  } else {
    unlockAside(object);
  }
}

} // namespace

PyObject *newCapsuleTakingLock(REALobject object) {
  if (!gCapsules.reserve()) [[unlikely]] {
    raiseMemoryError("");
    return nullptr;
  }
  PyObject *capsule = EPyCapsule_New(object, nullptr, Capsule_Destructor);
  if (capsule) {
    if (REALobject old = gCapsules.add(capsule, object)) [[unlikely]] {
      unlockForgotten(old);
    }
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

bool CapsulesAreAlive() { return !gCapsules.empty(); }
