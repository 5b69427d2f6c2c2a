// PythonResult: a value coming out of a call into Python, or going back as one's result.

#include "tests/wrappers.h"

namespace {

using host::Object;
using ResultTest = WrapperTest;

void *getPtr(const Object &result) { return result.call<void *>("GetPtr() as Ptr"); }

TEST_F(ResultTest, getPtrGivesAReferenceEachTime) {
  const Object result = resultOf("value");
  EXPECT_TRUE(getPtr(result) == theValue && getPtr(result) == theValue);
  EXPECT_EQ(references(), 3);
  result.call("Constructor()"); // anew: the old value is let go
  EXPECT_EQ(references(), 2);
  Py_DECREF(theValue);
  Py_DECREF(theValue);

  EXPECT_EQ(view(result), "");
  const Evaluated none("None");
  const Py_ssize_t nones = none.references();
  EXPECT_EQ(getPtr(result), none.get());
  EXPECT_EQ(none.references(), nones + 1);
  Py_DECREF(none.get());
  const Object empty = newResult(Object());
  EXPECT_EQ(takeErrorClass(), "ValueError");
  EXPECT_LEAVES("", EXPECT_EQ(getPtr(empty), nullptr));
}

TEST_F(ResultTest, itsTupleIsReadOnlyAndItsDictionaryShared) {
  const Object tuple = read<Object>(resultOf("value"), kWrapperAccessors[0]);
  EXPECT_LEAVES("SystemError", put(tuple, 0, 5));
  EXPECT_EQ(tuple.get<int>("LastError"), 0);
  EXPECT_EQ(reprOf(tuple), "(1, 2)");

  const Object result = resultOf("{}");
  put(read<Object>(result, kWrapperAccessors[1]), "key", 5);
  EXPECT_EQ(reprOf(heldByResult(result)), "{'key': 5}");
  read<Object>(result, kWrapperAccessors[1]).call("Clear()");
  EXPECT_EQ(reprOf(heldByResult(result)), "{}");
}

} // namespace
