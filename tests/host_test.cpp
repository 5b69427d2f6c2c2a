// What the stand-in host promises to every other test: that it does its part as a plug-in may
// expect, and that no misuse of it goes unseen.

#include "tests/support.h"

namespace {

// A class and a subclass, registered as a plug-in registers its own.
std::string gLife;

template <char letter> void mark(REALobject) { gLife += letter; }
REALboolean judge(REALobject, std::int32_t level, REALobject) {
  return static_cast<REALboolean>(level);
}

constexpr const char *kJudge = "Judge(level as Integer, list as ObjectArray) as Boolean";
REALmethodDefinition gMethods[] = {
    {reinterpret_cast<HostFunction>(judge), nullptr, kJudge, kPublicMember, {}}};
REALclassDefinition gBase{.name = "Base",
                          .dataSize = 1,
                          .constructor = mark<'b'>,
                          .destructor = mark<'B'>,
                          .methods = gMethods};
REALclassDefinition gDerived{.name = "Derived",
                             .superName = "Base",
                             .dataSize = sizeof(double),
                             .constructor = mark<'d'>,
                             .destructor = mark<'D'>};

class HostTest : public testing::Test {
protected:
  void SetUp() override {
    host::unload();
    host::registerClass(&gBase);
    host::registerClass(&gDerived);
  }
  void TearDown() override {
    EXPECT_EQ(host::survivors(), "");
    host::unload();
  }
};

TEST_F(HostTest, laysClassDataOutSuperClassFirst) {
  gLife.clear();
  {
    const host::Object object = host::create("Derived");
    EXPECT_EQ(object.locks(), 1U);
    EXPECT_EQ(gLife, "bd");
    EXPECT_GE(gBase.dataOffset, sizeof(REALobjectStruct));
    EXPECT_GE(gDerived.dataOffset, gBase.dataOffset + gBase.dataSize);
    EXPECT_EQ(gDerived.dataOffset % host::kAlignment, 0U);
    EXPECT_EQ(host::classData<char>(object.get(), gBase), 0);
    EXPECT_EQ(host::classData<double>(object.get(), gDerived), 0);
  }
  EXPECT_EQ(gLife, "bdDB");
}

// Spare blocks serve again, cleared, for whatever has their size.
TEST_F(HostTest, clearsAndCountsWhatServesAgain) {
  host::keepFreedBlocks(false);
  const host::Traffic before = host::traffic();
  for (const std::size_t length : {30U, 20U, 25U, 3000U}) {
    const host::String text(std::string(length, '!'));
    const host::Object object = host::create("Derived"), other = object;
    EXPECT_EQ(text.text(), std::string(length, '!'));
    EXPECT_EQ(std::exchange(host::classData<double>(object.get(), gDerived), 1.5), 0);
  }
  const host::Traffic after = host::traffic();
  EXPECT_EQ(after.objects - before.objects, 4U);
  EXPECT_EQ(after.strings - before.strings, 4U);
  EXPECT_EQ(after.stringBytes - before.stringBytes, 3075U);
  EXPECT_EQ(after.locks - before.locks, 4U);
  EXPECT_EQ(host::survivors(), "");
  host::keepFreedBlocks(true);
}

struct Misuse {
  const char *message; // a regular expression
  void (*commit)();
};

const Misuse kMisuses[] = {
    {"Unlock.* one unlock too many: the Base ", [] { host::unlock(host::create("Base").get()); }},
    {"Unlock.* one unlock too many: the string", [] { host::unlock(host::String("s").get()); }},
    {"use after free: the Base ",
     [] {
       const REALobject gone = host::create("Base").get();
       host::lock(gone);
     }},
    {"use after free: the string",
     [] {
       const REALstring gone = host::String("s").get();
       host::contents(gone);
     }},
    {"1 object and 1 string alive\n  1 Base\n  string \"s\", 2 locks",
     [] {
       const host::Object object = host::create("Base");
       const host::String string("s"), again = string;
       host::checkNothingAlive();
     }},
    {"Base has no method \"Judge\\(\\)\"", [] { host::create("Base").call("Judge()"); }},
    {"has no assignable method", [] { host::create("Base").assign(kJudge, 1, nullptr, true); }},
    {"argument 1 is Double, declared Integer",
     [] { host::create("Base").call<bool>(kJudge, 1.5, nullptr); }},
    {"with 1 arguments, declared with 2", [] { host::create("Base").call<bool>(kJudge, 1); }},
    {"an object of class Base, declared ObjectArray",
     [] { host::create("Base").call<bool>(kJudge, 1, host::create("Base")); }},
    {"the result is taken as .*, declared Boolean",
     [] { host::create("Base").call<double>(kJudge, 1, nullptr); }},
    {"the result 2 does not fit Boolean",
     [] { host::create("Base").call<bool>(kJudge, 2, nullptr); }},
    {"Base is registered twice", [] { host::registerClass(&gBase); }},
    {"malformed declaration", [] { host::parseDeclaration("Judge(level Integer)"); }},
};

TEST_F(HostTest, seesMisuse) {
  for (const Misuse &misuse : kMisuses)
    EXPECT_DEATH(misuse.commit(), misuse.message);
}

} // namespace
