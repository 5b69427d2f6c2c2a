// Python's pending error, as host code raises, reads and clears it.

#include "tests/wrappers.h"

#include <climits>

namespace {

using namespace quillix;
using ErrorTest = RunningTest;

TEST_F(ErrorTest, everyNumberRaisesItsClass) {
  const auto &constants = host::findModule("PythonErrorTypes")->constants;
  ASSERT_EQ(constants.size(), 22U);
  for (const auto &[name, value] : constants) {
    setError(value, "replaced");
    setError(value, name);
    EXPECT_TRUE(errorOccurred() && errorOccurred()) << "asking changes nothing";
    EXPECT_EQ(getError(), name);
    EXPECT_FALSE(errorOccurred());
    setError(value, host::String::emptyObject());
    EXPECT_EQ(takeErrorClass(), name);
  }
  for (int other : {0, 23, -1, INT_MAX, INT_MIN}) {
    setError(other, "nothing");
    EXPECT_FALSE(errorOccurred()) << other;
    setError(1, "pending");
    setError(other, "nothing");
    EXPECT_EQ(getError(), "pending") << other;
  }
}

// Only the error's value is read. One that is no text leaves Python's complaint about it.
TEST_F(ErrorTest, textOfTheValue) {
  const struct {
    const char *value;
    std::string text, nextError;
  } cases[] = {
      {"'text'", "text", ""},
      {"u'text'", "text", ""},
      {"'\\xc3\\xa4\\xff'", "\xc3\xa4\xff", ""},
      {"'te\\0xt'", "te", ""},
      {"'x' * 100000", std::string(100000, 'x'), ""},
      {"''", "", ""},
      {nullptr, "", ""},
      {"u'\\xe4'", "", "UnicodeEncodeError"},
      {"ValueError('text')", "", "TypeError"},
      {"5", "", "TypeError"},
  };
  const auto raise = [](const char *value) {
    PY(PyErr_SetObject)(*PY(PyExc_KeyError), value ? Evaluated(value).get() : nullptr);
  };
  for (const auto &[value, text, nextError] : cases) {
    raise(value);
    const auto got = host::callShared<host::String>("Quillix", "GetError() as String");
    EXPECT_EQ(got.text(), text);
    EXPECT_EQ(got.encoding(), got ? kEncodingUTF8 : 0U);
    EXPECT_EQ(takeErrorClass(), nextError) << value;
  }
  EXPECT_EQ(getError(), "") << "nothing pending";
  raise("'text'");
  host::refuseCall("REALBuildStringWithEncoding", 1);
  EXPECT_EQ(getError(), "");
  EXPECT_FALSE(errorOccurred());
}

} // namespace
