// PythonEntity: one Python value of any type, made by a factory or found in a container.

#include "tests/wrappers.h"

namespace {

using host::Object;
using EntityTest = WrapperTest;

TEST_F(EntityTest, aHostThatMakesNoInstanceLeavesNoReference) {
  const Evaluated truth("True");
  const Py_ssize_t references = truth.references();
  const Object object = host::newFolderItem("somewhere");
  const auto refuse = [](const auto &value) {
    host::refuseCall("CreateInstance", 1);
    EXPECT_EQ(newEntity(value), nullptr);
    EXPECT_EQ(takeErrorClass(), "");
  };
  refuse(5);
  refuse(std::int64_t{5});
  refuse(std::uint64_t{5});
  refuse(2.5);
  refuse("text");
  refuse(true);
  refuse(object);
  EXPECT_EQ(truth.references(), references);
  EXPECT_EQ(object.locks(), 1U);
}

// A subclass of long turns itself into an int with code of its own.
TEST_F(EntityTest, aLongMayCallHostCodeAsItConverts) {
  runPython("class Talking(long):\n"
            "  def __int__(self): return host.call() or 7");
  expectReentrant([] { return entityOf("Talking(5)"); },
                  {[](auto &e) { EXPECT_EQ(e.template get<int>("Int32Value"), 7); }});
}

} // namespace
