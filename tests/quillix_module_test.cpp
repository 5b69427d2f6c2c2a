// The module quillix, which comes with the plug-in: every function as host code uses it.

#include "tests/fields.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

using namespace quillix;
using host::Object;
namespace fs = std::filesystem;

// --- Arguments ---

template <class V> void fill(const Object &tuple, int index, const V &value) {
  if constexpr (std::is_same_v<V, Object>) {
    const std::string type = value.className();
    for (const Accessor &accessor : kWrapperAccessors)
      if (accessor.type == type)
        return tuple.assign(declarationOf(tuple.type(), accessor).c_str(), index, value);
  }
  put(tuple, index, value);
}
template <class... V> Object tuple(const V &...values) {
  const Object made = newParameters(sizeof...(V));
  int index = 0;
  (fill(made, index++, values), ...);
  return made;
}
template <class V> Object dictionary(const char *key, const V &value) {
  const Object made = newDictionary();
  if constexpr (std::is_same_v<V, Object>)
    made.call("SetValue(key as String, value as PythonEntityBase)", key, value);
  else
    put(made, key, value);
  return made;
}

// --- Results, by what host code can read ---

template <class... Place> std::string shown(const Object &holder, const Place &...place);

std::string joined(std::vector<std::string> items, bool sort) {
  std::string text;
  if (sort)
    std::sort(items.begin(), items.end());
  for (const std::string &item : items)
    text += (text.empty() ? "" : ", ") + item;
  return text;
}

std::string shownTuple(const Object &tuple) {
  std::vector<std::string> items;
  for (int i = 0; i < tuple.get<int>("Count"); ++i)
    items.push_back(shown(tuple, i));
  return "(" + joined(items, false) + ")";
}

std::string shownDictionary(const Object &dictionary) {
  const Object keys = keysOf(dictionary), values = valuesOf(dictionary);
  std::vector<std::string> items;
  for (int i = 0; i < keys.get<int>("Count"); ++i)
    items.push_back(shown(getItem(keys, i)) + ": " + shown(getItem(values, i)));
  return "{" + joined(items, true) + "}";
}

template <class... Place> std::string shown(const Object &holder, const Place &...place) {
  const auto is = [&](const char *kind) {
    const Accessor accessor{"Is" + std::string(kind), "Boolean"};
    return !declarationOf(holder.type(), accessor).empty() &&
           read<bool>(holder, accessor, place...);
  };
  if (is("String"))
    return "'" + read<std::string>(holder, {"StringValue", "String"}, place...) + "'";
  if (is("Boolean"))
    return read<bool>(holder, {"BooleanValue", "Boolean"}, place...) ? "True" : "False";
  if (is("BigInteger") || (holder.className() == "PythonEntity" && is("Integer"))) {
    const auto number = read<std::int64_t>(holder, {"Int64Value", "Int64"}, place...);
    if (!errorOccurred())
      return std::to_string(number);
    clearError();
    return std::to_string(read<std::uint64_t>(holder, {"UInt64Value", "UInt64"}, place...));
  }
  if (is("Double"))
    return std::to_string(read<double>(holder, {"DoubleValue", "Double"}, place...));
  if (is("Tuple"))
    return shownTuple(read<Object>(holder, kWrapperAccessors[0], place...));
  if (is("Dictionary"))
    return shownDictionary(read<Object>(holder, kWrapperAccessors[1], place...));
  return is("Object") ? "object" : "None";
}

// --- Asking ---

// A folder of files, gone at the end.
class Folder {
public:
  Folder() {
    std::string name = fs::temp_directory_path() / "quillix-XXXXXX";
    path_ = fs::canonical(mkdtemp(name.data()));
  }
  ~Folder() { fs::remove_all(path_); }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;

  std::string path(const char *name = "") const { return path_ / name; }
  std::string write(const char *name, const std::string &content) const {
    fs::create_directories(fs::path(path(name)).parent_path());
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }

private:
  fs::path path_;
};

class QuillixModuleTest : public RunningTest {
protected:
  void SetUp() override {
    RunningTest::SetUp();
    find();
  }
  static void find() {
    host::callShared("Quillix", "AddSearchPath(f as FolderItem)",
                     host::newFolderItem(QUILLIX_SOURCE_DIR "/support"));
  }

  template <class... A> static Object result(const char *function, const A &...arguments) {
    return invoke(getFunction(getModule("quillix"), function), tuple(arguments...));
  }
  // The result, or the error behind "!".
  static std::string answer(const Object &result) {
    if (result)
      return shown(result);
    EXPECT_TRUE(errorOccurred());
    const std::string error = getError();
    EXPECT_FALSE(errorOccurred()) << "the error was no text";
    return "!" + error;
  }
  template <class... A> static std::string ask(const char *function, const A &...arguments) {
    return answer(result(function, arguments...));
  }
  // Of a function that answers with a text.
  template <class... A> static std::string text(const char *function, const A &...arguments) {
    const Object held = result(function, arguments...);
    EXPECT_TRUE(held) << function << ": " << getError();
    return held ? read<std::string>(held, {"StringValue", "String"}) : "";
  }
  static Object lastError() { return read<Object>(result("last_error"), kWrapperAccessors[1]); }
  static std::string lastError(const char *key) { return get<std::string>(lastError(), key); }
};

TEST_F(QuillixModuleTest, tellsEveryError) {
  runPython(R"(# coding: utf-8
class Classic:
  def __str__(self): return 'old style'
class Silent(Exception):
  def __str__(self): raise ValueError
class Stubborn(Exception):
  def __str__(self): raise Classic
class Foreign(Exception):
  def __str__(self): return u'\xe4'
class Hostile(Exception):
  args = property(lambda self: 1 / 0)
def forever(): forever()
def steps():
  yield 1
  raise KeyError('step')
)");
  const std::pair<const char *, const char *> cases[] = {
      {"raise ValueError('bad')", "ValueError: bad"},
      {"raise ValueError", "ValueError"},
      {"int('x')", "ValueError: invalid literal for int() with base 10: 'x'"},
      {"raise KeyError('k')", "KeyError: 'k'"},
      {"raise OSError(2, 'gone')", "OSError: [Errno 2] gone"},
      {"raise 'text'",
       "TypeError: exceptions must be old-style classes or derived from BaseException, not str"},
      {"raise Classic()", "Classic: old style"},
      {"raise Silent('x')", "Silent: Silent('x',)"},
      {"raise Stubborn('x')", "Stubborn: Stubborn('x',)"},
      {"raise Foreign()", "Foreign: \xc3\xa4"},
      {"raise Hostile('x')", "Hostile: x"},
      {"raise ValueError(u'\\xe4\\u20ac')", "ValueError: \xc3\xa4\xe2\x82\xac"},
      {"raise ValueError('\\xe4')", "ValueError: \xc3\xa4"},
      {"'\\xff'.decode('utf-8')",
       "UnicodeDecodeError: 'utf8' codec can't decode byte 0xff in position 0: invalid start byte"},
      {"compile('a b', 'f.py', 'exec')", "SyntaxError: invalid syntax"},
      {"raise SystemExit(3)", "SystemExit: 3"},
      {"raise KeyboardInterrupt", "KeyboardInterrupt"},
      {"list(steps())", "KeyError: 'step'"},
      {"forever()", "RuntimeError: maximum recursion depth exceeded"},
  };
  EXPECT_EQ(lastError("text"), "");
  runPython("def fail(): fail.run()");
  const Object wrapped = getFunction(getModule(text("wrap", "__main__.fail")), "invoke");
  for (const auto &[statement, expected] : cases) {
    SCOPED_TRACE(statement);
    runPython(std::string("def run():\n  ") + statement + "\nfail.run = run");
    EXPECT_EQ(ask("call", "__main__.fail"), std::string("!") + expected);
    EXPECT_EQ(lastError("text"), expected);
    const std::string traceback = lastError("traceback");
    EXPECT_TRUE(traceback.starts_with("Traceback (most recent call last):\n")) << traceback;
    EXPECT_TRUE(traceback.ends_with(std::string(expected) + "\n")) << traceback;
    EXPECT_NE(traceback.find("in run\n"), std::string::npos) << traceback;
    EXPECT_EQ(traceback.find("quillix.py"), std::string::npos) << traceback;
    EXPECT_EQ(answer(invoke(wrapped)), std::string("!") + expected);
  }

  runPython("class Told(OSError): pass\n"
            "def run(): raise Told(2, u'\\xe4')\n"
            "fail.run = run");
  EXPECT_EQ(ask("call", "__main__.fail"), "!Told: [Errno 2] \xc3\xa4");
  EXPECT_EQ(shown(lastError().call<Object>("GetValue(key as String) as PythonEntity", "arguments")),
            "(2, '\xc3\xa4')");
  EXPECT_EQ(lastError("class") + " of " + lastError("module"), "Told of __main__");
  EXPECT_EQ(lastError("message"), "[Errno 2] \xc3\xa4");
  EXPECT_EQ(lastError("file"), "<string>");
  EXPECT_EQ(get<std::int64_t>(lastError(), "line"), 2);

  // Python code that calls the module sees an ordinary exception.
  runPython("import quillix\n"
            "try: quillix.evaluate('1 / 0')\n"
            "except quillix.Error as e: seen = e\n"
            "assert str(seen) == 'ZeroDivisionError: integer division or modulo by zero'");
  EXPECT_EQ(ask("call", "quillix.evaluate", tuple("1 / 0")),
            "!ZeroDivisionError: integer division or modulo by zero");
  EXPECT_EQ(lastError("class"), "ZeroDivisionError") << "told once";
}

// The error of any other call, as long as nobody took it.
TEST_F(QuillixModuleTest, tellsPendingErrors) {
  runPython("class Failure(Exception): pass\n"
            "def fail(what):\n"
            "  raise what, u'\\xe4'");
  const Folder folder;
  folder.write("broken.py", "def f(:\n");
  ask("insert_path", folder.path());
  const Object main = getModule("__main__"), fail = getFunction(main, "fail"),
               describe = getFunction(getModule("quillix"), "last_error");
  const std::pair<std::function<void()>, const char *> cases[] = {
      {[&] { invoke(fail, tupleOf("(Failure,)")); }, "Failure: \xc3\xa4"},
      {[&] { invoke(fail, tupleOf("(KeyboardInterrupt,)")); }, "KeyboardInterrupt: \xc3\xa4"},
      {[&] { invoke(fail); }, "TypeError: fail() takes exactly 1 argument (0 given)"},
      {[&] { getModule("broken"); }, "SyntaxError: invalid syntax"},
      {[&] { getField<int>(main, "none"); },
       "AttributeError: 'module' object has no attribute 'none'"},
      {[&] { setError(20, "of the host"); }, "ValueError: of the host"},
  };
  for (const auto &[act, expected] : cases) {
    act();
    ASSERT_TRUE(errorOccurred());
    const Object told = read<Object>(invoke(describe), kWrapperAccessors[1]);
    EXPECT_FALSE(errorOccurred());
    EXPECT_EQ(get<std::string>(told, "text"), expected);
    EXPECT_TRUE(get<std::string>(told, "traceback").ends_with(std::string(expected) + "\n"));
  }
  invoke(fail, tupleOf("(Failure,)"));
  const Object told = read<Object>(invoke(describe), kWrapperAccessors[1]);
  EXPECT_EQ(get<std::string>(told, "traceback"), "Traceback (most recent call last):\n"
                                                 "  File \"<string>\", line 3, in fail\n"
                                                 "Failure: \xc3\xa4\n");

  // Such an error does not get into the way of a call.
  const Object call = getFunction(getModule("quillix"), "evaluate"),
               list = tuple("[i for i in (1,)]");
  invoke(fail, tupleOf("(Failure,)"));
  EXPECT_EQ(answer(invoke(call, list)), "(1)");
  EXPECT_FALSE(errorOccurred());
}

TEST_F(QuillixModuleTest, callsWithEverything) {
  runPython("def f(*a, **k): return a, k");
  EXPECT_EQ(ask("call", "__main__.f"), "((), {})");
  EXPECT_EQ(ask("call", "__main__.f", tuple(1, "a", 2.5, true), dictionary("k", "v")),
            "((1, 'a', 2.500000, True), {'k': 'v'})");
  EXPECT_EQ(ask("call", "json.dumps", tuple(dictionary("a", 1)), dictionary("indent", 1)),
            "'{\n \"a\": 1\n}'");
  EXPECT_EQ(ask("call", "xml.sax.saxutils.escape", tuple("<")), "'&lt;'") << "imported on the way";
  EXPECT_EQ(ask("call", "len", tuple("abc")), "3");
  EXPECT_EQ(ask("call", "str.upper", tuple("abc")), "'ABC'");
  EXPECT_EQ(ask("call", "__main__.f", tuple("quillix.objects.None")), "((None), {})");
  EXPECT_EQ(ask("call", "__main__.f", tuple("quillix.objects.x")), "(('quillix.objects.x'), {})");
  EXPECT_EQ(ask("call_unicode", "repr", tuple(tuple("\xc3\xa4", 1))), "'(u'\\xe4', 1)'");
  EXPECT_EQ(ask("call_unicode", "repr", tuple(), dictionary("k", "v")).substr(0, 11),
            "!TypeError:");
  const std::string list = text("create", "list");
  EXPECT_EQ(ask("call_unicode", list + ".append", tuple("a")), "None");
  EXPECT_EQ(ask("call_unicode", "operator.iadd", tuple(list, tuple("b"))), "('a', 'b')");
  EXPECT_EQ(ask("represent", list), "'[u'a', u'b']'") << "the list itself";

  const std::pair<const char *, const char *> refused[] = {
      {"nowhere", "!LookupError: there is no module or built-in 'nowhere'"},
      {"json.nothing", "!AttributeError: there is no json.nothing"},
      {"quillix.objects.99", "!LookupError: quillix.objects.99 is not kept"},
      {"", "!ValueError: Empty module name"},
      {"os", "!TypeError: module cannot be called"},
      {"broken", "!ImportError: No module named missing"},
  };
  const Folder folder;
  folder.write("broken.py", "import missing");
  EXPECT_EQ(ask("insert_path", folder.path()), "None");
  for (const auto &[target, error] : refused)
    EXPECT_EQ(ask("call", target), error);
  EXPECT_EQ(ask("wrap", "sys.path"), "!TypeError: list cannot be called");
  EXPECT_EQ(ask("call_unicode", "len", tuple("\xff")).substr(0, 20), "!UnicodeDecodeError:");
  for (const char *function : {"call", "call_unicode", "create", "run_script"})
    EXPECT_EQ(ask(function, "len", "abc"), "!TypeError: arguments are given in a tuple or list");
  EXPECT_EQ(ask("call"), "!TypeError: call() takes at least 1 argument (0 given)");
}

// Every road on which the object itself, not a copy of it, is reached.
TEST_F(QuillixModuleTest, keepsObjects) {
  runPython("gone = []\n"
            "class Account(object):\n"
            "  def __init__(self, owner, balance=0): self.owner, self.balance = owner, balance\n"
            "  def pay(self, amount): self.balance += amount; return self.balance\n"
            "  def __del__(self): gone.append(str(self.owner))");
  const std::string name =
      text("create", "__main__.Account", tuple("Ada"), dictionary("balance", 5));
  const Object account = getModule(name);
  ASSERT_TRUE(account);
  setField(account, "balance", 7);
  EXPECT_EQ(getField<std::string>(account, "owner"), "Ada");
  EXPECT_EQ(shown(invoke(getFunction(account, "pay"), tuple(3))), "10");
  const Object instance = createInstance(getClass(getModule("quillix.objects"), name));
  EXPECT_EQ(instance.className(), "PythonInstance");
  EXPECT_EQ(getField<int>(instance, "balance"), 10);
  EXPECT_EQ(ask("call", name + ".pay", tuple(5)), "15");
  EXPECT_EQ(ask("call", "__main__.Account.pay", tuple(name, 5)), "20");
  EXPECT_EQ(ask("type_name", name), "'__main__.Account'");

  EXPECT_EQ(ask("set_attribute", name, "owner", text("unicode_object", "\xc3\xa4")), "None");
  EXPECT_EQ(getField<std::string>(account, "owner"), "") << "unicode";
  EXPECT_EQ(ask("get_attribute", name, "owner"), "'\xc3\xa4'");
  EXPECT_EQ(ask("set_attribute", name, "owner", "Bob"), "None");
  const std::string type = text("get_attribute_object", name, "__class__");
  EXPECT_EQ(ask("get_attribute", name, "__class__.__name__"), "'Account'");
  EXPECT_EQ(ask("set_attribute", name, "__class__.bank", "B"), "None");
  EXPECT_EQ(getField<std::string>(instance, "bank"), "B");
  EXPECT_EQ(ask("get_attribute", name, "missing"),
            "!AttributeError: 'Account' object has no attribute 'missing'");
  EXPECT_EQ(ask("get_attribute", "os.path", "sep"), "'/'");

  const std::string list = text("create", "list", tuple(tuple("a")));
  EXPECT_EQ(ask("call", list + ".append", tuple(name)), "None");
  EXPECT_EQ(ask("get_item", list, 0), "'a'");
  const std::string same = text("get_item_object", list, -1);
  EXPECT_EQ(getField<int>(getModule(same), "balance"), 20);
  EXPECT_EQ(ask("set_item", list, 0, text("integer_object", "123456789012345678901234567890")),
            "None");
  EXPECT_EQ(ask("get_item", list, 0), "'123456789012345678901234567890'");
  EXPECT_EQ(ask("delete_item", list, 1), "None");
  EXPECT_EQ(ask("text", list), "'[123456789012345678901234567890L]'");
  EXPECT_EQ(ask("get_item", list, 1), "!IndexError: list index out of range");

  EXPECT_EQ(ask("kept").substr(0, name.size() + 3), "('" + name + "'");
  EXPECT_EQ(ask("release", name, same, "nonsense", "quillix.objects.None"), "2");
  EXPECT_FALSE(getModule(name));
  EXPECT_EQ(getError(), "No module named " + name.substr(name.rfind('.') + 1));
}

TEST_F(QuillixModuleTest, letsGoOfObjects) {
  runPython("gone = []\n"
            "class Thing(object):\n"
            "  def __init__(self, name='plain'): self.name = name\n"
            "  def __del__(self): gone.append(self.name)");
  const std::string held = text("create", "__main__.Thing", tuple("held"));
  text("create", "__main__.Thing");
  const Object module = getModule(held), thing = host::create("Object");
  const std::string list = text("create", "list", tuple(tuple(thing)));
  EXPECT_EQ(thing.locks(), 2U);
  EXPECT_EQ(read<Object>(result("get_item", list, 0), {"ObjectValue", "Object"}), thing);
  EXPECT_EQ(ask("release"), "3");
  EXPECT_EQ(thing.locks(), 1U);
  EXPECT_EQ(ask("kept"), "()");
  EXPECT_EQ(ask("get_attribute", "__main__", "gone"), "('plain')");
  EXPECT_EQ(getField<std::string>(module, "name"), "held") << "the wrapper keeps it";

  // What nothing but an entity holds can be kept, and given as an argument.
  const Object box = dictionaryOf("{'x': Thing('boxed')}");
  const Object list2 = newList();
  append(list2, box.call<Object>("GetValue(key as String) as PythonEntity", "x"));
  const std::string boxed = read<std::string>(
      invoke(getFunction(getModule("quillix"), "keep"), asTuple(list2)), {"StringValue", "String"});
  EXPECT_EQ(getField<std::string>(getModule(boxed), "name"), "boxed");

  // Reloading loses nothing.
  EXPECT_TRUE(getModule("quillix").call<bool>("Reload() as Boolean"));
  EXPECT_EQ(ask("get_attribute", boxed, "name"), "'boxed'");
  EXPECT_NE(text("create", "list"), boxed);
}

TEST_F(QuillixModuleTest, readsValues) {
  runPython(R"(# coding: utf-8
import collections, datetime, decimal, fractions, re
class Number(int):
  def __long__(self): return 1 / 0
class Text(str):
  def __str__(self): return 'other'
class Mute(object):
  def __repr__(self): raise ValueError
class Word(object):
  def __unicode__(self): return u'ä'
  def __str__(self): return unicode(self)
class Key(dict): __hash__ = lambda self: 1
ring = [1]; ring.append(ring)
knot = {}; knot['k'] = [knot]
deep = []
for i in range(10 ** 4): deep = [deep]
)");
  const std::pair<const char *, const char *> cases[] = {
      {"5", "5"},
      {"-2 ** 63", "-9223372036854775808"},
      {"2 ** 64 - 1", "18446744073709551615"},
      {"2 ** 64", "'18446744073709551616'"},
      {"-2 ** 63 - 1", "'-9223372036854775809'"},
      {"2 ** 100 * -1", "'-1267650600228229401496703205376'"},
      {"True", "True"},
      {"None", "None"},
      {"-0.0", "-0.000000"},
      {"'\\xff\\0'.encode('hex')", "'ff00'"},
      {"u'\\xe4'", "'\xc3\xa4'"},
      {"u'\xc3\xa4\xe2\x82\xac'", "'\xc3\xa4\xe2\x82\xac'"},
      {"bytearray('ab'), buffer('cd'), memoryview('ef')", "('ab', 'cd', 'ef')"},
      {"[1, [2], {3}, (x for x in ())][:3]", "(1, (2), (3))"},
      {"{u'k': {1: [2L]}, (1, u'b'): None}", "{'k': {1: (2)}, (1, 'b'): None}"},
      {"collections.OrderedDict(a=1), collections.namedtuple('P', 'x')(1)", "({'a': 1}, (1))"},
      {"decimal.Decimal('1.50'), fractions.Fraction(1, 3)", "('1.50', '1/3')"},
      {"datetime.date(2020, 1, 2)", "'2020-01-02'"},
      {"Text('own'), Word()", "('own', '\xc3\xa4')"},
      {"Mute()", "'<__main__.Mute>'"},
      {"{Key(): 1}", "{'{}': 1}"},
      {"ring", "(1, '[...]')"},
      {"knot", "{'k': ('{...}')}"},
      {"[ring[:1]] * 2", "((1), (1))"},
      {"Number(5)", "!ZeroDivisionError: integer division or modulo by zero"},
      {"deep", "!RuntimeError: maximum recursion depth exceeded"},
  };
  for (const auto &[expression, expected] : cases)
    EXPECT_EQ(ask("evaluate", expression, "__main__").substr(0, std::string(expected).size()),
              expected)
        << expression;
  EXPECT_EQ(ask("value", text("evaluate_object", "ring", "__main__")), "(1, '[...]')");
  EXPECT_EQ(ask("text", text("evaluate_object", "Word()", "__main__")), "'\xc3\xa4'");
  EXPECT_EQ(ask("represent", "a\xc3\xa4"), "''a\\xc3\\xa4''");
  EXPECT_EQ(ask("represent", text("evaluate_object", "Mute()", "__main__")), "!ValueError");
  EXPECT_EQ(ask("type_name", 5) + ask("type_name", text("create", "collections.OrderedDict")),
            "'int''collections.OrderedDict'");
  const std::pair<const char *, const char *> numbers[] = {
      {"ff", "'255'"}, {"g", "!ValueError: invalid literal for long() with base 16: 'g'"}};
  for (const auto &[digits, expected] : numbers) {
    const std::string outcome = ask("integer_object", digits, 16);
    EXPECT_EQ(outcome[0] == '!' ? outcome : ask("text", outcome.substr(1, outcome.size() - 2)),
              expected);
  }
  EXPECT_EQ(ask("get_item", text("unicode_object", "\xe4", "latin-1"), 0), "'\xc3\xa4'");
  EXPECT_EQ(ask("unicode_object", "\xff").substr(0, 20), "!UnicodeDecodeError:");
}

TEST_F(QuillixModuleTest, iteratesInBatches) {
  runPython("import itertools\n"
            "def failing():\n"
            "  yield 1\n"
            "  yield u'\\xe4'\n"
            "  raise ValueError('third')");
  const std::string numbers =
      text("iterate", text("evaluate_object", "itertools.count()", "__main__"));
  EXPECT_EQ(ask("next_items", numbers, 3), "(0, 1, 2)");
  EXPECT_EQ(ask("next_items", numbers, 2), "(3, 4)");
  EXPECT_EQ(ask("next_items", numbers, 0), "!ValueError: a batch has at least one item");
  EXPECT_EQ(read<Object>(result("next_items", numbers), kWrapperAccessors[0]).get<int>("Count"),
            100);

  const std::string failing = text("iterate", text("create", "__main__.failing"));
  EXPECT_EQ(ask("next_items", failing, 5), "(1, '\xc3\xa4')") << "what came before the error";
  EXPECT_EQ(ask("next_items", failing, 5), "!ValueError: third");
  EXPECT_NE(lastError("traceback").find("in failing"), std::string::npos);
  EXPECT_EQ(ask("next_items", failing, 5), "()");
  EXPECT_EQ(ask("next_items", failing, 5), "!LookupError: " + failing + " is not kept");

  const std::string letters = text("iterate", "ab");
  const Object names = read<Object>(result("next_objects", letters, 5), kWrapperAccessors[0]);
  EXPECT_EQ(ask("text", get<std::string>(names, 1)), "'b'");
  EXPECT_EQ(ask("next_objects", letters, 5), "()");
  EXPECT_EQ(ask("iterate", 5), "!TypeError: 'int' object is not iterable");
  EXPECT_EQ(ask("next_items", "ab"), "!TypeError: ab is not from iterate()");
}

TEST_F(QuillixModuleTest, runsSource) {
  const std::string name = text("execute", "x = 5\r\ndef f(): return u'\xc3\xa4', __name__\r\n"
                                           "class C(object): size = 3");
  const Object module = getModule(name);
  EXPECT_EQ(getField<int>(module, "x"), 5);
  EXPECT_EQ(getField<int>(createInstance(getClass(module, "C")), "size"), 3);
  EXPECT_EQ(ask("call", name + ".f"), "('\xc3\xa4', '" + name + "')");
  EXPECT_EQ(ask("evaluate", " [x + i for i in range(2)]\n", name), "(5, 6)");
  EXPECT_EQ(ask("execute", "x += 1", name), "'" + name + "'");
  EXPECT_EQ(ask("evaluate", "x", name), "6");
  EXPECT_EQ(ask("evaluate", "__name__", "json"), "'json'");
  EXPECT_EQ(ask("evaluate", "max(a, 2)", dictionary("a", 3)), "3");
  EXPECT_EQ(ask("evaluate", "m.x, list(m.x for i in [1])", dictionary("m", name.c_str())),
            "(6, (6))");
  EXPECT_EQ(ask("evaluate", "x"), "!NameError: name 'x' is not defined") << "a new namespace";
  const Object names = dictionary("a", 2);
  EXPECT_EQ(ask("execute", "b = a * 3", names), "None");
  EXPECT_EQ(get<int>(names, "b"), 6);
  const std::string kept = text("create", "dict");
  EXPECT_EQ(ask("execute", "y = 1", kept), "'" + kept + "'");
  EXPECT_EQ(ask("evaluate", "y", kept), "1");

  const std::string before = ask("kept");
  const std::pair<const char *, const char *> failures[] = {
      {"def f(:", "!SyntaxError: invalid syntax"},
      {"\xc3\xa4 = 1", "!SyntaxError: invalid syntax"},
      {"1 / 0", "!ZeroDivisionError: integer division or modulo by zero"},
      {"# coding: nonsense", "!SyntaxError: unknown encoding: nonsense"},
      {"raise SystemExit", "!SystemExit"},
  };
  for (const auto &[source, error] : failures)
    EXPECT_EQ(ask("execute", source), error) << source;
  EXPECT_EQ(ask("execute", std::string("x = 1\0", 6)),
            "!TypeError: compile() expected string without null bytes");
  EXPECT_EQ(ask("kept"), before) << "a module that failed";
  EXPECT_EQ(ask("execute", "# coding: latin-1\nx = u'\xe4'", name), "'" + name + "'");
  EXPECT_EQ(ask("evaluate", "x", name), "'\xc3\xa4'");

  // The source stands in tracebacks, also later, of the last sources at least.
  EXPECT_EQ(ask("execute", "def late():\n  raise ValueError('\xc3\xa4')", name), "'" + name + "'");
  EXPECT_EQ(ask("call", name + ".late"), "!ValueError: \xc3\xa4");
  EXPECT_NE(lastError("traceback").find("    raise ValueError('\xc3\xa4')\n"), std::string::npos)
      << lastError("traceback");
  for (int i = 0; i < 40; ++i)
    ask("evaluate", "1");
  EXPECT_EQ(ask("call", name + ".late"), "!ValueError: \xc3\xa4");
  EXPECT_EQ(lastError("traceback").find("    raise"), std::string::npos) << "forgotten";
}

TEST_F(QuillixModuleTest, runsFiles) {
  const Folder folder;
  const std::string file = folder.write("latin.py", "# coding: latin-1\n"
                                                    "word = u'\xe4'\n"
                                                    "def fail(): raise ValueError(u'\xe4') # \xe4");
  const std::string name = text("execute_file", file);
  EXPECT_EQ(ask("evaluate", "word, __file__", name), "('\xc3\xa4', '" + file + "')");
  EXPECT_EQ(ask("call", name + ".fail"), "!ValueError: \xc3\xa4");
  EXPECT_EQ(lastError("file"), file);
  EXPECT_NE(lastError("traceback").find("raise ValueError(u'\xc3\xa4') # \xc3\xa4\n"),
            std::string::npos);
  EXPECT_EQ(ask("execute_file", folder.path("none.py")),
            "!IOError: [Errno 2] No such file or directory: '" + folder.path("none.py") + "'");

  folder.write("helper.py", "value = 'helped'");
  const std::string script =
      folder.write("script.py", "import sys, helper\n"
                                "if __name__ == '__main__': print helper.value, sys.argv[1:]\n"
                                "sys.path.append('/left behind')\n"
                                "sys.exit(eval(sys.argv[1]))");
  runPython("import sys; before = list(sys.path), sys.modules['__main__']");
  attachConsole();
  const std::pair<const char *, const char *> endings[] = {
      {"7", "7"}, {"None", "0"}, {"1/0", "!ZeroDivisionError: integer division or modulo by zero"}};
  for (const auto &[code, status] : endings) {
    printed.clear();
    EXPECT_EQ(ask("run_script", script, tuple(code)), status);
    EXPECT_EQ(joined(printed, false), std::string("helped,  , ['") + code + "'], \n");
    runPython("assert before == (sys.path, sys.modules['__main__'])\n"
              "assert not hasattr(sys, 'argv')");
  }
  EXPECT_EQ(ask("set_arguments", tuple("program", "\xc3\xa4")), "None");
  EXPECT_EQ(ask("run_script", script, tuple("0")), "0");
  EXPECT_EQ(ask("redirect_errors"), "None");
  printed.clear();
  EXPECT_EQ(ask("run_script", script, tuple("'enough'")), "1");
  EXPECT_EQ(printed.back(), "enough\n");
  EXPECT_EQ(ask("get_attribute", "sys", "argv"), "('program', '\xc3\xa4')");
  EXPECT_EQ(ask("run_script", folder.path("none.py")).substr(0, 9), "!IOError:");
  EXPECT_EQ(ask("restore_streams"), "None");
}

TEST_F(QuillixModuleTest, redirectsStreams) {
  static std::vector<std::string> heard;
  static std::vector<const char *> lines;
  heard.clear();
  lines = {"first", "second\n", "", "4\n5"};
  const Object module = describeModule("terminal", 2);
  registerFunction(module, "show", [](PyObject *, PyObject *arguments) {
    heard.push_back(get<std::string>(parametersOver(arguments), 0));
    return give(host::create("PythonResult", "Constructor()"));
  });
  registerFunction(module, "ask", [](PyObject *, PyObject *) {
    if (lines.empty())
      return give(host::create("PythonResult", "Constructor()"));
    const char *line = lines.front();
    lines.erase(lines.begin());
    return give(newResult(std::string(line)));
  });
  publish(module);
  attachConsole();
  runPython("import sys; before = sys.stdin, sys.stdout, sys.stderr");

  EXPECT_EQ(ask("redirect_output"), "None");
  EXPECT_EQ(ask("redirect_errors"), "None");
  runPython("import warnings\n"
            "print u'\\xe4', 5,\n"
            "print\n"
            "sys.stdout.writelines(['a', u'b'])\n"
            "sys.stdout.write('nul\\0')\n"
            "assert (sys.stdout.encoding, sys.stdout.isatty()) == ('UTF-8', False)\n"
            "sys.stdout.flush()\n"
            "def refused(f, *a):\n"
            "  try: f(*a)\n"
            "  except Exception as e: return type(e).__name__\n"
            "assert refused(sys.stdout.write, 5) == 'TypeError'\n"
            "assert refused(sys.stdout.fileno) == 'UnsupportedOperation'");
  EXPECT_EQ(joined(printed, false), "\xc3\xa4,  , 5, \n, a, b, nul\xe2\x90\x80");
  printed.clear();
  runPython("warnings.warn('careful')");
  EXPECT_NE(joined(printed, false).find("UserWarning: careful"), std::string::npos);

  EXPECT_EQ(ask("redirect_output", "terminal.show"), "None");
  printed.clear();
  runPython("print u'\\xe4'");
  EXPECT_EQ(heard, (std::vector<std::string>{"\xc3\xa4", "\n"}));
  EXPECT_TRUE(printed.empty());

  EXPECT_EQ(ask("redirect_input", "terminal.ask"), "None");
  runPython("assert raw_input() == 'first'\n"
            "assert sys.stdin.readline(3) == 'sec' and sys.stdin.readline() == 'ond\\n'\n"
            "assert sys.stdin.readline() == '\\n'\n"
            "assert sys.stdin.read(1) == '4' and list(sys.stdin) == ['\\n', '5\\n']\n"
            "assert sys.stdin.read() == '' and refused(raw_input) == 'EOFError'");
  EXPECT_EQ(ask("redirect_input", "time.time"), "None");
  EXPECT_EQ(ask("call", "raw_input"), "!TypeError: a line of input is a text, not float");

  for (const char *function : {"redirect_output", "redirect_errors", "redirect_input"}) {
    EXPECT_EQ(ask(function, "terminal.none"), "!AttributeError: there is no terminal.none");
    EXPECT_EQ(ask(function, "sys.path"), "!TypeError: list cannot be called");
  }
  EXPECT_EQ(ask("restore_streams"), "None");
  EXPECT_EQ(ask("restore_streams"), "None");
  runPython("assert before == (sys.stdin, sys.stdout, sys.stderr)");
}

TEST_F(QuillixModuleTest, entersVirtualEnvironments) {
  const Folder folder;
  const std::string packages = "lib/python2.7/site-packages/";
  folder.write(("plain/" + packages + "inside.py").c_str(), "");
  folder.write(("plain/" + packages + "more.pth").c_str(), folder.path("extra") + "\n");
  fs::create_directories(folder.path("extra"));
  folder.write("scripted/bin/activate_this.py",
               "import os, sys\n"
               "sys.real_prefix, sys.prefix = sys.prefix, os.path.dirname(__file__)\n"
               "sys.path.insert(0, '/scripted')");
  folder.write("broken/bin/activate_this.py",
               "import sys; sys.prefix = '/no'; sys.path[:] = []; 1/0");
  fs::create_directories(folder.path("modern/lib/python3.9/site-packages"));
  runPython("import os, sys\n"
            "os.environ['PYTHONHOME'] = '/python'\n"
            "def state(): return sys.path[:], sys.prefix, sys.exec_prefix, dict(os.environ)\n"
            "before = state()");
  EXPECT_EQ(ask("deactivate"), "False");
  const auto active = [] {
    return get<std::string>(read<Object>(result("python_info"), kWrapperAccessors[1]),
                            "environment");
  };
  const std::string plain = folder.path("plain"), expected = "'" + plain + "'";
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(ask("activate", plain + "/"), expected);
    EXPECT_EQ(active(), plain);
    EXPECT_EQ(ask("evaluate",
                  "sys.prefix, sys.real_prefix == before[1], sys.path[:2], "
                  "os.environ['VIRTUAL_ENV'], os.environ['PATH'].split(':')[0], "
                  "'PYTHONHOME' in os.environ, sorted(sys.path[2:]) == sorted(before[0])",
                  "__main__"),
              "(" + expected + ", True, ('" + plain + "/" +
                  packages.substr(0, packages.size() - 1) + "', '" + folder.path("extra") + "'), " +
                  expected + ", '" + plain + "/bin', False, True)");
  }
  runPython("import inside; assert inside.__file__.startswith(sys.prefix)\n"
            "during = state()");
  const std::pair<const char *, std::string> refused[] = {
      {"modern",
       "!ValueError: " + folder.path("modern") + " is no virtual environment for python2.7"},
      {"none", "!ValueError: " + folder.path("none") + " is no virtual environment for python2.7"},
      {"broken", "!ZeroDivisionError: integer division or modulo by zero"}};
  for (const auto &[name, error] : refused) {
    EXPECT_EQ(ask("activate", folder.path(name)), error);
    EXPECT_EQ(active(), plain);
    runPython("assert state() == during");
  }
  EXPECT_EQ(ask("activate", folder.path("scripted")), "'" + folder.path("scripted") + "'");
  runPython("assert sys.path == ['/scripted'] + before[0] and sys.prefix.endswith('/bin')");
  EXPECT_EQ(ask("deactivate"), "True");
  EXPECT_EQ(active(), "");
  runPython("assert state() == before and not hasattr(sys, 'real_prefix')");
}

// Each interpreter has a module of its own, which raises errors as the first one's did.
TEST_F(QuillixModuleTest, worksAfterARestart) {
  for (int life = 0; life < 5; ++life) {
    EXPECT_EQ(ask("kept"), "()");
    EXPECT_EQ(ask("evaluate", "1 / 0"), "!ZeroDivisionError: integer division or modulo by zero");
    runPython("class Thing(object):\n"
              "  def __del__(self): print 'gone'");
    EXPECT_EQ(text("create", "__main__.Thing"), "quillix.objects.1");
    EXPECT_EQ(ask("redirect_output"), "None");
    EXPECT_EQ(ask("redirect_errors"), "None");
    EXPECT_EQ(ask("execute",
                  "import atexit, sys\n"
                  "def last(): print >> sys.stderr, u'\\xe4'\n"
                  "atexit.register(last)",
                  "__main__"),
              "'__main__'");
    attachConsole();
    printed.clear();
    finalize();
    EXPECT_EQ(joined(printed, false), "\xc3\xa4, \n, gone, \n");
    init();
    find();
  }
}

TEST_F(QuillixModuleTest, describesPython) {
  const Object info = read<Object>(result("python_info"), kWrapperAccessors[1]);
  EXPECT_EQ(get<std::string>(info, "version").substr(0, 4), "2.7.");
  EXPECT_EQ(get<std::string>(info, "support"), "1.0.0");
  EXPECT_EQ(get<std::int64_t>(info, "bits"), sizeof(void *) * 8);
  const auto shownKey = [&](const char *key) {
    return shown(info.call<Object>("GetValue(key as String) as PythonEntity", key));
  };
  EXPECT_EQ(shownKey("path"), ask("get_attribute", "sys", "path"));
  EXPECT_EQ(shownKey("version_info").substr(0, 6), "(2, 7,");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(ask("insert_path", "/first"), "None");
    EXPECT_EQ(ask("evaluate", "sys.path[0], sys.path.count('/first')",
                  dictionary("sys", text("keep", "sys").c_str())),
              "('/first', 1)");
  }

  // All that is public is there and says what it does.
  runPython("import quillix\n"
            "for name in quillix.__all__: assert getattr(quillix, name).__doc__, name\n"
            "public = set(name for name, f in vars(quillix).items()\n"
            "             if name[0] != '_' and getattr(f, '__module__', '') == 'quillix')\n"
            "assert public == set(quillix.__all__), public ^ set(quillix.__all__)");
}

} // namespace
