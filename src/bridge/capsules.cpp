// Object capsules: the form in which a host object travels through Python.
//
// A capsule owns one lock on its host object, from its making until Python frees it. The bridge
// remembers every capsule that it made: no other capsule is taken for a host object, whatever its
// maker put inside, and the locks of capsules that outlive their interpreter, because something
// still refers to them, are given back when it stops.

#include <cstdlib>

#include "bridge/bridge.h"
#include "bridge/capsule_table.h"

namespace {

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
