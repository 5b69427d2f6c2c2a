// PythonParameters: a tuple, read and written by index, and the error code of its setters.

#include "tests/wrappers.h"

#include <climits>

namespace {

using host::Object;
using ParametersTest = WrapperTest;

constexpr int kNone = 0, kCouldNotConvert = 1, kOutOfBounds = 2, kNilParameter = 3;
enum Kind : std::size_t { kTuple, kDictionary, kList };

int lastError(const Object &p) { return p.get<int>("LastError"); }
Object tupleAt(const Object &p, int i) { return read<Object>(p, kWrapperAccessors[kTuple], i); }
void putWrapper(const Object &p, int index, Kind kind, const Object &wrapper) {
  p.assign(declarationOf(p.type(), kWrapperAccessors[kind]).c_str(), index, wrapper);
}

// Calls every setter with a value, and `check` after each.
void setEach(const Object &p, int index, const Object &object, const std::function<void()> &check) {
  put(p, index, 5), check();
  put(p, index, "text"), check();
  put(p, index, 2.5), check();
  put(p, index, true), check();
  put(p, index, std::int64_t{5}), check();
  put(p, index, std::uint64_t{5}), check();
  put(p, index, object), check();
  putWrapper(p, index, kTuple, tupleOf("value")), check();
  putWrapper(p, index, kDictionary, newDictionary()), check();
  putWrapper(p, index, kList, newList()), check();
}

TEST_F(ParametersTest, aNewTupleHoldsNone) {
  const Evaluated none("None");
  for (const int count : {0, 1, 5000}) {
    const Py_ssize_t references = none.references();
    const Object p = quillix::newParameters(count);
    EXPECT_EQ(none.references(), references + count);
    EXPECT_EQ(p.get<int>("Count"), count);
    EXPECT_EQ(lastError(p), kNone);
    EXPECT_EQ(view(p, 0), "");
  }
  EXPECT_LEAVES("SystemError", EXPECT_EQ(quillix::newParameters(-1).get<int>("Count"), 0));
  EXPECT_LEAVES("", EXPECT_EQ(quillix::parametersOver(nullptr).get<int>("Count"), 0));
}

TEST_F(ParametersTest, anIndexOutOfRangeStoresNothing) {
  const Object object = host::newFolderItem("somewhere"), p = quillix::newParameters(3);
  for (const int index : {-1, 3, INT_MIN, INT_MAX}) {
    EXPECT_EQ(view(p, index), "");
    setEach(p, index, object, [&] {
      EXPECT_EQ(lastError(p), kOutOfBounds);
      p.call("ClearError()");
      EXPECT_EQ(lastError(p), kNone);
    });
  }
  EXPECT_EQ(takeErrorClass(), "");
  EXPECT_EQ(reprOf(p), "(None, None, None)");
  EXPECT_EQ(references(), 0);
  EXPECT_EQ(object.locks(), 1U);
}

TEST_F(ParametersTest, lastErrorIsTheLastFailure) {
  const Object p = quillix::newParameters(2);
  for (const Kind kind : {kTuple, kDictionary, kList})
    for (const int index : {0, 7, -1}) { // nil goes before the index
      p.call("ClearError()");
      EXPECT_LEAVES("", putWrapper(p, index, kind, nullptr));
      EXPECT_EQ(lastError(p), kNilParameter);
      p.call("ClearError()");
      const Object empty = host::create(kWrapperAccessors[kind].type);
      EXPECT_LEAVES("", putWrapper(p, 0, kind, empty));
      EXPECT_EQ(lastError(p), kNilParameter);
    }
  EXPECT_LEAVES("ValueError", put(p, 0, Object()));
  EXPECT_EQ(lastError(p), kCouldNotConvert);
  EXPECT_EQ(reprOf(p), "(None, None)");

  // Success, reading and what is read out do not touch it; constructing anew does.
  put(p, 0, 5);
  view(p, 9);
  putWrapper(p, 1, kTuple, tupleOf("(1,)"));
  EXPECT_EQ(lastError(tupleAt(p, 1)), kNone);
  EXPECT_EQ(lastError(p), kCouldNotConvert);
  p.call("Constructor(parameterCount as Integer)", 1);
  EXPECT_EQ(lastError(p), kNone);
}

// Python lets nobody write into a tuple that more than one refers to.
TEST_F(ParametersTest, aSharedTupleRefusesEveryStore) {
  runPython("shared = (0, value)");
  const Object object = host::newFolderItem("somewhere"), outer = quillix::newParameters(1),
               stored = quillix::newParameters(1), p = quillix::newParameters(1);
  putWrapper(outer, 0, kTuple, stored);
  for (const Object &shared : {tupleOf("shared"), tupleAt(tupleOf("shared"), 1), stored}) {
    const std::string before = reprOf(shared);
    setEach(shared, 0, object, [&] {
      EXPECT_EQ(takeErrorClass(), "SystemError");
      EXPECT_EQ(lastError(shared), kNone);
    });
    EXPECT_EQ(reprOf(shared), before);
  }
  // Into itself, too: the reference that would be stored is one more.
  EXPECT_LEAVES("SystemError", putWrapper(p, 0, kTuple, p));
  EXPECT_EQ(heldBy(p)->ob_refcnt, 1);
  EXPECT_EQ(object.locks(), 1U);
}

TEST_F(ParametersTest, storesWhatAWrapperHolds) {
  const Object p = tupleOf("value"), list = newList(), dictionary = newDictionary();
  EXPECT_EQ(references(), 1);
  p.call("Constructor(paramPtr as Ptr)", theValue); // the same anew
  EXPECT_EQ(references(), 1);
  p.call("Constructor(parameterCount as Integer)", 3);
  EXPECT_EQ(references(), 0);
  putWrapper(p, 0, kList, list);
  putWrapper(p, 1, kDictionary, dictionary);
  putWrapper(p, 2, kTuple, tupleOf("value"));
  append(list, newEntity(5));
  put(dictionary, "key", 6);
  list.call("Clear()"); // takes another list; the tuple keeps its own
  EXPECT_EQ(reprOf(p), "([5L], {'key': 6}, (1, 2))");
}

// The last lock of a host object may go with a capsule, and its destructor may do anything.
TEST_F(ParametersTest, anItemMayRunHostCodeAsItGoes) {
  const auto make = [] {
    const Object p = quillix::newParameters(2), object = host::newFolderItem("somewhere");
    host::onDestroyed(object, [] { runPython("host.call()"); });
    put(p, 0, object);
    putWrapper(p, 1, kTuple, tupleOf("value"));
    return p;
  };
  const auto construct = [](auto &p) { p.call("Constructor(parameterCount as Integer)", 2); };
  expectReentrant(make, {[](auto &p) { put(p, 0, 5); },
                         [](auto &p) { putWrapper(p, 0, kList, newList()); }, construct});
}

} // namespace
