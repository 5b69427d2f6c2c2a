// Host objects on their way through Python. Each capsule owns one lock on its host object until
// Python frees it, and each object handed to host code carries one lock of its own.

#include "tests/fields.h"

#include <algorithm>
#include <random>

namespace {

using host::Object;
using quillix::getFunction;
using quillix::invoke;
using CapsuleTest = RunningTest;

Object newObject() { return host::newFolderItem("somewhere"); }

TEST_F(CapsuleTest, oneLockForEachCapsuleAndEachReader) {
  const Object object = newObject(), p = quillix::newParameters(1), d = newDictionary();
  const Object entity = newEntity(object), result = newResult(object);
  put(p, 0, object);
  put(d, "key", object);
  EXPECT_EQ(object.locks(), 1U + 4U);
  {
    const Accessor accessor = accessorFor<Object>();
    for (const Object &reader : {get<Object>(p, 0), get<Object>(d, "key"),
                                 read<Object>(entity, accessor), read<Object>(result, accessor)}) {
      EXPECT_EQ(reader, object);
      EXPECT_EQ(object.locks(), 1U + 4U + 4U);
    }
  }
  put(p, 0, 1); // what takes its place sends the lock back at once
  put(d, "key", 1);
  EXPECT_EQ(object.locks(), 1U + 2U);
}

// Other code takes the destructor from a capsule, whose address then serves another one.
TEST_F(CapsuleTest, anAddressThatServesAgainGivesTheFirstLockBack) {
  const Object first = newObject(), second = newObject();
  Object entity = newEntity(first);
  PyObject *const address = heldBy(entity);
  PY(PyCapsule_SetDestructor)(address, nullptr);
  entity = nullptr;
  EXPECT_EQ(first.locks(), 2U);
  std::vector<Object> others;
  do
    others.push_back(newEntity(second));
  while (heldBy(others.back()) != address && others.size() < 1000);
  EXPECT_EQ(first.locks(), heldBy(others.back()) == address ? 1U : 2U);
  EXPECT_EQ(second.locks(), 1U + others.size());
}

// Each holds the next: all of them end with the first, one inside the other.
TEST_F(CapsuleTest, aLongChainEndsWithoutADeepStack) {
  constexpr std::size_t kLength = 100000;
  const std::size_t alive = host::livingObjects();
  std::size_t ended = 0;
  Object entity;
  for (std::size_t i = 0; i < kLength; ++i) {
    const Object object = newObject();
    host::onDestroyed(object, [next = std::move(entity), &ended] { ++ended; });
    entity = newEntity(object);
  }
  entity = nullptr;
  EXPECT_EQ(ended, kLength);
  EXPECT_EQ(host::livingObjects(), alive);
}

// Python frees them in an order that nobody can foresee.
TEST_F(CapsuleTest, everyCapsuleFindsItsObjectWhateverTheOrder) {
  constexpr std::size_t kObjects = 300, kSlots = 500;
  std::vector<Object> objects(kObjects), stored(kSlots);
  std::generate(objects.begin(), objects.end(), newObject);
  const Object p = quillix::newParameters(kSlots);
  std::mt19937 random(27);
  for (int step = 0; step < 20000; ++step) {
    const std::size_t slot = random() % kSlots;
    stored[slot] = random() % 3 ? objects[random() % kObjects] : nullptr;
    const int index = static_cast<int>(slot);
    stored[slot] ? put(p, index, stored[slot]) : put(p, index, false);
    if (step % 1000 != 999)
      continue;
    for (std::size_t i = 0; i < kSlots; ++i)
      ASSERT_EQ(get<Object>(p, static_cast<int>(i)), stored[i]) << i << " at step " << step;
    for (const Object &object : objects) // ours, that in `stored`, and the capsule's
      ASSERT_EQ(object.locks(), 1 + 2 * std::count(stored.begin(), stored.end(), object));
  }
}

// A capsule that the bridge did not make is no host object, not even one that points at one. One
// that other code changed gives no object, yet its lock comes back.
TEST_F(CapsuleTest, onlyItsOwnCapsulesAreTrusted) {
  const Object object = newObject(), other = newObject();
  PyObject *const foreign = PY(PyCapsule_New)(object.get(), nullptr, nullptr);
  letPythonSee("foreign", foreign);
  Py_DECREF(foreign);
  EXPECT_EQ(view(entityOf("foreign")), "IsObject");

  Object changed = newEntity(object);
  PY(PyCapsule_SetPointer)(heldBy(changed), other.get());
  EXPECT_EQ(view(changed), "IsObject");
  PY(PyCapsule_SetName)(heldBy(changed), "renamed");
  EXPECT_EQ(view(changed), "IsObject ObjectValue=!ValueError");
  EXPECT_EQ(object.locks(), 2U);
  changed = nullptr;
  EXPECT_EQ(object.locks(), 1U);
  EXPECT_EQ(other.locks(), 1U);
}

TEST_F(CapsuleTest, nilHasNone) { EXPECT_LEAVES("", EXPECT_EQ(newEntity(Object()), nullptr)); }

std::function<void()> gAtTheEnd;

// A host function: an object that runs host code as it ends.
PyObject *makeObject(PyObject *, PyObject *) {
  const Object object = newObject();
  host::onDestroyed(object, gAtTheEnd);
  return quillix::give(newResult(object));
}

// Host code runs as its object ends, wherever Python is just then, and may use Python's error
// state: what is in flight there, or pending, is the same afterwards; and nothing else is left.
TEST_F(CapsuleTest, theEndOfOneKeepsTheErrorInFlight) {
  quillix::publish(quillix::moduleWith("maker", "make", makeObject));
  runPython(R"(
import gc, maker, sys, weakref
error = ValueError('in flight')
def fail(): raise error
def show(made, failed): pass
def unwind():
  try: show(maker.make(), fail())
  except ValueError:
    type_, value, traceback = sys.exc_info()
    return (type_ is ValueError and value is error and
            traceback.tb_next.tb_frame.f_code.co_name == 'fail')
def collect():
  class Node(object): pass
  node = Node()
  node.made, node.node = maker.make(), node
  watcher = weakref.ref(node, lambda reference: maker.make())
  del node
  return gc.collect() > 0
def catch():
  try:
    for i in 1, 2: pass
    raise KeyError
  except KeyError: pass
)");
  const Object main = quillix::getModule("__main__"), catching = getFunction(main, "catch");
  const std::function<void()> uses[] = {quillix::clearError,
                                        [] { quillix::getError(); },
                                        [] { quillix::setError(1, "late"); },
                                        [&] { invoke(catching); },
                                        [&] { hasAttribute(main, "missing"); },
                                        [&] { getField<int>(main, "missing"); },
                                        [&] {
                                          PY(PyErr_Print)
                                          ();
                                        }};
  for (const auto &use : uses) {
    SCOPED_TRACE(&use - uses);
    int ends = 0;
    gAtTheEnd = [&] {
      EXPECT_FALSE(quillix::errorOccurred());
      use();
      ++ends;
    };
    const auto makeAndDrop = [] {
      PyObject *const made = makeObject(nullptr, nullptr);
      Py_DECREF(made);
    };
    for (const char *work : {"unwind()", "collect()"})
      EXPECT_EQ(reprOf(Evaluated(work).get()), "True");
    EXPECT_LEAVES("", makeAndDrop());
    quillix::setError(1, "pending");
    makeAndDrop();
    EXPECT_EQ(quillix::getError(), "pending");
    EXPECT_EQ(ends, 1 + 2 + 2 + 1);
  }
}

} // namespace
