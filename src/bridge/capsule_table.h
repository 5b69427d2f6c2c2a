// The capsules alive and their host objects.
#pragma once

#include <cstdlib>

#include "boundary/host.h"
#include "python/slots.h"

// A hash table with open addressing, a power of two of entries, never more than half full.
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
  static inline constinit Entry none_[1] = {}; // the entries of a table without room

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
