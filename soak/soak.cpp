// quillix-soak: millions of mixed operations in both directions, of which nothing may stay behind.
// Each operation checks what it gets, and releases all it took; what is watched besides are resident
// memory, the references of what the operations share, the objects that Python's garbage collector
// knows, and what the host has given out.

#include <Python.h>

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <numeric>
#include <random>

#include "soak/members.h"

using namespace soak;

// A function or object of the Python library that the plug-in opened.
#define QUOTE(symbol) #symbol
#define PYTHON_NAME(symbol) QUOTE(symbol)
#define PY(symbol) (reinterpret_cast<decltype(&symbol)>(dlsym(RTLD_DEFAULT, PYTHON_NAME(symbol))))

#define CHECK(condition) ((condition) ? static_cast<void>(0) : fail(#condition, __LINE__))

namespace {

std::uint64_t gDone = 0; // operations

[[noreturn]] void fail(const char *condition, int line) {
  if (PY(PyErr_Occurred)())
    PY(PyErr_Print)();
  std::printf("FAILED  operation %" PRIu64 ", line %d: %s\n", gDone, line, condition);
  std::exit(1);
}

constexpr const char *kPython = R"(
import gc, colorsys, station

def echo(value): return value
def swap(one, other): return other, one
def pack(): return {'one': (1, 2.5, 'three'), 'list': [None, True]}
def travel(value, kind): return station.visit(value, kind)
def roam(value, kind): return station.Stop().visit(value, kind)
def refused(value): station.refuse(value)
def fail(value): raise ValueError(value)
def say(value): print value

class Thing(object):
  def __init__(self): self.kept = None
  def keep(self, value):
    old, self.kept = self.kept, value
    return old
)";

// --- Random values ---

std::mt19937_64 gRandom; // NOLINT(cert-msc32-c, cert-msc51-cpp): seeded when the run starts

std::uint32_t below(std::uint32_t limit) {
  return static_cast<std::uint32_t>((gRandom() >> 32) * limit >> 32);
}

// A value to send, the form in which it crosses, and whether what came back is the same.
template <class V> struct Sample {
  V value = static_cast<V>(below(4) ? gRandom() % 300 : gRandom()); // small ints are shared ones
  V raw() const { return value; }
  bool operator==(Returned<V> other) const { return other == value; }
};
template <> struct Sample<double> {
  double value = static_cast<double>(gRandom()) / 7;
  double raw() const { return value; }
  bool operator==(double other) const { return other == value; }
};
template <> struct Sample<Flag> {
  Flag value = below(2) != 0;
  Flag raw() const { return value; }
  bool operator==(Flag other) const { return other == value; }
};
template <> struct Sample<Text> {
  String value{std::string_view("lorem ipsum dolor sit amet").substr(0, 1 + below(26))};
  Text raw() const { return value.get(); }
  bool operator==(const String &other) const { return other.text() == value.text(); }
};
template <> struct Sample<REALobject> {
  static Object token; // shared by many operations
  Object value = below(2) ? token : host::create("Object");
  REALobject raw() const { return value.get(); }
  bool operator==(const Object &other) const { return other == value; }
};
Object Sample<REALobject>::token;

// Hands over one of the types, at random or by number, as a null pointer.
template <class Use> void withType(std::uint32_t kind, Use use) {
  const auto as = [&]<class V>(V *type) { use(type); };
  switch (kind) {
  case 0:
    return as(static_cast<std::int32_t *>(nullptr));
  case 1:
    return as(static_cast<std::int64_t *>(nullptr));
  case 2:
    return as(static_cast<std::uint64_t *>(nullptr));
  case 3:
    return as(static_cast<double *>(nullptr));
  case 4:
    return as(static_cast<Flag *>(nullptr));
  case 5:
    return as(static_cast<Text *>(nullptr));
  default:
    return as(static_cast<REALobject *>(nullptr));
  }
}
constexpr std::uint32_t kTypes = 7;
#define VALUE_TYPE(pointer) std::remove_pointer_t<decltype(pointer)>

// --- What the operations share ---

struct Stage {
  Members q;

  // Names and keys, which host code as a rule has as constants.
  std::map<std::string, String, std::less<>> names;
  Text name(std::string_view text) {
    const auto found = names.find(text);
    return (found != names.end() ? found : names.emplace(text, String(text)).first)->second.get();
  }

  Object main = q.getModule(name("__main__"));
  Object echo = q.getFunction(main, name("echo")), swap = q.getFunction(main, name("swap")),
         pack = q.getFunction(main, name("pack")), travel = q.getFunction(main, name("travel")),
         roam = q.getFunction(main, name("roam")), refused = q.getFunction(main, name("refused")),
         failing = q.getFunction(main, name("fail")), say = q.getFunction(main, name("say"));
  Object thingClass = q.getClass(main, name("Thing")), thing = q.createInstance(thingClass);
  Object colorsys = q.getModule(name("colorsys"));
  Object reused = tuple(2);
  std::vector<Object> kept =
      std::vector<Object>(100); // wrappers that live longer than an operation

  Object tuple(std::int32_t count) const {
    Object made = Object::adopt(host::newObject(q.parametersClass));
    q.newTuple(made, count);
    return made;
  }
  Object over(void *pythonTuple) const {
    Object made = Object::adopt(host::newObject(q.parametersClass));
    q.overTuple(made, pythonTuple);
    return made;
  }
  template <class V> Object tupleOf(V value) const {
    Object made = tuple(1);
    q.item.set<V>(made, 0, value);
    return made;
  }
  Object dictionary() const {
    Object made = Object::adopt(host::newObject(q.dictionaryClass));
    q.newDictionary(made);
    return made;
  }
  Object list() const {
    Object made = Object::adopt(host::newObject(q.listClass));
    q.newList(made);
    return made;
  }
  template <class V> Object result(V value) const {
    Object made = Object::adopt(host::newObject(q.resultClass));
    std::get<ResultOf<V>>(q.result).construct(made, value);
    return made;
  }
  template <class V> Object entity(V value) const {
    return std::get<EntityOf<V>>(q.entity).make(value);
  }
  Object &anyKept() { return kept[below(static_cast<std::uint32_t>(kept.size()))]; }
};

Stage *gStage = nullptr;
std::uint64_t gPrinted = 0;
std::uint64_t gVisits = 0;

// --- Host functions ---

// Answers with the value before the last argument, read and written as the type that the last names.
PyObject *visit(PyObject *, PyObject *arguments) {
  Stage &s = *gStage;
  const Object p = s.over(arguments);
  const auto kind = static_cast<std::int32_t>(s.q.itemCount(p)) - 1;
  Object answer;
  withType(static_cast<std::uint32_t>(s.q.item.get<std::int32_t>(p, kind)), [&](auto *type) {
    using V = VALUE_TYPE(type);
    const auto value = s.q.item.get<V>(p, kind - 1);
    if constexpr (requires { value.get(); })
      answer = s.result<V>(value.get());
    else
      answer = s.result<V>(static_cast<V>(value));
  });
  ++gVisits;
  return static_cast<PyObject *>(s.q.pointer(answer));
}

PyObject *refuse(PyObject *, PyObject *arguments) {
  Stage &s = *gStage;
  s.q.setError(host::constant("PythonErrorTypes", "KeyError"),
               s.q.item.get<Text>(s.over(arguments), 0).get());
  return nullptr;
}

// --- Operations. Each leaves no error behind. ---

// An error whose text the bridge reads; one of another value leaves a TypeError when it is read.
void expectError(Stage &s, std::string_view text) {
  CHECK(s.q.errorOccurred());
  if (below(4) == 0)
    s.q.clearError();
  else
    CHECK(s.q.getError().text() == text);
  if (text.empty())
    s.q.clearError();
  CHECK(!s.q.errorOccurred());
}

// Through a place that can be written and read.
template <class Place>
void throughPlace(const Places<Place> &places, const Object &holder, Place place) {
  withType(below(kTypes), [&](auto *type) {
    using V = VALUE_TYPE(type);
    const Sample<V> sample;
    places.template set<V>(holder, place, sample.raw());
    CHECK(sample == places.template get<V>(holder, place));
  });
}

void readTuple(Stage &s) { throughPlace(s.q.item, s.tuple(3), 1); }
void readDictionary(Stage &s) {
  throughPlace(s.q.entry, s.dictionary(), s.name(below(2) ? "key" : "other"));
}
void readModuleField(Stage &s) { throughPlace(s.q.moduleField, s.main, s.name("field")); }
void readInstanceField(Stage &s) { throughPlace(s.q.instanceField, s.thing, s.name("field")); }

void callWithFreshTuple(Stage &s) {
  withType(below(kTypes), [&](auto *type) {
    using V = VALUE_TYPE(type);
    const Sample<V> sample;
    const Object result = s.q.invoke(s.echo, s.tupleOf<V>(sample.raw()).get());
    CHECK(sample == std::get<ResultOf<V>>(s.q.result).value(result));
  });
}

void callWithReusedTuple(Stage &s) {
  withType(below(kTypes), [&](auto *type) {
    using V = VALUE_TYPE(type);
    const Sample<V> one, other;
    s.q.item.set<V>(s.reused, 0, one.raw());
    s.q.item.set<V>(s.reused, 1, other.raw());
    const Object swapped = s.q.resultTuple(s.q.invoke(s.swap, s.reused.get()));
    CHECK(one == s.q.item.get<V>(swapped, 1) && other == s.q.item.get<V>(swapped, 0));
    s.q.item.set<Flag>(s.reused, 0, true); // lets go of the values
    s.q.item.set<Flag>(s.reused, 1, true);
  });
}

void callBack(Stage &s) {
  const std::uint32_t kind = below(kTypes);
  withType(kind, [&](auto *type) {
    using V = VALUE_TYPE(type);
    const Sample<V> sample;
    const Object p = s.tuple(2);
    s.q.item.set<V>(p, 0, sample.raw());
    s.q.item.set<std::int32_t>(p, 1, static_cast<std::int32_t>(kind));
    const std::uint64_t before = gVisits;
    const Object result = s.q.invoke(below(2) ? s.travel : s.roam, p.get());
    CHECK(sample == std::get<ResultOf<V>>(s.q.result).value(result));
    CHECK(gVisits == before + 1);
  });
}

void readEntity(Stage &s) {
  withType(below(kTypes), [&](auto *type) {
    using V = VALUE_TYPE(type);
    const Sample<V> sample;
    const auto value = std::get<EntityOf<V>>(s.q.entity).value(s.entity<V>(sample.raw()));
    if constexpr (requires { value.get(); })
      CHECK(sample == value);
    else
      CHECK(sample == static_cast<Returned<V>>(value));
  });
}

void readResultOfEachKind(Stage &s) {
  const Object packed = s.q.resultDictionary(s.q.invoke(s.pack, nullptr));
  CHECK(s.q.entryCount(packed) == 2);
  const Object list = s.q.values(packed), keys = s.q.keys(packed);
  CHECK(s.q.listCount(list) == 2 && s.q.listCount(keys) == 2);
  s.q.sort(keys);
  CHECK(std::get<EntityOf<Text>>(s.q.entity).value(s.q.getItem(keys, 0)).text() == "list");
  s.anyKept() = below(2) ? packed : list;
}

void changeDictionary(Stage &s) {
  const Object d = s.dictionary(), key = s.entity<std::int64_t>(below(1000));
  s.q.setValue(d, key.get(), s.entity<double>(0.5).get());
  CHECK(std::get<EntityOf<double>>(s.q.entity).value(s.q.getValue(d, key.get())) == 0.5);
  for (const char *name : {"one", "two", "three"})
    s.q.entry.set<std::int32_t>(d, s.name(name), 1);
  s.q.remove(d, s.name("two"));
  CHECK(s.q.contains(d, s.name("one")) && !s.q.contains(d, s.name("two")));
  CHECK(s.q.entryCount(d) == 3);
  s.q.remove(d, s.name("two"));
  expectError(s, "");
  if (below(2))
    s.q.clearDictionary(d);
  s.anyKept() = d;
}

void changeList(Stage &s) {
  const Object l = s.list();
  for (std::int32_t i = 0; i < 5; ++i)
    s.q.append(l, s.entity<std::int32_t>(i * 3 % 5).get());
  s.q.sort(l);
  s.q.reverse(l);
  s.q.insert(l, 0, s.entity<Text>(s.name("first")).get());
  s.q.setItem(l, 5, l.get()); // holds itself, until it is cleared or replaced
  CHECK(s.q.listCount(l) == 6);
  CHECK(std::get<EntityOf<std::int32_t>>(s.q.entity).value(s.q.getItem(l, 1)) == 4);
  s.q.setItem(l, 5, s.entity<Flag>(1).get());
  const Object t = s.q.asTuple(l);
  CHECK(s.q.itemCount(t) == 6 && s.q.item.get<Text>(t, 0).text() == "first");
  CHECK(!s.q.getItem(l, 6));
  expectError(s, "list index out of range");
  if (below(2))
    s.q.clearList(l);
  s.anyKept() = l;
}

void nest(Stage &s) {
  const Object outer = s.tuple(4), inner = s.tupleOf<std::int32_t>(7), d = s.dictionary(),
               l = s.list();
  s.q.setTuple(outer, 0, inner);
  s.q.setDictionary(outer, 1, d);
  s.q.setList(outer, 2, l);
  s.q.append(l, d.get());
  CHECK(s.q.item.get<std::int32_t>(s.q.tupleItem(outer, 0), 0) == 7);
  CHECK(s.q.listCount(s.q.listItem(outer, 2)) == 1 && s.q.dictionaryItem(outer, 1));
  s.q.item.set<std::int32_t>(outer, 4, 1);
  CHECK(s.q.lastError(outer) == host::constant("Quillix", "PY_ERROR_INDEX_OUT_OF_BOUNDS"));
  s.q.setList(outer, 3, nullptr);
  CHECK(s.q.lastError(outer) == host::constant("Quillix", "PY_NIL_PARAM_ERROR"));
  s.q.clearLastError(outer);
  s.q.item.set<double>(inner, 0, 1.5); // shared by now
  CHECK(s.q.errorOccurred());
  s.q.clearError();
  s.anyKept() = outer;
}

void makeInstance(Stage &s) {
  const Object type = s.q.getClass(s.main, s.name("Thing")), made = s.q.createInstance(type),
               keep = s.q.getMethod(made, s.name("keep"));
  const Sample<REALobject> sample;
  CHECK(s.q.invoke(keep, s.tupleOf<REALobject>(sample.raw()).get()));
  CHECK(sample == s.q.instanceField.get<REALobject>(made, s.name("kept")));
  CHECK(s.q.hasAttribute(made, s.name("kept")) && !s.q.hasAttribute(made, s.name("missing")));
  CHECK(sample == std::get<ResultOf<REALobject>>(s.q.result)
                      .value(s.q.invoke(keep, s.tupleOf<Text>(s.name("x")).get())));
  s.anyKept() = keep; // keeps the instance, which keeps its class
}

void findAgain(Stage &s) {
  const Object module = s.q.getModule(s.name("station")),
               f = s.q.getFunction(module, s.name("visit"));
  CHECK(s.q.ownerModule(f) == module && s.q.name(f).text() == "visit");
  CHECK(!s.q.getFunction(s.main, s.name("missing")));
  expectError(s, "'module' object has no attribute 'missing'");
  s.q.moduleField.set<double>(s.main, s.name("passing"), 1.5);
  CHECK(s.q.deleteAttribute(s.main, s.name("passing")) == 0);
  s.anyKept() = f;
}

void importNothing(Stage &s) {
  CHECK(!s.q.getModule(s.name("no_such_module")));
  expectError(s, "No module named no_such_module");
}

void reload(Stage &s) { CHECK(s.q.reload(s.colorsys)); }

void raise(Stage &s) {
  const String text(std::to_string(below(1000)));
  const Object p = s.tupleOf<Text>(text.get());
  CHECK(!s.q.invoke(s.failing, p.get()));
  expectError(s, "");
  CHECK(!s.q.invoke(s.refused, p.get()));
  expectError(s, text.text());
  s.q.setError(1 + static_cast<std::int32_t>(below(22)), text.get());
  expectError(s, text.text());
}

void overflow(Stage &s) {
  const Object r = s.result<std::int64_t>(INT64_MAX), p = s.tupleOf<std::int64_t>(-1);
  CHECK(std::get<ResultOf<std::int32_t>>(s.q.result).value(r) == -1);
  CHECK(s.q.errorOccurred());
  s.q.clearError();
  CHECK(s.q.item.get<std::uint64_t>(p, 0) == UINT64_MAX);
  CHECK(s.q.errorOccurred());
  s.q.clearError();
  CHECK(!s.q.item.get<Text>(p, 0) && !s.q.errorOccurred());
}

void print(Stage &s) {
  const Sample<Text> line;
  const std::uint64_t before = gPrinted;
  s.q.invoke(s.say, s.tupleOf<Text>(line.raw()).get());
  CHECK(gPrinted == before + line.value.text().size() + 1);
}

void giveAndTakePointer(Stage &s) {
  const Object r = s.result<double>(2.5);
  auto *const object = static_cast<PyObject *>(s.q.pointer(r));
  CHECK(object->ob_refcnt == 2);
  Py_DECREF(object);
  s.anyKept() = r;
}

struct Operation {
  std::uint32_t weight;
  void (*run)(Stage &);
};
constexpr Operation kOperations[] = {
    {400, readTuple},
    {400, readDictionary},
    {400, readModuleField},
    {400, readInstanceField},
    {800, callWithFreshTuple},
    {800, callWithReusedTuple},
    {800, callBack},
    {400, readEntity},
    {200, readResultOfEachKind},
    {200, changeDictionary},
    {200, changeList},
    {200, nest},
    {200, makeInstance},
    {200, findAgain},
    {5, importNothing},
    {1, reload},
    {200, raise},
    {200, overflow},
    {200, print},
    {200, giveAndTakePointer},
};

void run(Stage &s, std::uint64_t operations) {
  std::vector<void (*)(Stage &)> drawn;
  for (const Operation &operation : kOperations)
    drawn.insert(drawn.end(), operation.weight, operation.run);
  for (std::uint64_t i = 0; i < operations; ++i, ++gDone)
    drawn[below(static_cast<std::uint32_t>(drawn.size()))](s);
}

// --- Oracles ---

// Sanitizers and valgrind keep freed memory for a while.
bool underMemoryChecker() {
#ifdef __SANITIZE_ADDRESS__
  return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
  return true;
#endif
#endif
  const char *const preloaded = std::getenv("LD_PRELOAD");
  return preloaded && std::strstr(preloaded, "vgpreload");
}

long residentKilobytes() {
  long size = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

PyObject *evaluate(const char *expression) {
  PyObject *const globals = PY(PyModule_GetDict)(PY(PyImport_AddModule)("__main__"));
  PyObject *const value =
      PY(PyRun_StringFlags)(expression, Py_eval_input, globals, globals, nullptr);
  CHECK(value);
  return value; // a new reference
}

long number(const char *expression) {
  PyObject *const value = evaluate(expression);
  const long result = PyInt_AS_LONG(value);
  Py_DECREF(value);
  return result;
}

struct Census {
  std::map<std::string, long> references;
  long pythonObjects = 0;
  std::size_t hostObjects = 0, hostStrings = 0;
};

// Of what is there between operations.
Census count(Stage &s) {
  std::fill(s.kept.begin(), s.kept.end(), nullptr);
  s.q.moduleField.set<Flag>(s.main, s.name("field"), true);
  s.q.instanceField.set<Flag>(s.thing, s.name("field"), true);
  PY(PyGC_Collect)();
  Census census;
  for (const char *shared : {"None",
                             "True",
                             "False",
                             "int",
                             "long",
                             "float",
                             "str",
                             "bool",
                             "tuple",
                             "list",
                             "dict",
                             "object",
                             "type(None)",
                             "type(echo)",
                             "ValueError",
                             "KeyError",
                             "globals()",
                             "colorsys",
                             "station",
                             "station.visit",
                             "station.Stop",
                             "echo",
                             "echo.func_code",
                             "fail",
                             "fail.func_code",
                             "Thing",
                             "Thing.keep.im_func",
                             "'key'",
                             "'field'",
                             "()",
                             "''"}) {
    PyObject *const object = evaluate(shared);
    census.references[shared] = object->ob_refcnt;
    Py_DECREF(object);
  }
  for (long i = -5; i < 257; ++i) {
    PyObject *const small = PY(PyInt_FromLong)(i);
    census.references["the small ints"] += small->ob_refcnt;
    Py_DECREF(small);
  }
  census.references["the host's token"] = static_cast<long>(Sample<REALobject>::token.locks());
  census.pythonObjects = number("len(gc.get_objects())");
  census.hostObjects = host::livingObjects();
  census.hostStrings = host::livingStrings();
  return census;
}

bool gPassed = true;

[[gnu::format(printf, 3, 4)]] void report(bool passed, const char *oracle, const char *format,
                                          ...) {
  gPassed = gPassed && passed;
  std::printf("%-7s %-16s ", passed ? "ok" : "FAILED", oracle);
  std::va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  std::printf("\n");
}

void compare(const Census &before, const Census &after) {
  std::string changed;
  for (const auto &[name, references] : before.references)
    if (const long now = after.references.at(name); now != references)
      changed += ", " + name + " " + std::to_string(references) + " -> " + std::to_string(now);
  report(changed.empty(), "references", "of %zu shared objects%s", before.references.size(),
         changed.empty() ? " unchanged" : changed.c_str());
  report(after.pythonObjects == before.pythonObjects, "Python objects", "%ld -> %ld",
         before.pythonObjects, after.pythonObjects);
  report(after.hostObjects == before.hostObjects && after.hostStrings == before.hostStrings,
         "host accounting", "%zu -> %zu objects, %zu -> %zu strings", before.hostObjects,
         after.hostObjects, before.hostStrings, after.hostStrings);
}

// The mean of the last quarter of the samples may not be above that of the first by more than this.
constexpr long kToleratedKilobytes = 128;

void compare(const std::vector<long> &kilobytes) {
  const auto quarter = static_cast<std::ptrdiff_t>(kilobytes.size() / 4);
  const auto mean = [&](auto first) {
    return std::accumulate(first, first + quarter, 0L) / quarter;
  };
  const long before = mean(kilobytes.begin()), after = mean(kilobytes.end() - quarter);
  if (underMemoryChecker())
    std::printf("%-7s %-16s a memory checker keeps freed memory\n", "skipped", "resident memory");
  else
    report(after - before <= kToleratedKilobytes, "resident memory",
           "%ld -> %ld KB; %ld KB more are tolerated", before, after, kToleratedKilobytes);
}

void soakFor(std::uint64_t operations) {
  constexpr std::uint64_t kSamples = 40;
  Stage stage;
  gStage = &stage;
  for (const Operation &operation : kOperations)
    operation.run(stage);
  run(stage, operations / 5); // until caches, free lists and arenas are full
  count(stage);               // fills caches of its own
  const Census before = count(stage);
  std::vector<long> kilobytes;
  const auto start = std::chrono::steady_clock::now();
  for (std::uint64_t i = 0; i < kSamples; ++i) {
    run(stage, operations / kSamples);
    kilobytes.push_back(residentKilobytes());
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  std::printf("%" PRIu64 " operations, %.0f a second\n", operations,
              static_cast<double>(operations) / seconds.count());
  compare(kilobytes);
  compare(before, count(stage));
}

// Publishes the module "station" with the function visit, refuse, and a class with visit.
void publish() {
  const auto describe = [](const char *type, const char *name) {
    return host::create(type, "Constructor(name as String, methodCount as UInt32)", name, 2U);
  };
  const auto add = [](const Object &described, const char *name, PyCFunction function) {
    described.call("RegisterFunction(name as String, fuction as Ptr)", name, function);
  };
  const Object module = describe("PythonXojoModule", "station");
  const Object stop = describe("PythonXojoClass", "Stop");
  add(module, "visit", visit);
  add(module, "refuse", refuse);
  add(stop, "visit", visit);
  module.call("AddClass(classToAdd as PythonXojoClass)", stop);
  host::callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)", module);
}

void setConsole(const Object &console) {
  host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", console);
}

} // namespace

// quillix-soak [OPERATIONS [SEED]]
int main(int argc, char **argv) {
  const std::uint64_t operations = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 10'000'000;
  const std::uint64_t seed =
      argc > 2 ? std::strtoull(argv[2], nullptr, 10) : std::random_device()();
  if (operations < 1000 || argc > 3) {
    std::fputs("usage: quillix-soak [OPERATIONS [SEED]], of at least 1000 operations\n", stderr);
    return 2;
  }
  std::printf("seed %" PRIu64 "\n", seed);
  gRandom.seed(seed);

  host::load(host::pluginPath());
  host::keepFreedBlocks(underMemoryChecker());
  host::callShared("Quillix", "Init()");
  {
    const Object console = host::create("QuillixConsoleOutput");
    host::onConsoleOutput(console, [](std::string_view text) { gPrinted += text.size(); });
    setConsole(console);
  }
  publish();
  CHECK(PY(PyRun_SimpleStringFlags)(kPython, nullptr) == 0);
  Sample<REALobject>::token = host::create("Object");
  soakFor(operations);
  Sample<REALobject>::token = nullptr;
  host::callShared("Quillix", "Finalize()");
  setConsole(nullptr);
  const std::string survivors = host::survivors();
  report(survivors.empty(), "survivors", "%s", survivors.empty() ? "none" : survivors.c_str());
  return gPassed ? 0 : 1;
}
