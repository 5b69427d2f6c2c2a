// Host objects on their way through Python. Each capsule owns one lock on its host object until
// Python frees it, and each object handed to host code carries one lock of its own.

#include "tests/wrappers.h"

#include <algorithm>
#include <random>

namespace {

using host::Object;
using CapsuleTest = RunningTest;

Object newObject() { return host::newFolderItem("somewhere"); }

// A capsule of its own in each kind of place, the last one returned by Python code.
std::vector<Object> storeEverywhere(const Object &object) {
  const Object item = quillix::newParameters(1), entry = newDictionary(), list = newList();
  put(item, 0, object);
  put(entry, "key", object);
  append(list, newEntity(object));
  const Object argument = quillix::newParameters(1);
  put(argument, 0, object);
  runPython("same = lambda x: x");
  const Object same = quillix::getFunction(quillix::getModule("__main__"), "same");
  return {item, entry, list, newEntity(object), newResult(object), quillix::invoke(same, argument)};
}

Object readBack(const Object &place) {
  const std::string &name = place.className();
  const Accessor accessor = accessorFor<Object>();
  return name == "PythonParameters"   ? get<Object>(place, 0)
         : name == "PythonDictionary" ? get<Object>(place, "key")
         : name == "PythonList"
             ? read<Object>(place.call<Object>("GetItem(index as Integer) as PythonEntity", 0),
                            accessor)
             : read<Object>(place, accessor);
}

TEST_F(CapsuleTest, oneLockForEachCapsuleAndEachReader) {
  const Object object = newObject();
  std::vector<Object> places = storeEverywhere(object);
  EXPECT_EQ(object.locks(), 1U + 6U);
  for (; !places.empty(); places.pop_back()) {
    const std::uint32_t locks = object.locks();
    {
      const Object first = readBack(places.back()), second = readBack(places.back());
      EXPECT_TRUE(first == object && second == object) << places.back().className();
      EXPECT_EQ(object.locks(), locks + 2);
    }
    EXPECT_EQ(object.locks(), 1U + places.size());
  }
  EXPECT_EQ(object.locks(), 1U);
}

TEST_F(CapsuleTest, pythonCodeKeepsACapsuleAsLongAsItLikes) {
  const Object object = newObject();
  runPython("kept = []\ndef keep(x, y): kept.append((x, {'key': x}))\n");
  Object argument = quillix::newParameters(2);
  put(argument, 0, object);
  put(argument, 1, object);
  quillix::invoke(quillix::getFunction(quillix::getModule("__main__"), "keep"), argument);
  EXPECT_EQ(object.locks(), 3U);
  argument = nullptr;
  EXPECT_EQ(object.locks(), 2U);
  EXPECT_EQ(readBack(dictionaryOf("kept[0][1]")), object);
  runPython("import gc; gc.disable(); kept.append(kept); del kept");
  EXPECT_EQ(object.locks(), 2U);
  runPython("gc.collect()");
  EXPECT_EQ(object.locks(), 1U);
}

TEST_F(CapsuleTest, whatIsNotStoredIsNotLocked) {
  const Object object = newObject(), p = quillix::newParameters(1), d = newDictionary(), nil;
  EXPECT_LEAVES("", put(p, 7, object));
  EXPECT_LEAVES("", put(d, "", object));
  host::refuseCall("CreateInstance", 1);
  EXPECT_EQ(newEntity(object), nullptr);
  EXPECT_EQ(object.locks(), 1U);

  EXPECT_LEAVES("ValueError", put(p, 0, nil));
  EXPECT_LEAVES("ValueError", put(d, "key", nil));
  EXPECT_LEAVES("ValueError", newResult(nil));
  EXPECT_LEAVES("", EXPECT_EQ(newEntity(nil), nullptr));

  put(p, 0, object);
  put(d, "key", object);
  EXPECT_EQ(object.locks(), 3U);
  put(p, 0, 1); // what takes its place sends the lock back at once
  put(d, "key", 1);
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
    if (stored[slot])
      put(p, static_cast<int>(slot), stored[slot]);
    else
      put(p, static_cast<int>(slot), false);
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

// None, True and False have as many references after thousands of stores and reads as before.
TEST_F(CapsuleTest, sharedObjectsKeepTheirCounts) {
  const Evaluated shared("(None, True, False)");
  const auto counts = [&] {
    std::vector<Py_ssize_t> all;
    for (const Py_ssize_t i : {0, 1, 2})
      all.push_back(PyTuple_GET_ITEM(shared.get(), i)->ob_refcnt);
    return all;
  };
  const auto before = counts();
  for (int round = 0; round < 3000; ++round) {
    const bool truth = round % 2;
    const Object p = quillix::newParameters(3), d = newDictionary(), list = newList();
    const Object entity = newEntity(truth), result = newResult(truth);
    const Object none = host::create("PythonResult", "Constructor()");
    put(p, 0, truth);
    put(p, 7, truth);
    put(d, "key", truth);
    d.call("SetValue(key as PythonEntityBase, value as PythonEntityBase)", entity, entity);
    append(list, entity);
    list.call<Object>("AsTuple() as PythonParameters");
    list.call("Clear()");
    p.call("Constructor(parameterCount as Integer)", 5);
    ASSERT_EQ(heldByResult(result), heldBy(entity));
    ASSERT_EQ(heldByResult(none), PyTuple_GET_ITEM(shared.get(), 0));
  }
  EXPECT_EQ(counts(), before);
}

} // namespace
