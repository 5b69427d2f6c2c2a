// Named wrappers: what modules and instances have in common, their attributes, and what only
// modules have.

#include "tests/fields.h"

#include <limits>

namespace {

using namespace quillix;
using host::Object;

// Tests each kind of owner: a module, and instances of both kinds of Python classes. Python code
// knows it as `owner`.
class AttributeTest : public RunningTest {
protected:
  void forEachOwner(const std::function<void(const Object &)> &test) {
    runPython("import sys, types\n"
              "owner = sys.modules['attributes'] = types.ModuleType('attributes')\n"
              "def remember(self): global owner; owner = self\n"
              "class New(object): __init__ = remember\n"
              "class Classic: __init__ = remember");
    test(getModule("attributes"));
    for (const char *name : {"New", "Classic"}) {
      SCOPED_TRACE(name);
      test(createInstance(getClass(getModule("__main__"), name)));
    }
  }
};

// What the getters of these types read, each with the error that it leaves.
template <class... V> std::string readAs(const Object &owner) {
  std::ostringstream text;
  const auto show = [&](const auto &value) {
    if constexpr (std::is_same_v<decltype(value), const Object &>)
      text << (value ? "object" : "nil");
    else
      text << value;
    const std::string error = takeErrorClass();
    text << (error.empty() ? "" : "!" + error) << ", ";
  };
  (show(getField<V>(owner, "a")), ...);
  return text.str();
}

TEST_F(AttributeTest, gettersConvert) {
  runPython("class Undecided(object):\n  def __nonzero__(self): raise ValueError");
  const std::pair<const char *, const char *> cases[] = {
      {"5", "5, 0, 0, 5, 1, , nil, "},
      {"5L", "5, 5, 5, 5, 1, , nil, "},
      {"-1L", "-1, -1, 18446744073709551615!OverflowError, -1, 1, , nil, "},
      {"int(-2**31)", "-2147483648, 0, 0, -2.14748e+09, 1, , nil, "},
      {"2**31", "-1!OverflowError, 2147483648, 2147483648, 2.14748e+09, 1, , nil, "},
      {"2**64", "-1!OverflowError, -1!OverflowError, 18446744073709551615!OverflowError, "
                "1.84467e+19, 1, , nil, "},
      {"3.7", "3, 0, 0, 3.7, 1, , nil, "},
      {"True", "1, 0, 0, 1, 1, , nil, "},
      {"'text'", "-1!TypeError, 0, 0, -1!TypeError, 1, text, nil, "},
      {"u'text'", "-1!TypeError, 0, 0, -1!TypeError, 1, , nil, "},
      {"[]", "-1!TypeError, 0, 0, -1!TypeError, 0, , nil, "},
      {"Undecided()", "-1!TypeError, 0, 0, -1!TypeError, 1!ValueError, , nil, "},
      {nullptr, "0!AttributeError, 0!AttributeError, 0!AttributeError, 0!AttributeError, "
                "0!AttributeError, !AttributeError, nil!AttributeError, "},
  };
  forEachOwner([&](const Object &owner) {
    for (const auto &[value, read] : cases) {
      runPython(value ? "owner.a = " + std::string(value) : "del owner.a");
      EXPECT_EQ(
          (readAs<int, std::int64_t, std::uint64_t, double, bool, std::string, Object>(owner)),
          read)
          << value;
    }
  });
}

TEST_F(AttributeTest, settersStore) {
  const Object object = host::create("Object");
  forEachOwner([&](const Object &owner) {
    const auto stores = [&](const auto &value, const char *repr) {
      setField(owner, "a", value);
      EXPECT_EQ(reprOf(Evaluated("owner.a").get()), repr);
    };
    stores(5, "5L");
    stores(std::numeric_limits<std::int64_t>::min(), "-9223372036854775808L");
    stores(std::numeric_limits<std::uint64_t>::max(), "18446744073709551615L");
    stores(0.1, "0.1");
    stores(std::string("a\0\xc3", 3), "'a\\x00\\xc3'");
    stores(host::String(), "''");
    stores(REALboolean{2}, "True");
    stores(false, "False");
    setField(owner, "a", object);
    EXPECT_EQ(getField<Object>(owner, "a"), object);
    setField(owner, "a", Object());
    EXPECT_EQ(takeErrorClass(), "ValueError");
    EXPECT_EQ(object.locks(), 2U) << "nothing stored";
    runPython("del owner.a");
  });
  runPython("class Closed(object):\n"
            "  __slots__ = ()\n"
            "  last = property(lambda self: globals().pop('last'))");
  const Object main = getModule("__main__"), closed = createInstance(getClass(main, "Closed"));
  setField(closed, "a", object);
  EXPECT_EQ(takeErrorClass(), "AttributeError");
  EXPECT_EQ(object.locks(), 1U) << "the capsule went, and its lock";
  setField(main, "last", host::create("Object"));
  EXPECT_EQ(getField<Object>(closed, "last").locks(), 1U) << "for the caller; the capsule went";
}

TEST_F(AttributeTest, existenceAndDeletion) {
  forEachOwner([](const Object &owner) {
    setField(owner, std::string("a\0b", 3), 5);
    setError(1, "pending");
    EXPECT_TRUE(hasAttribute(owner, "a"));
    EXPECT_EQ(deleteAttribute(owner, "a"), 0);
    EXPECT_EQ(getError(), "pending");
    EXPECT_FALSE(hasAttribute(owner, "a"));
    EXPECT_EQ(deleteAttribute(owner, "a"), -1);
    EXPECT_TRUE(errorOccurred());
    EXPECT_FALSE(hasAttribute(owner, "a"));
    EXPECT_FALSE(errorOccurred()) << "cleared by looking in vain";

    for (const host::String &none : {host::String(), host::String::emptyObject()}) {
      setError(1, "pending");
      setField(owner, none, 5);
      EXPECT_EQ(getField<int>(owner, none), 0);
      EXPECT_FALSE(hasAttribute(owner, none));
      EXPECT_EQ(deleteAttribute(owner, none), -1);
      EXPECT_FALSE(owner.call<Object>("GetFunction(name as String) as PythonFunction", none));
      EXPECT_EQ(getError(), "pending") << "Python was not asked";
    }
  });
}

using ModuleTest = RunningTest;

TEST_F(ModuleTest, importsByName) {
  const Object first = getModule("os.path"), second = getModule("os.path");
  EXPECT_NE(first, second);
  EXPECT_TRUE(second.call<bool>("HasAttribute(name as String) as Boolean", "splitext"))
      << "not the package";
  const std::pair<std::string, const char *> refused[] = {{"no_such_module", "ImportError"},
                                                          {"", "ValueError"},
                                                          {std::string("os\0x", 4), "TypeError"}};
  for (const auto &[wrong, error] : refused) {
    EXPECT_FALSE(getModule(wrong));
    EXPECT_EQ(takeErrorClass(), error) << wrong;
  }
}

TEST_F(ModuleTest, reloads) {
  runPython(R"(
import sys, types
class Lesson(object):
  def find_module(self, name, path=None): return self if name == 'lesson' else None
  def load_module(self, name):
    exec source in sys.modules.setdefault(name, types.ModuleType(name)).__dict__
    return sys.modules[name]
sys.meta_path.append(Lesson())
source = 'value = 1'
other = types.ModuleType('other'); other.value = 4
)");
  const Object module = getModule("lesson");
  const auto reloads = [&](const std::string &source) {
    runPython("source = '" + source + "'");
    return module.call<bool>("Reload() as Boolean");
  };
  EXPECT_TRUE(reloads("value = 2"));
  EXPECT_EQ(getField<int>(module, "value"), 2);
  for (const char *broken : {"value = 3; 1 / 0", "value ="}) {
    EXPECT_FALSE(reloads(broken));
    EXPECT_FALSE(errorOccurred());
  }
  EXPECT_EQ(getField<int>(module, "value"), 3) << "the module object stays";

  // A module may put another object in its place.
  EXPECT_TRUE(reloads("import sys, __main__; sys.modules[__name__] = __main__.other"));
  EXPECT_EQ(getField<int>(module, "value"), 4);
}

// To Python a name ends at its first NUL: what begins with one is the empty name, and a name.
TEST_F(AttributeTest, aNameMayBeEmptyToPython) {
  forEachOwner([](const Object &owner) {
    const std::string name("\0x", 2);
    EXPECT_EQ(getField<int>(owner, name), 0);
    EXPECT_EQ(takeErrorClass(), "AttributeError");
    EXPECT_EQ(getFunction(owner, name), nullptr);
    EXPECT_EQ(takeErrorClass(), "AttributeError");
    setError(1, "pending");
    EXPECT_FALSE(hasAttribute(owner, name));
    EXPECT_FALSE(errorOccurred());
    setField(owner, name, 5);
    runPython("assert getattr(owner, '') == 5");
    EXPECT_TRUE(hasAttribute(owner, name));
    EXPECT_EQ(deleteAttribute(owner, name), 0);
  });
}

// An instance of a classic class is asked for __call__.
TEST_F(AttributeTest, whatCannotBeCalledIsNoFunction) {
  runPython("import __main__ as main\n"
            "class Classic: pass\n"
            "class Called:\n"
            "  def __call__(self): return 5\n"
            "class Odd:\n"
            "  def __getattr__(self, name): raise KeyError\n"
            "main.classic, main.odd, main.number, main.called = Classic(), Odd(), 5, Called()");
  const Object main = getModule("__main__");
  for (const char *name : {"classic", "odd", "number"})
    EXPECT_LEAVES("", EXPECT_EQ(getFunction(main, name), nullptr));
  EXPECT_LEAVES("", EXPECT_NE(getFunction(main, "called"), nullptr));
}

} // namespace
