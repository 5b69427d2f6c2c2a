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

TEST_F(ParametersTest, aNewTupleHoldsNone) {
  EXPECT_EQ(reprOf(quillix::newParameters(0)) + reprOf(quillix::newParameters(2)),
            "()(None, None)");
  EXPECT_LEAVES("SystemError", EXPECT_EQ(quillix::newParameters(-1).get<int>("Count"), 0));
  EXPECT_LEAVES("", EXPECT_EQ(quillix::parametersOver(nullptr).get<int>("Count"), 0));
}

// What a pointer leads to is not tested for being a tuple: Python refuses to look into anything
// else.
TEST_F(ParametersTest, whatIsNoTupleHasNoItems) {
  const Object p = tupleOf("[1, 2]");
  EXPECT_LEAVES("SystemError", EXPECT_EQ(get<int>(p, 0), 0));
  EXPECT_LEAVES("SystemError",
                EXPECT_FALSE(p.call<bool>("IsInteger(index as Integer) as Boolean", 0)));
  EXPECT_LEAVES("", EXPECT_EQ(get<int>(p, -1), 0));
  EXPECT_LEAVES("SystemError", put(p, 0, 5));
  EXPECT_EQ(lastError(p), kOutOfBounds);
  EXPECT_EQ(reprOf(p), "[1, 2]");
}

TEST_F(ParametersTest, lastErrorIsTheLastFailure) {
  const Object p = quillix::newParameters(2), tuple = tupleOf("value");
  for (const int index : {-1, 2, INT_MIN, INT_MAX}) {
    EXPECT_EQ(view(p, index), "");
    EXPECT_LEAVES("", put(p, index, 5));
    EXPECT_EQ(lastError(p), kOutOfBounds);
    p.call("ClearError()");
    EXPECT_LEAVES("", putWrapper(p, index, kTuple, tuple));
    EXPECT_EQ(lastError(p), kOutOfBounds);
  }
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
  const Object p = quillix::newParameters(1), shared = tupleOf("value");
  EXPECT_LEAVES("SystemError", put(shared, 0, 5));
  EXPECT_LEAVES("SystemError", putWrapper(shared, 0, kList, newList()));
  // Into itself, too: the reference that would be stored is one more.
  EXPECT_LEAVES("SystemError", putWrapper(p, 0, kTuple, p));
  EXPECT_EQ(reprOf(shared) + reprOf(p), "(1, 2)(None,)");
  EXPECT_EQ(lastError(shared), kNone);
}

// A cycle through a tuple is found, also when a collection has seen the tuple without a container.
TEST_F(ParametersTest, theCollectorKnowsATupleOfContainers) {
  runPython("import gc\nclass Node(object): pass");
  Object list = listOf("[Node()]"), p = quillix::newParameters(2);
  runPython("gc.collect()");
  putWrapper(p, 0, kList, list);
  putWrapper(p, 1, kTuple, tupleOf("([],)"));
  append(list, p);
  list = p = nullptr;
  EXPECT_EQ(
      reprOf(Evaluated("gc.collect() and [o for o in gc.get_objects() if type(o) is Node]").get()),
      "[]");
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
