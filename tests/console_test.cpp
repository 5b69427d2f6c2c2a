// What Python prints, as events of a console object.

#include "tests/fields.h"

#include <thread>

namespace {

using namespace quillix;
using host::Object;
using Events = std::vector<std::string>;

class ConsoleTest : public RunningTest {
protected:
  Events eventsOf(const std::string &statements) {
    printed.clear();
    runPython(statements);
    return printed;
  }
};

TEST_F(ConsoleTest, eachWriteIsOneEvent) {
  EXPECT_EQ(eventsOf("print 'dropped'"), Events{}) << "no console";
  attachConsole();
  runPython("import sys, aview\n"
            "def refused(*arguments, **named):\n"
            "  try: sys.stdout.write(*arguments, **named)\n"
            "  except Exception as e: return type(e).__name__");
  const std::pair<const char *, Events> cases[] = {
      {"print 'word'", {"word", "\n"}},
      {"print 'two', 5,", {"two", " ", "5"}},
      {"sys.stdout.write('two\\nlines\\n')", {"two\nlines\n"}},
      {"sys.stdout.write(u'plain')", {"plain"}},
      {"sys.stdout.write('\\xc3\\xa4\\xff')", {"\xc3\xa4\xff"}},
      {"sys.stdout.write('x' * 100000)", {std::string(100000, 'x')}},
      {"assert aview.write('') is None", {""}},
      {"assert aview.flush() is None and aview.flush(1, 2) is None", {}},
      {"assert aview.write.__doc__ == 'Write something.'", {}},
      {"assert aview.flush.__doc__ == 'doc for flush'", {}},
      {"sys.stderr.write('(to standard error)\\n')", {}},
      {"assert refused() == refused(5) == refused('a', 'b') == 'TypeError'", {}},
      {"assert refused('a\\0b') == refused(text='a') == 'TypeError'", {}},
      {"assert refused(u'\\xe4') == 'UnicodeEncodeError'", {}},
  };
  for (const auto &[statements, events] : cases)
    EXPECT_EQ(eventsOf(statements), events) << statements;
}

// One console at a time, with one lock, for every interpreter that runs.
TEST_F(ConsoleTest, theChosenConsoleIsLocked) {
  const Object first = recorder(), second = recorder();
  const auto expectLocks = [&](std::uint32_t ofFirst, std::uint32_t ofSecond) {
    EXPECT_TRUE(first.locks() == ofFirst && second.locks() == ofSecond);
  };
  for (const Object &chosen : {first, first, second})
    setConsole(chosen);
  expectLocks(1, 2);
  finalize();
  init();
  expectLocks(1, 2);
  EXPECT_EQ(eventsOf("print 'again'"), (Events{"again", "\n"}));
  setConsole(first);
  expectLocks(2, 1);
  setConsole(nullptr);
  setConsole(nullptr);
  expectLocks(1, 1);
  EXPECT_EQ(eventsOf("print 'dropped'"), Events{});
}

// A handler is looked for until there is one, and then no more; one that the class writes is found
// when an instance is made. It is lent the text and may keep it by a lock of its own.
TEST_F(ConsoleTest, findsTheHandler) {
  constexpr const char *kEvent = "ConsoleOutput(output as String)";
  static host::String kept;
  static Object sender;
  const host::TextHandler keep = [](REALobject console, REALstring output) {
    sender = Object::share(console);
    kept = host::String::share(output);
  };
  const host::TextHandler fail = [](REALobject, REALstring) { ADD_FAILURE(); };
  host::defineClass("Terminal", "QuillixConsoleOutput");
  host::implementEvent("Terminal", kEvent, keep);
  for (const char *type : {"QuillixConsoleOutput", "Terminal"}) {
    const Object console = host::create(type);
    setConsole(console);
    if (console.className() == "QuillixConsoleOutput")
      runPython("print 'dropped'");
    host::attachHandler(console, kEvent, console.className() == "Terminal" ? fail : keep);
    runPython("import sys; sys.stdout.write('heard')");
    host::attachHandler(console, kEvent, fail);
    runPython("sys.stdout.write('heard')");
    EXPECT_EQ(std::exchange(sender, nullptr), console);
    EXPECT_EQ(kept.text(), "heard");
    EXPECT_EQ(kept.encoding(), kEncodingUTF8);
    EXPECT_EQ(kept.locks(), 1U);
    EXPECT_EQ(host::livingStrings(), 1U);
  }
  kept = {};
}

// Whatever its handler does, a console lives until the handler has returned.
TEST_F(ConsoleTest, theHandlerMayReplaceTheConsole) {
  attachConsole();
  const auto chooseReplacedBy = [this](const Object &next) {
    Object console = newConsole([this, next](std::string_view text) {
      setConsole(next);
      printed.push_back("first " + std::string(text));
    });
    host::onDestroyed(console, [this] { printed.emplace_back("gone"); });
    setConsole(console);
  };
  chooseReplacedBy(recorder());
  EXPECT_EQ(eventsOf("print 'one'"), (Events{"first one", "gone", "\n"}));
  chooseReplacedBy(nullptr);
  EXPECT_EQ(eventsOf("print 'two'"), (Events{"first two", "gone"}));

  // Another is chosen as the old one goes: the choice that was made first stands.
  const Object chosen = recorder(), meanwhile = recorder();
  Object old = recorder();
  host::onDestroyed(old, [meanwhile] { setConsole(meanwhile); });
  setConsole(old);
  old = nullptr;
  setConsole(chosen);
  EXPECT_EQ(chosen.locks(), 2U);
  EXPECT_EQ(meanwhile.locks(), 1U);
}

// Nor where Python could not put up with one: in the midst of a collection. One in flight stays.
TEST_F(ConsoleTest, noErrorOfTheHandlerStays) {
  setConsole(newConsole([this](std::string_view text) {
    EXPECT_FALSE(errorOccurred());
    printed.emplace_back(text);
    setError(1, "left");
  }));
  EXPECT_EQ(eventsOf("import gc, sys, weakref\n"
                     "class Node(object): pass\n"
                     "def hear(reference): sys.stdout.write('gone')\n"
                     "print 'here'\n"
                     "node = Node()\n"
                     "node.node, reference = node, weakref.ref(node, hear)\n"
                     "del node\n"
                     "gc.collect()"),
            (Events{"here", "\n", "gone"}));
  const Evaluated write("sys.stdout.write"), text("('text',)");
  EXPECT_LEAVES("", Py_XDECREF(PY(PyObject_CallObject)(write.get(), text.get())));
}

// The longest text that a host string can hold has 2 GB; a longer one is refused.
TEST_F(ConsoleTest, refusesWhatNoStringCanHold) {
  if (sizeof(Py_ssize_t) == 4 || std::getenv("QUILLIX_EMULATED"))
    GTEST_SKIP() << "Python has no longer text, or there is no memory for it";
  attachConsole();
  runPython("import sys\n"
            "try: sys.stdout.write('x' * (1 << 31))\n"
            "except MemoryError, e: print e");
  EXPECT_EQ(printed, (Events{"the text is too long for a string of the host", "\n"}));
}

// While the host waits inside a call, threads of Python's own print; their events run there.
TEST_F(ConsoleTest, hearsPythonsThreads) {
  std::size_t foreign = 0;
  setConsole(newConsole([&, host = std::this_thread::get_id()](std::string_view text) {
    foreign += std::this_thread::get_id() != host;
    printed.emplace_back(text);
    getModule("sys");
  }));
  runPython("import sys, threading\n"
            "def chatter():\n"
            "  for i in range(100): sys.stdout.write('x')\n"
            "threads = [threading.Thread(target=chatter) for i in range(4)]");
  resultOf("[t.start() for t in threads], chatter(), [t.join() for t in threads]");
  EXPECT_EQ(printed, Events(500, "x"));
  EXPECT_EQ(foreign, 400U);
  setConsole(nullptr);
}

using ForeignInterpreterTest = LoadedTest;

// The capture can be put into an interpreter that somebody else started.
TEST_F(ForeignInterpreterTest, isCapturedByHand) {
  void *plugin = platform::openAgain(host::pluginPath(QUILLIX_PLUGIN_PATH).c_str());
  ASSERT_TRUE(plugin);
  const auto initaview = reinterpret_cast<void (*)()>(platform::findSymbol(plugin, "initaview"));
  platform::closeLibrary(plugin);
  initaview(); // into nothing
  PY(Py_Initialize)();
  initaview();
  std::string heard;
  setConsole(newConsole([&](std::string_view text) { heard += text; }));
  runPython("print 'word'");
  setConsole(nullptr);
  EXPECT_EQ(heard, "word\n");
}

} // namespace
