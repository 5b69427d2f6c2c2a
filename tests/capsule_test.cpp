// Host objects on their way through Python. Each capsule owns one lock on its host object until
// Python frees it, and each object handed to host code carries one lock of its own.

#include "tests/wrappers.h"

#include <algorithm>
#include <random>

namespace {

using host::Object;
using CapsuleTest = RunningTest;

Object newObject() { return host::newFolderItem("somewhere"); }

// A capsule of its own in each kind of place, the last one returned by Python code, and how to read
// it back.
using Place = std::function<Object()>;
std::vector<Place> storeEverywhere(const Object &object) {
  const Object item = quillix::newParameters(1), entry = newDictionary(), list = newList();
  put(item, 0, object);
  put(entry, "key", object);
  append(list, newEntity(object));
  runPython("same = lambda x: x");
  const Object same = quillix::getFunction(quillix::getModule("__main__"), "same"),
               argument = quillix::newParameters(1);
  put(argument, 0, object);
  const Accessor accessor = accessorFor<Object>();
  std::vector<Place> places = {[=] { return get<Object>(item, 0); },
                               [=] { return get<Object>(entry, "key"); },
                               [=] { return read<Object>(getItem(list, 0), accessor); }};
  for (const Object &single :
       {newEntity(object), newResult(object), quillix::invoke(same, argument)})
    places.push_back([=] { return read<Object>(single, accessor); });
  return places;
}

TEST_F(CapsuleTest, oneLockForEachCapsuleAndEachReader) {
  const Object object = newObject();
  std::vector<Place> places = storeEverywhere(object);
  EXPECT_EQ(object.locks(), 1U + 6U);
  for (; !places.empty(); places.pop_back()) {
    const std::uint32_t locks = object.locks();
    const Place &readBack = places.back();
    {
      const Object first = readBack(), second = readBack();
      EXPECT_TRUE(first == object && second == object) << "place " << places.size();
      EXPECT_EQ(object.locks(), locks + 2);
    }
    EXPECT_EQ(object.locks(), 1U + places.size());
  }
  EXPECT_EQ(object.locks(), 1U);
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
