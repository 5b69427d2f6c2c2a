// Host objects on their way through Python. Each capsule owns one lock on its host object until
// Python frees it, and each object handed to host code carries one lock of its own.

#include "tests/wrappers.h"

#include <algorithm>
#include <random>

namespace {

using host::Object;
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

TEST_F(CapsuleTest, nilHasNoneAndTheEndOfOneLeavesNoError) {
  EXPECT_LEAVES("", EXPECT_EQ(newEntity(Object()), nullptr));
  Object entity = newEntity([] {
    const Object object = newObject();
    host::onDestroyed(object, [] { quillix::setError(1, "late"); });
    return object;
  }());
  entity = nullptr;
  EXPECT_FALSE(quillix::errorOccurred());
}

} // namespace
