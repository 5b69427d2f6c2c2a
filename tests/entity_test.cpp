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

TEST_F(EntityTest, keepsItsValueWhateverBecomesOfItsPlace) {
  runPython("places = [[value]]");
  const Object entity = entityOf("places[0]");
  runPython("del places");
  entity.call("Constructor()"); // does nothing
  EXPECT_EQ(reprOf(entity), "[(1, 2)]");
}

// A subclass of long turns itself into an int with code of its own.
TEST_F(EntityTest, aLongMayCallHostCodeAsItConverts) {
  runPython("class Talking(long):\n"
            "  def __int__(self): return host.call() or 7");
  const auto int32 = [](const Object &e) { EXPECT_EQ(e.get<int>("Int32Value"), 7); };
  const auto integer = [](const Object &result) {
    EXPECT_EQ(result.call<int>("IntegerValue() as Integer"), 7);
  };
  expectReentrant([] { return entityOf("Talking(5)"); }, {int32});
  expectReentrant([] { return resultOf("Talking(5)"); }, {integer});
}

} // namespace
