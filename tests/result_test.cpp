// PythonResult: a value coming out of a call into Python, or going back as one's result.

#include "tests/wrappers.h"

namespace {

using host::Object;
using ResultTest = WrapperTest;

void *getPtr(const Object &result) { return result.call<void *>("GetPtr() as Ptr"); }

TEST_F(ResultTest, getPtrGivesAReferenceEachTime) {
  const Object result = resultOf("value");
  const Evaluated value("value");
  const Py_ssize_t references = value.references();
  EXPECT_TRUE(getPtr(result) == value.get() && getPtr(result) == value.get());
  EXPECT_EQ(value.references(), references + 2);
  result.call("Constructor()"); // anew: the old value is let go
  EXPECT_EQ(value.references(), references + 1);
  Py_DECREF(value.get());
  Py_DECREF(value.get());
  EXPECT_EQ(view(result) + reprOf(heldByResult(result)), "None");
  EXPECT_LEAVES("ValueError", EXPECT_EQ(getPtr(newResult(Object())), nullptr));
}

} // namespace
