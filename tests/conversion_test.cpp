// What a Python value reads as through each class, and what a host value becomes in Python.

#include "tests/wrappers.h"

#include <limits>

namespace {

using host::Object;

class ConversionTest : public RunningTest {
protected:
  void SetUp() override {
    RunningTest::SetUp();
    for (const std::string type : {"int", "long", "float", "str", "tuple", "list", "dict"})
      runPython("class My" + type + "(" + type + "): pass");
    runPython("class Classic: pass\n"
              "class Willing(object):\n"
              "  __int__ = __long__ = lambda self: 7\n"
              "  __float__ = lambda self: 7.0\n"
              "  __str__ = lambda self: 'seven'");
  }

  // A dictionary's entry reads like a tuple's item.
  void expectViews(const std::string &expression, const std::string &item,
                   const std::string &entity, const std::string &result) {
    SCOPED_TRACE(expression);
    runPython("value = " + expression);
    const Object parameters = tupleOf("(value,)"), dictionary = dictionaryOf("{'key': value}"),
                 single = entityOf("value"), returned = resultOf("value");
    single.call("Constructor()"); // does nothing
    EXPECT_EQ(view(parameters, 0), item);
    EXPECT_EQ(view(dictionary, "key"), offered("PythonDictionary", item));
    EXPECT_EQ(view(single), entity);
    EXPECT_EQ(view(returned), result);
  }
};

TEST_F(ConversionTest, readsInts) {
  for (const std::string value : {"5", "-5", "2147483647", "-2147483648"}) {
    const std::string line = "IsInteger IntegerValue=" + value;
    expectViews("int(" + value + ")", line, "", line);
    expectViews("Myint(" + value + ")", line, "", line);
  }
  expectViews("0", "IsInteger", "", "IsInteger");
  expectViews("False", "IsInteger IsBoolean", "IsBoolean", "IsInteger IsBoolean");
  constexpr const char *kTrue = "IsInteger IsBoolean IntegerValue=1 BooleanValue=true";
  expectViews("True", kTrue, "IsBoolean BooleanValue=true", kTrue);
}

// "!" is an overflow. Where Python's int has 64 bits, a large one is no long to Python.
TEST_F(ConversionTest, readsLongsAndIntsBeyond32Bits) {
  struct {
    const char *expression, *int32, *int64, *uint64;
  } const rows[] = {
      {"5L", "5", "5", "5"},
      {"-1L", "-1", "-1", "!"},
      {"2147483647L", "2147483647", "2147483647", "2147483647"},
      {"-2147483648L", "-2147483648", "-2147483648", "!"},
      {"2147483648L", "!", "2147483648", "2147483648"},
      {"2147483648", "!", "2147483648", "2147483648"},
      {"-2147483649", "!", "-2147483649", "!"},
      {"Myint(2 ** 31) if 2 ** 31 <= __import__('sys').maxint else 2 ** 31", "!", "2147483648",
       "2147483648"},
      {"2 ** 63 - 1", "!", "9223372036854775807", "9223372036854775807"},
      {"int(2 ** 63 - 1)", "!", "9223372036854775807", "9223372036854775807"},
      {"int(-2 ** 63)", "!", "-9223372036854775808", "!"},
      {"2 ** 63", "!", "!", "9223372036854775808"},
      {"2 ** 64 - 1", "!", "!", "18446744073709551615"},
      {"2 ** 64", "!", "!", "!"},
      {"-2 ** 63 - 1", "!", "!", "!"},
  };
  const auto value = [](std::string text, const char *onOverflow) {
    return text == "!" ? onOverflow + std::string("!OverflowError") : text;
  };
  for (const auto &row : rows) {
    const std::string narrow = value(row.int32, "-1");
    const std::string wide = " Int64Value=" + value(row.int64, "-1") +
                             " UInt64Value=" + value(row.uint64, "18446744073709551615");
    expectViews(row.expression, "IsBigInteger" + wide, "IsInteger Int32Value=" + narrow + wide,
                "IsBigInteger IntegerValue=" + narrow + wide);
  }
  expectViews("0L", "IsBigInteger", "IsInteger", "IsBigInteger");

  // No view: PyInt_AsLong takes a pending error for a failure of its own with a subclass.
  EXPECT_EQ(view(tupleOf("(Mylong(5),)"), 0), "IsBigInteger Int64Value=5 UInt64Value=5");
  EXPECT_EQ(entityOf("Mylong(5)").get<int>("Int32Value"), 5);
  EXPECT_EQ(resultOf("Mylong(5)").call<int>("IntegerValue() as Integer"), 5);
}

TEST_F(ConversionTest, readsEverythingElseAlikeInAllClasses) {
  const Object object = host::newFolderItem("somewhere");
  letPythonSee("own", heldBy(newEntity(object)));
  for (const char *name : {static_cast<const char *>(nullptr), "named"}) {
    PyObject *const foreign = PY(PyCapsule_New)(object.get(), name, nullptr);
    letPythonSee(name ? name : "nameless", foreign);
    Py_DECREF(foreign);
  }
  using namespace std::string_literals;
  const std::pair<const char *, std::string> rows[] = {
      {"2.5", "IsDouble DoubleValue=2.5"},
      {"Myfloat(2.5)", "IsDouble DoubleValue=2.5"},
      {"-0.0", "IsDouble"},
      {"float('inf')", "IsDouble DoubleValue=inf"},
      {"''", "IsString"},
      {"Mystr('text')", "IsString StringValue=text"},
      {"'a\\0b\\0'", "IsString StringValue=a\0b\0"s},
      {"'\\xc3\\xa9'", "IsString StringValue=\xc3\xa9"},
      {"'\\xff\\xfe'", "IsString StringValue=\xff\xfe"},
      {"()", "IsTuple TupleValue=PythonParameters"},
      {"(1, 2)", "IsTuple TupleValue=PythonParameters"},
      {"[]", "IsList ListValue=PythonList"},
      {"{}", "IsDictionary DictionaryValue=PythonDictionary"},
      {"own", "IsObject ObjectValue=FolderItem"},
      {"nameless", "IsObject"},
      {"named", "IsObject ObjectValue=!ValueError"},
      {"__import__('datetime').datetime_CAPI", "IsObject ObjectValue=!ValueError"}};
  for (const auto &[expression, line] : rows)
    expectViews(expression, line, offered("PythonEntity", line), offered("PythonResult", line));
  for (const char *nothing : {"None", "u'text'", "bytearray('text')", "Mytuple((1, 2))", "2j",
                              "Mylist([1])", "Mydict(a=1)", "Classic()", "Willing()", "Classic"})
    expectViews(nothing, "", "", "");
  EXPECT_EQ(object.locks(), 2U); // ours and the capsule's
}

// The value stored through each class that takes one, as Python shows it. Entities and results make
// a long of every integer.
template <class V>
void expectMade(const V &value, const std::string &plain, const std::string &single) {
  SCOPED_TRACE(plain);
  const Object parameters = quillix::newParameters(1), dictionary = newDictionary(),
               entity = newEntity(value), result = newResult(value);
  put(parameters, 0, value);
  put(dictionary, "key", value);
  const std::pair<PyObject *, std::string> made[] = {
      {PyTuple_GET_ITEM(heldBy(parameters), 0), plain},
      {PY(PyDict_GetItemString)(heldBy(dictionary), "key"), plain},
      {heldBy(entity), single},
      {heldByResult(result), single}};
  for (const auto &[python, repr] : made)
    EXPECT_EQ(reprOf(python), repr);
}

TEST_F(ConversionTest, makesPythonValues) {
  const auto expectSame = [](const auto &value, const char *repr) {
    expectMade(value, repr, repr);
  };
  expectMade(1000, "1000", "1000L");
  expectMade(std::numeric_limits<int>::min(), "-2147483648", "-2147483648L");
  expectSame(std::int64_t{1000}, "1000L");
  expectSame(std::numeric_limits<std::int64_t>::min(), "-9223372036854775808L");
  expectSame(std::numeric_limits<std::uint64_t>::max(), "18446744073709551615L");
  expectSame(-2.5, "-2.5");
  expectSame(false, "False");
  expectSame(REALboolean{2}, "True");
  expectSame(HostBoolean{0x100}, "False");
  expectSame(HostBoolean{0xffffff01}, "True");
  expectSame(std::string("caf\xc3\xa9"), "'caf\\xc3\\xa9'");
  expectSame(std::string("a\0b", 3), "'a\\x00b'");
  expectSame(std::string(), "''");
  expectSame(host::String::emptyObject(), "''");
  constexpr std::uint32_t kMacRoman = 0; // bytes in another encoding stay as they are
  expectSame(host::String::adopt(host::newString("caf\x8e", kMacRoman)), "'caf\\x8e'");
}

// A str of 2 GB, or what says that it is one.
TEST_F(WrapperTest, aTextThatNoHostStringHoldsIsRefused) {
  if (sizeof(Py_ssize_t) == 4)
    GTEST_SKIP() << "Python has no longer text";
  const Object entity = entityOf("'text'"), p = tupleOf("('text',)");
  const auto claim = [](PyObject *string, std::int64_t size) {
    reinterpret_cast<PyVarObject *>(string)->ob_size = static_cast<Py_ssize_t>(size);
  };
  PyObject *const string = heldBy(entity);
  claim(string, std::int64_t{INT32_MAX} + 1);
  EXPECT_LEAVES("MemoryError", EXPECT_EQ(entity.get<std::string>("StringValue"), ""));
  claim(string, 4);
  EXPECT_EQ(entity.get<std::string>("StringValue"), "text");
}

} // namespace
