#include "tests/fuzz/player.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "tests/fuzz/expectation.h"
#include "tests/fuzz/python.h"

#include <fstream>
#include <iterator>
#include <marshal.h>

using host::Kind;
using host::Member;
using host::Object;
using host::String;
using host::Value;
using model::Expected;

namespace {

constexpr std::size_t kPoolSize = 24;
constexpr int kDeepest = 3; // host code inside Python code inside host code ...
constexpr int kMostSteps = 200;

[[noreturn]] void fail(const std::string &what) {
  std::fprintf(stderr, "fuzz: %s\n", what.c_str());
  std::abort();
}

// --- What a wrapper holds, seen from behind -------------------------------------------------------

// The head of the class data of the two classes that hold a value.
struct Held {
  PyObject *object;
  std::uintptr_t interpreter;
};

const Held *heldBy(REALobject object) {
  for (const char *root : {"PythonEntityBase", "PythonResult"})
    if (host::isA(*object->type, root))
      return &host::classData<Held>(object, *host::requireClass(root).record);
  return nullptr;
}

// The plug-in made it unless it has a name.
REALobject objectOfCapsule(PyObject *capsule) {
  return PY(PyCapsule_GetName)(capsule)
             ? nullptr
             : static_cast<REALobject>(PY(PyCapsule_GetPointer)(capsule, nullptr));
}

// --- Bytes ----------------------------------------------------------------------------------------

class Input {
public:
  Input(const std::uint8_t *bytes, std::size_t count) : next_(bytes), end_(bytes + count) {}
  bool empty() const { return next_ == end_; }
  unsigned byte() { return next_ == end_ ? 0 : *next_++; }
  std::size_t below(std::size_t count) { return count ? byte() % count : 0; }
  template <class T, std::size_t N> const T &oneOf(const T (&choices)[N]) {
    return choices[below(N)];
  }

private:
  const std::uint8_t *next_;
  const std::uint8_t *end_;
};

using namespace std::string_view_literals;
constexpr std::string_view kNames[] = {
    "number"sv,   "big"sv,     "huge"sv,    "fraction"sv,  "truth"sv, "text"sv,    "pair"sv,
    "items"sv,    "mapping"sv, "capsule"sv, "held"sv,      "Class"sv, "Odd"sv,     "call"sv,
    "back"sv,     "first"sv,   "prelude"sv, "published"sv, "stat"sv,  "missing"sv, "__dict__"sv,
    "function"sv, "a\0b"sv,    ""sv,        "\xc3\xa9"sv,  "\0x"sv};
constexpr const char *kFunctions[] = {"first", "echo",   "hold", "release", "back", "say",
                                      "fail",  "change", "odd",  "Class",   "Odd",  "unwind"};
constexpr std::int32_t kIndexes[] = {0, 1, 2, 3, 5, 9, -1, -3, 200};
constexpr std::int64_t kIntegers[] = {0,
                                      1,
                                      -1,
                                      5,
                                      200,
                                      INT32_MAX,
                                      INT32_MIN,
                                      std::int64_t{1} << 31,
                                      std::int64_t{1} << 40,
                                      INT64_MAX,
                                      INT64_MIN};
constexpr double kDoubles[] = {
    0.0, -0.0, 1.0, 1.5, -2.5, 1e300, std::numeric_limits<double>::infinity()};

// --- The player -----------------------------------------------------------------------------------

class Player {
public:
  Player(const std::uint8_t *bytes, std::size_t count) : input_(bytes, count) {}
  void run();
  PyObject *called(PyObject *arguments); // by Python
  PyObject *made();                      // for Python

private:
  void step();
  void nested();
  void start();
  void stop();
  void callAny(const std::vector<Member> &members, const Object &self);
  void callPython();
  void listen(const Object &object);
  void perform(const Member &member, const Object &self, const std::vector<Value> &arguments);
  void check(const Member &member, const Object &self, const Expected &expected,
             const Value &result, bool errorBefore);
  void keep(Object object);
  void learn();
  Value argument(const Member &member, const host::Type &type);
  Object instanceOf(std::string_view className);
  PyObject *reallyHeld(REALobject object) const;
  bool agrees(REALobject object);

  Input input_;
  Object pool_[kPoolSize];
  PyObject *arguments_ = nullptr; // of the innermost call from Python
  int depth_ = 0;
  int steps_ = 0;
  bool finishing_ = false;
  bool disturbed_ = false; // host code ran inside the call
  bool published_ = false;
  bool stopping_ = false; // the interpreter is being taken apart, or has been
  model::World world_;
  std::map<REALobject, model::Wrapper> wrappers_;
};

Player *gPlayer = nullptr;
std::uintptr_t gTag = 0; // with which what belongs to the running interpreter is marked

bool running() { return gTag != 0; }
bool errorOccurred() { return running() && PY(PyErr_Occurred)(); }
void shared(const char *declaration) { host::callShared("Quillix", declaration); }

std::string gSurvivors; // of the start of Python

PyObject *hostFunction(PyObject *, PyObject *arguments) { return gPlayer->called(arguments); }
PyObject *hostMaker(PyObject *, PyObject *) { return gPlayer->made(); }
PyObject *hostFailure(PyObject *, PyObject *) { return nullptr; } // and no error: Python sees to it

const std::vector<Member> &membersOf(const Object &object) {
  static std::map<const host::Class *, std::vector<Member>> members;
  std::vector<Member> &found = members[&object.type()];
  if (found.empty())
    found = host::membersOf(object.type());
  return found;
}

const std::vector<Member> &constructorsOf(const Object &object) {
  static std::map<const host::Class *, std::vector<Member>> members;
  auto [found, isNew] = members.try_emplace(&object.type(), membersOf(object));
  if (isNew)
    std::erase_if(found->second, [](const Member &member) { return !member.isConstructor(); });
  return found->second;
}

// All but what starts and stops, which has steps of its own.
const std::vector<Member> &sharedMembers() {
  static const std::vector<Member> members = [] {
    std::vector<Member> all = host::sharedMembers();
    std::erase_if(all, [](const Member &member) {
      return member.name.starts_with("Init(") || member.name.starts_with("Finalize(");
    });
    return all;
  }();
  return members;
}

void runPython(const char *source) {
  if (PY(PyRun_SimpleStringFlags)(source, nullptr) != 0)
    fail(std::string("Python failed at ") + source);
}

// The code object of one of the fuzzer's Python files, which is compiled once.
PyObject *compiled(const std::string &file) {
  static std::map<std::string, std::string> marshalled;
  std::string &bytes = marshalled[file];
  if (bytes.empty()) {
    std::ifstream stream(QUILLIX_SOURCE_DIR "/tests/fuzz/" + file);
    const std::string source{std::istreambuf_iterator<char>(stream), {}};
    PyObject *const code =
        PY(Py_CompileStringFlags)(source.c_str(), file.c_str(), Py_file_input, nullptr);
    PyObject *const string =
        code ? PY(PyMarshal_WriteObjectToString)(code, Py_MARSHAL_VERSION) : nullptr;
    if (!string)
      PY(PyErr_Print)(), fail(file + " does not compile");
    bytes.assign(PyString_AS_STRING(string), static_cast<std::size_t>(PyString_GET_SIZE(string)));
    Py_DECREF(code);
    Py_DECREF(string);
  }
  return PY(PyMarshal_ReadObjectFromString)(bytes.data(), static_cast<Py_ssize_t>(bytes.size()));
}

// Makes what the steps use in an interpreter that has just been started.
void preparePython() {
  const Object sample = host::callShared<Object>(
      "PythonEntity", "FromBoolean(value as Boolean) as PythonEntity", true);
  gTag = heldBy(sample.get())->interpreter;
  const Object module = host::create(
      "PythonXojoModule", "Constructor(name as String, methodCount as UInt32)", "published", 2u);
  module.call("RegisterFunction(name as String, fuction as Ptr)", "function", hostFunction);
  module.call("RegisterFunction(name as String, fuction as Ptr)", "make", hostMaker);
  host::callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)", module);
  PyObject *const globals = PY(PyModule_GetDict)(PY(PyImport_AddModule)("__main__"));
  PyObject *const prelude = compiled("prelude.py");
  PyObject *const setup = compiled("setup.py");
  PY(PyDict_SetItemString)(globals, "prelude", prelude);
  PyObject *const done =
      PY(PyEval_EvalCode)(reinterpret_cast<PyCodeObject *>(setup), globals, globals);
  if (!done)
    PY(PyErr_Print)(), fail("Python cannot be set up");
  for (PyObject *object : {prelude, setup, done})
    Py_DECREF(object);
}

void startPython() {
  shared("Init()");
  preparePython();
  gSurvivors = host::survivors();
}

PyObject *Player::reallyHeld(REALobject object) const {
  const Held *const held = heldBy(object);
  return held && running() && held->interpreter == gTag ? held->object : nullptr;
}

void Player::run() {
  gPlayer = this;
  learn();
  while (!input_.empty() && steps_ < kMostSteps)
    step();
  for (const Object &object : pool_)
    if (object && !agrees(object.get()))
      fail("at the end, a " + object.className() + " is not what it should be");

  // Everything is put away, in a row and with nobody interfering.
  finishing_ = true;
  host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", nullptr);
  for (Object &object : pool_)
    object = nullptr;
  if (!running())
    startPython();
  PY(PyErr_Clear)();
  runPython("clean()");
  if (published_) {
    shared("Finalize()");
    startPython();
  } else {
    runPython("prepare()");
  }
  if (host::survivors() != gSurvivors)
    fail("something is left:\n" + host::survivors());
  host::giveFreedBlocksBack();
  gPlayer = nullptr;
}

void Player::step() {
  ++steps_;
  const unsigned what = input_.byte();
  const Object &place = pool_[input_.below(kPoolSize)];
  if (what < 2) // seldom, because it takes long
    return input_.byte() < 32 ? stop() : void();
  if (what < 8)
    return start();
  if (what < 40) {
    const auto &members = sharedMembers();
    return callAny(members, nullptr);
  }
  if (what < 70)
    return callPython();
  if (what < 80)
    return listen(place);
  if (what < 90)
    return keep(nullptr);
  if (what < 120 || !place) {
    static const std::vector<const host::Class *> all = [] {
      std::vector<const host::Class *> registered;
      for (const host::Class *type : host::classes())
        if (type->registered)
          registered.push_back(type);
      return registered;
    }();
    const Object made = host::create(all[input_.below(all.size())]->name);
    keep(made);
    return callAny(constructorsOf(made), made);
  }
  const Object self = place; // it may go from the pool meanwhile
  callAny(membersOf(self), self);
}

// Host code that runs inside a call.
void Player::nested() {
  disturbed_ = true;
  learn();
  if (finishing_ || depth_ == kDeepest)
    return;
  ++depth_;
  for (std::size_t i = input_.below(4); i > 0 && !input_.empty() && steps_ < kMostSteps; --i)
    step();
  --depth_;
  disturbed_ = true;
}

void Player::stop() {
  const bool outer = std::exchange(stopping_, true);
  shared("Finalize()");
  stopping_ = outer;
  if (PY(Py_IsInitialized)() || stopping_)
    return; // refused inside a call
  gTag = 0;
  published_ = false;
  learn();
}

void Player::start() {
  shared("Init()");
  if (running() || stopping_ || !PY(Py_IsInitialized)())
    return;
  preparePython();
  learn();
}

void Player::callAny(const std::vector<Member> &members, const Object &self) {
  if (members.empty())
    return;
  const Member &member = members[input_.below(members.size())];
  std::vector<Value> arguments;
  for (const host::Type &type : member.parameters)
    arguments.push_back(argument(member, type));
  if (member.name.starts_with("RegisterXojoModule(") && input_.byte() >= 32)
    return; // seldom, because Python has to be restarted after it
  published_ = published_ || member.name.starts_with("RegisterXojoModule(");
  perform(member, self, arguments);
}

Value Player::argument(const Member &member, const host::Type &type) {
  switch (type.kind) {
  case Kind::Integer:
    if (member.isConstructor() ||
        (&type == member.parameters.data() && member.role != Member::Role::Shared))
      return input_.oneOf(kIndexes);
    return static_cast<std::int32_t>(input_.oneOf(kIntegers));
  case Kind::Int32:
    return static_cast<std::int32_t>(input_.oneOf(kIntegers));
  case Kind::UInt32:
    return static_cast<std::uint32_t>(input_.below(4));
  case Kind::Int64:
    return input_.oneOf(kIntegers);
  case Kind::UInt64:
    return static_cast<std::uint64_t>(input_.oneOf(kIntegers));
  case Kind::Double:
    return input_.oneOf(kDoubles);
  case Kind::Boolean:
    return input_.below(2) != 0;
  case Kind::String: {
    const unsigned which = input_.byte();
    if (which == 255)
      return String::emptyObject();
    return String(kNames[which % std::size(kNames)]);
  }
  case Kind::Object:
    if (type.name == "FolderItem")
      return host::newFolderItem("/nowhere");
    return instanceOf(type.name);
  case Kind::Ptr: {
    const unsigned which = input_.byte() % 4;
    if (!member.isConstructor())
      return which == 0   ? static_cast<void *>(nullptr)
             : which == 1 ? reinterpret_cast<void *>(hostFailure)
                          : reinterpret_cast<void *>(hostFunction);
    return static_cast<void *>(which == 0 ? nullptr : arguments_);
  }
  case Kind::None:
    break;
  }
  fail("no argument was thought of for " + type.name);
}

// Any of the pool that fits, or nil. A wrapper as a plain object would keep itself alive.
Object Player::instanceOf(std::string_view className) {
  const std::size_t start = input_.below(kPoolSize + kPoolSize / 4);
  if (className == "Object")
    return start < kPoolSize ? host::newFolderItem("/object") : Object();
  for (std::size_t i = start; i < start + kPoolSize && start < kPoolSize; ++i)
    if (const Object &object = pool_[i % kPoolSize]; object && host::isA(object.type(), className))
      return object;
  return nullptr;
}

// A Python function, with what is at hand.
void Player::callPython() {
  const Object module =
      host::callShared<Object>("Quillix", "GetModule(name as String) as PythonModule", "prelude");
  const char *const name = input_.oneOf(kFunctions);
  const std::size_t count = input_.below(4);
  const Object list = host::create("PythonList", "Constructor()");
  for (std::size_t i = 0; i < count; ++i)
    if (const Object value = instanceOf("PythonEntityBase"))
      list.call("Append(value as PythonEntityBase)", value);
  const Object parameters = list.call<Object>("AsTuple() as PythonParameters");
  const Object function =
      module ? module.call<Object>("GetFunction(name as String) as PythonFunction", name) : nullptr;
  keep(parameters);
  keep(function);
  learn();
  const bool errorBefore = errorOccurred();
  if (function)
    keep(function.call<Object>("Invoke(parameters as PythonParameters) as PythonResult",
                               parameters));
  if (name == "unwind"sv && !errorBefore && errorOccurred() &&
      PY(PyErr_ExceptionMatches)(*PY(PyExc_SystemError)))
    fail("an exception in flight was lost");
  disturbed_ = true;
  learn();
}

// The object's event or its end runs host code.
void Player::listen(const Object &object) {
  if (!object)
    return;
  host::onDestroyed(object, [this] { nested(); });
  if (object.className() == "QuillixConsoleOutput") {
    host::onConsoleOutput(object, [this](std::string_view) { nested(); });
    host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", object);
  }
}

PyObject *Player::called(PyObject *arguments) {
  if (finishing_)
    return PY(Py_BuildValue)("");
  PyObject *const outer = std::exchange(arguments_, arguments);
  keep(host::create("PythonParameters", "Constructor(paramPtr as Ptr)", arguments));
  nested();
  arguments_ = outer;
  const unsigned how = input_.byte() % 8;
  if (how == 0)
    return nullptr;
  if (how == 1) {
    host::callShared("Quillix", "SetError(errorType as Integer, message as String)",
                     static_cast<int>(input_.below(24)), "by the host");
    return nullptr;
  }
  const Object result = instanceOf("PythonResult");
  void *const pointer = result ? result.call<void *>("GetPtr() as Ptr") : nullptr;
  return pointer ? static_cast<PyObject *>(pointer) : PY(Py_BuildValue)("i", 1);
}

// A host object that runs host code as it ends.
PyObject *Player::made() {
  const Object object = host::newFolderItem("/made");
  host::onDestroyed(object, [this] { nested(); });
  const Object result = host::create("PythonResult", "Constructor(value as Object)", object);
  return static_cast<PyObject *>(result.call<void *>("GetPtr() as Ptr"));
}

void Player::perform(const Member &member, const Object &self,
                     const std::vector<Value> &arguments) {
  model::Expectation expectation{world_, wrappers_, running(), [](REALobject parameters) {
                                   return heldBy(parameters)->object->ob_refcnt == 1;
                                 }};
  const bool outerDisturbed = std::exchange(disturbed_, false);
  const bool errorBefore = errorOccurred();
  std::optional<Expected> expected;
  if (!stopping_)
    expected = expectation.of(member, self.get(), arguments);
  Value result = host::call(member, self, arguments);
  if (expected && !disturbed_)
    check(member, self, *expected, result, errorBefore);
  else
    disturbed_ = true;
  if (void *const *pointer = std::get_if<void *>(&result))
    Py_XDECREF(static_cast<PyObject *>(*pointer));
  if (Object *const object = std::get_if<Object>(&result); object && *object) {
    if (expected && expected->held && !disturbed_)
      wrappers_[object->get()] = {expected->held, 0};
    keep(std::move(*object));
  }
  if (disturbed_)
    learn();
  disturbed_ = disturbed_ || outerDisturbed;
}

void Player::check(const Member &member, const Object &self, const Expected &expected,
                   const Value &result, bool errorBefore) {
  const auto wrong = [&](const std::string &what) {
    fail(member.owner->name + "." + member.name + ": " + what);
  };
  if (errorOccurred() != ((errorBefore && !expected.cleared) || expected.error))
    wrong(expected.error ? "no error is set" : "an error is set, or gone");
  if (const Object *const object = std::get_if<Object>(&result)) {
    const Object *const plain = std::get_if<Object>(&expected.value);
    if (!expected.held && plain && *plain != *object)
      wrong("another object than the one expected");
    if (expected.held &&
        (!*object || !reallyHeld(object->get()) ||
         !model::agrees(expected.held, reallyHeld(object->get()), objectOfCapsule)))
      wrong("a wrapper of something else");
  } else if (void *const *pointer = std::get_if<void *>(&result)) {
    if ((*pointer != nullptr) != (expected.held != nullptr) ||
        (*pointer && *pointer != reallyHeld(self.get())))
      wrong("a pointer to something else");
  } else if (const String *const string = std::get_if<String>(&result)) {
    if (string->text() != std::get<String>(expected.value).text())
      wrong("\"" + std::string(string->text()) + "\" is the answer");
  } else if (result != expected.value) {
    wrong(textOf(result) + " is the answer, expected " + textOf(expected.value));
  }
  if (self && !agrees(self.get()))
    wrong("not what it should be afterwards");
}

bool Player::agrees(REALobject object) {
  if (!heldBy(object))
    return true;
  const model::Node *const node = wrappers_[object].held;
  if (host::isA(*object->type, "PythonParameters") &&
      Object::share(object).get<int>("LastError") != wrappers_[object].lastError)
    return false;
  PyObject *const really = reallyHeld(object);
  return node && really ? model::agrees(node, really, objectOfCapsule) : !node && !really;
}

// Into a place of its choice; what was there goes, and that may run host code.
void Player::keep(Object object) {
  Object &place = pool_[input_.below(kPoolSize)];
  Object old = std::exchange(place, std::move(object));
  if (old && old.locks() == 1)
    wrappers_.erase(old.get());
}

// What is there really is what is expected from now on.
void Player::learn() {
  if (stopping_)
    return;
  wrappers_.clear();
  world_.forgetAll();
  for (const Object &object : pool_) {
    if (!object || !heldBy(object.get()))
      continue;
    PyObject *const really = reallyHeld(object.get());
    wrappers_[object.get()] = {
        really ? world_.learn(really, objectOfCapsule) : nullptr,
        host::isA(object.type(), "PythonParameters") ? object.get<int>("LastError") : 0};
  }
  world_.endLearning();
}

} // namespace

void player::prepare() {
  host::load(host::pluginPath(QUILLIX_PLUGIN_PATH));
  *PY(Py_NoSiteFlag) = 1; // quick to start
  startPython();
}

void player::play(const std::uint8_t *bytes, std::size_t count) { Player(bytes, count).run(); }
