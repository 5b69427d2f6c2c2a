// quillix-soak: millions of mixed operations in both directions, of which nothing may stay behind.
// Each operation checks what it gets, and releases all it took; what is watched besides are
// resident memory, the references of what the operations share, the objects that Python's garbage
// collector knows, and what the host has given out.

#include <Python.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <numeric>
#include <random>
#include <sstream>

#include "host/runtime/member.h"
#include "tests/platform.h"

// A function or object of the Python library that the plug-in opened.
#define QUOTE(symbol) #symbol
#define PYTHON_NAME(symbol) QUOTE(symbol)
#define PY(symbol)                                                                                 \
  (reinterpret_cast<decltype(&symbol)>(platform::findPythonSymbol(PYTHON_NAME(symbol))))

#define CHECK(condition) ((condition) ? static_cast<void>(0) : fail(#condition, __LINE__))

namespace {

using host::Member;
using host::Object;
using host::String;
using host::Value;
using Role = Member::Role;

std::uint64_t gDone = 0; // operations

[[noreturn]] void fail(const char *condition, int line) {
  if (PY(PyErr_Occurred)())
    PY(PyErr_Print)();
  std::printf("FAILED  operation %" PRIu64 ", line %d: %s\n", gDone, line, condition);
  std::exit(1);
}

constexpr const char *kPython = R"(
import gc, colorsys, station
from sys import getrefcount

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

// --- Members. The first of a class whose declaration begins as the name does is meant; it is looked
// for once for each place in the code that names one, which the name's address tells. ---

const Member &find(const host::Class *type, Role role, const char *name) {
  static std::map<std::tuple<const host::Class *, Role, const char *>, Member> found;
  const auto key = std::tuple(type, role, name);
  if (const auto known = found.find(key); known != found.end())
    return known->second;
  for (const Member &member : type ? host::membersOf(*type) : host::sharedMembers())
    if (member.role == role && member.name.starts_with(name))
      return found.emplace(key, member).first->second;
  fail(name, __LINE__);
}

using Arguments = std::initializer_list<Value>;

Value invoke(const Object &self, Role role, const char *name, Arguments arguments) {
  const Member &member = find(self ? &self.type() : nullptr, role, name);
  return host::call(member, self, std::span(arguments.begin(), arguments.size()));
}
Value call(const Object &self, const char *name, Arguments arguments = {}) {
  return invoke(self, Role::Method, name, arguments);
}
void assign(const Object &self, const char *name, Arguments arguments) {
  invoke(self, Role::Setter, name, arguments);
}
Value get(const Object &self, const char *name) { return invoke(self, Role::Getter, name, {}); }
Value shared(const char *name, Arguments arguments = {}) {
  return invoke(nullptr, Role::Shared, name, arguments);
}
Object make(const char *className, const char *constructor, Arguments arguments = {}) {
  Object made = host::create(className);
  call(made, constructor, arguments);
  return made;
}

Object object(const Value &value) { return std::get<Object>(value); }
std::int32_t integer(const Value &value) { return std::get<std::int32_t>(value); }
bool truth(const Value &value) { return std::get<bool>(value); }
Value text(std::string_view bytes) { return String(bytes); }
bool same(const Value &one, const Value &other) {
  const auto *a = std::get_if<String>(&one), *b = std::get_if<String>(&other);
  return a && b ? a->text() == b->text() : one == other;
}

// --- The types that cross: the members that each has, and random values of it ---

enum Kind : std::uint32_t {
  kInteger,
  kInt64,
  kUInt64,
  kDouble,
  kBoolean,
  kString,
  kObject,
  kKinds
};

// The names of members, with each of the types in the place of "*".
class Family {
public:
  explicit Family(const char *pattern, const char *integer = "Integer") {
    const char *type[] = {integer, "Int64", "UInt64", "Double", "Boolean", "String", "Object"};
    for (std::size_t kind = 0; kind < kKinds; ++kind)
      for (const char *c = pattern; *c; ++c)
        names_[kind] += *c == '*' ? type[kind] : std::string(1, *c);
  }
  const char *operator[](std::uint32_t kind) const { return names_[kind].c_str(); }

private:
  std::string names_[kKinds];
};

const Family kValue("*Value("), kField("*Field("), kEntityValue("*Value", "Int32"),
    kNewResult("Constructor(value as *)", "Int32"), kNewEntity("From*(", "Int32");

std::mt19937_64 gRandom; // NOLINT(cert-msc32-c, cert-msc51-cpp): seeded when the run starts

std::uint32_t below(std::uint32_t limit) {
  return static_cast<std::uint32_t>((gRandom() >> 32) * limit >> 32);
}

Object gToken; // travels often

Value sample(std::uint32_t kind) {
  const std::uint64_t number = below(4) ? gRandom() % 300 : gRandom(); // small ints are shared ones
  if (kind == kInteger)
    return static_cast<std::int32_t>(number);
  if (kind == kInt64)
    return static_cast<std::int64_t>(number);
  if (kind == kUInt64)
    return number;
  if (kind == kDouble)
    return static_cast<double>(gRandom()) / 7;
  if (kind == kBoolean)
    return below(2) != 0;
  if (kind == kString)
    return text(std::string_view("lorem ipsum dolor sit amet").substr(0, 1 + below(26)));
  return below(2) ? gToken : host::create("Object");
}

Object newTuple(std::int32_t count) {
  return make("PythonParameters", "Constructor(parameterCount", {count});
}
Object tupleOf(std::uint32_t kind, const Value &value) {
  Object tuple = newTuple(1);
  assign(tuple, kValue[kind], {0, value});
  return tuple;
}
Object newEntity(std::uint32_t kind, const Value &value) {
  return object(shared(kNewEntity[kind], {value}));
}
Object newDictionary() { return make("PythonDictionary", "Constructor()"); }
Object newList() { return make("PythonList", "Constructor()"); }

// --- What the operations share ---

Object getModule(std::string_view name) { return object(shared("GetModule(", {text(name)})); }
Object getFunction(const Object &owner, std::string_view name) {
  return object(call(owner, "GetFunction(", {text(name)}));
}
Object getClass(std::string_view name) {
  return object(call(getModule("__main__"), "GetClass(", {text(name)}));
}
Object newInstance(const Object &type) { return object(call(type, "CreateInstance(")); }
// A PythonResult.
Object callPython(const Object &function, const Object &parameters) {
  return object(call(function, "Invoke(", {parameters}));
}

struct Stage {
  Object main = getModule("__main__"), colorsys = getModule("colorsys");
  Object echo = getFunction(main, "echo"), swap = getFunction(main, "swap"),
         pack = getFunction(main, "pack"), travel = getFunction(main, "travel"),
         roam = getFunction(main, "roam"), refused = getFunction(main, "refused"),
         failing = getFunction(main, "fail"), say = getFunction(main, "say");
  Object thing = newInstance(getClass("Thing"));
  Object reused = newTuple(2);
  std::vector<Object> kept = std::vector<Object>(100); // live longer than an operation
  Object &anyKept() { return kept[below(static_cast<std::uint32_t>(kept.size()))]; }
};

std::uint64_t gPrinted = 0;
std::uint64_t gVisits = 0;

// --- Host functions ---

Object argumentsOf(PyObject *tuple) {
  return make("PythonParameters", "Constructor(paramPtr", {static_cast<void *>(tuple)});
}

PyObject *referenceTo(const Object &result) {
  return static_cast<PyObject *>(std::get<void *>(call(result, "GetPtr(")));
}

// Answers with the value before the last argument, read and written as the type that the last
// names.
PyObject *visit(PyObject *, PyObject *arguments) {
  const Object p = argumentsOf(arguments);
  const std::int32_t last = integer(get(p, "Count")) - 1;
  const auto kind = static_cast<std::uint32_t>(integer(call(p, kValue[kInteger], {last})));
  ++gVisits;
  return referenceTo(make("PythonResult", kNewResult[kind], {call(p, kValue[kind], {last - 1})}));
}

PyObject *refuse(PyObject *, PyObject *arguments) {
  shared("SetError(", {host::constant("PythonErrorTypes", "KeyError"),
                       call(argumentsOf(arguments), kValue[kString], {0})});
  return nullptr;
}

// --- Operations. Each leaves no error behind. ---

bool errorOccurred() { return truth(shared("ErrorOccurred(")); }

// An error whose text the bridge reads; one of another value leaves a TypeError when it is read.
void expectError(std::string_view message) {
  CHECK(errorOccurred());
  if (below(4) == 0)
    shared("ClearError()");
  else
    CHECK(same(shared("GetError("), message.empty() ? Value(String()) : text(message)));
  if (message.empty())
    shared("ClearError()");
  CHECK(!errorOccurred());
}

// Through a place that can be written and read.
void throughPlace(const Family &family, const Object &holder, const Value &place) {
  const std::uint32_t kind = below(kKinds);
  const Value value = sample(kind);
  assign(holder, family[kind], {place, value});
  CHECK(same(call(holder, family[kind], {place}), value));
}

void readPlace(Stage &s) {
  switch (below(4)) {
  case 0:
    return throughPlace(kValue, newTuple(3), 1);
  case 1:
    return throughPlace(kValue, newDictionary(), text(below(2) ? "key" : "other"));
  default:
    return throughPlace(kField, below(2) ? s.main : s.thing, text("field"));
  }
}

void callWithFreshTuple(Stage &s) {
  const std::uint32_t kind = below(kKinds);
  const Value value = sample(kind);
  CHECK(same(call(callPython(s.echo, tupleOf(kind, value)), kValue[kind]), value));
}

void callWithReusedTuple(Stage &s) {
  const std::uint32_t kind = below(kKinds);
  const Value one = sample(kind), other = sample(kind);
  assign(s.reused, kValue[kind], {0, one});
  assign(s.reused, kValue[kind], {1, other});
  const Object swapped = object(call(callPython(s.swap, s.reused), "TupleValue("));
  CHECK(same(call(swapped, kValue[kind], {1}), one) &&
        same(call(swapped, kValue[kind], {0}), other));
  for (const std::int32_t i : {0, 1}) // lets go of the values
    assign(s.reused, kValue[kBoolean], {i, true});
}

void callBack(Stage &s) {
  const std::uint32_t kind = below(kKinds);
  const Value value = sample(kind);
  const Object p = newTuple(2);
  assign(p, kValue[kind], {0, value});
  assign(p, kValue[kInteger], {1, static_cast<std::int32_t>(kind)});
  const std::uint64_t before = gVisits;
  CHECK(same(call(callPython(below(2) ? s.travel : s.roam, p), kValue[kind]), value));
  CHECK(gVisits == before + 1);
}

void readEntity(Stage &) {
  const std::uint32_t kind = below(kKinds);
  const Value value = sample(kind);
  CHECK(same(get(newEntity(kind, value), kEntityValue[kind]), value));
}

void readResultOfEachKind(Stage &s) {
  const Object packed = object(call(callPython(s.pack, nullptr), "DictionaryValue("));
  const Object list = object(call(packed, "GetValues(")), keys = object(call(packed, "GetKeys("));
  for (const Object &holder : {packed, list, keys})
    CHECK(integer(get(holder, "Count")) == 2);
  call(keys, "Sort()");
  const Object first = object(call(keys, "GetItem(", {0}));
  CHECK(same(get(first, kEntityValue[kString]), text("list")));
  s.anyKept() = below(2) ? packed : list;
}

void changeDictionary(Stage &s) {
  const Object d = newDictionary(), key = newEntity(kInt64, std::int64_t{below(1000)});
  call(d, "SetValue(key as PythonEntityBase", {key, newEntity(kDouble, 0.5)});
  const Object found = object(call(d, "GetValue(key as PythonEntityBase", {key}));
  CHECK(same(get(found, kEntityValue[kDouble]), 0.5));
  for (const char *name : {"one", "two", "three"})
    assign(d, kValue[kInteger], {text(name), 1});
  for (const bool there : {true, false}) {
    CHECK(truth(call(d, "Contains(", {text("two")})) == there);
    call(d, "Remove(", {text("two")});
    if (!there)
      expectError("");
  }
  CHECK(integer(get(d, "Count")) == 3);
  if (below(2))
    call(d, "Clear()");
  s.anyKept() = d;
}

void changeList(Stage &s) {
  const Object l = newList();
  for (std::int32_t i = 0; i < 5; ++i)
    call(l, "Append(", {newEntity(kInteger, i * 3 % 5)});
  call(l, "Sort()");
  call(l, "Reverse()");
  call(l, "Insert(", {0, newEntity(kString, text("first"))});
  call(l, "SetItem(", {5, l}); // holds itself, until it is cleared or replaced
  CHECK(integer(get(l, "Count")) == 6);
  CHECK(same(get(object(call(l, "GetItem(", {1})), kEntityValue[kInteger]), 4));
  call(l, "SetItem(", {5, newEntity(kBoolean, true)});
  const Object t = object(call(l, "AsTuple("));
  CHECK(integer(get(t, "Count")) == 6 && same(call(t, kValue[kString], {0}), text("first")));
  CHECK(!object(call(l, "GetItem(", {6})));
  expectError("list index out of range");
  if (below(2))
    call(l, "Clear()");
  s.anyKept() = l;
}

void nest(Stage &s) {
  constexpr const char *kNested[] = {"TupleValue(", "DictionaryValue(", "ListValue("};
  const Object outer = newTuple(4), inner = tupleOf(kInteger, 7), d = newDictionary(),
               l = newList();
  const Object *const held[] = {&inner, &d, &l};
  for (std::int32_t i = 0; i < 3; ++i)
    assign(outer, kNested[i], {i, *held[i]});
  call(l, "Append(", {d});
  for (std::int32_t i = 0; i < 3; ++i) // an item each, but none in the dictionary
    CHECK(integer(get(object(call(outer, kNested[i], {i})), "Count")) == (i == 1 ? 0 : 1));
  assign(outer, kValue[kInteger], {4, 1});
  CHECK(integer(get(outer, "LastError")) ==
        host::constant("Quillix", "PY_ERROR_INDEX_OUT_OF_BOUNDS"));
  assign(outer, kNested[2], {3, Object()});
  CHECK(integer(get(outer, "LastError")) == host::constant("Quillix", "PY_NIL_PARAM_ERROR"));
  call(outer, "ClearError()");
  assign(inner, kValue[kDouble], {0, 1.5}); // shared by now
  CHECK(errorOccurred());
  shared("ClearError()");
  s.anyKept() = outer;
}

void makeInstance(Stage &s) {
  const Object made = newInstance(getClass("Thing")), keep = getFunction(made, "keep");
  const Value value = sample(kObject);
  CHECK(callPython(keep, tupleOf(kObject, value)));
  CHECK(same(call(made, kField[kObject], {text("kept")}), value));
  CHECK(truth(call(made, "HasAttribute(", {text("kept")})) &&
        !truth(call(made, "HasAttribute(", {text("missing")})));
  CHECK(same(call(callPython(keep, tupleOf(kString, text("x"))), kValue[kObject]), value));
  s.anyKept() = keep; // keeps the instance, which keeps its class
}

void findAgain(Stage &s) {
  const Object module = getModule("station"), function = getFunction(module, "visit");
  CHECK(object(get(function, "OwnerModule")) == module &&
        same(get(function, "Name"), text("visit")));
  CHECK(!getFunction(s.main, "missing"));
  expectError("'module' object has no attribute 'missing'");
  assign(s.main, kField[kDouble], {text("passing"), 1.5});
  CHECK(integer(call(s.main, "DeleteAttribute(", {text("passing")})) == 0);
  s.anyKept() = function;
}

void importNothing(Stage &) {
  CHECK(!getModule("no_such_module"));
  expectError("No module named no_such_module");
}

void reload(Stage &s) { CHECK(truth(call(s.colorsys, "Reload("))); }

void raise(Stage &s) {
  const std::string message = std::to_string(below(1000));
  const Object p = tupleOf(kString, text(message));
  CHECK(!callPython(s.failing, p));
  expectError("");
  CHECK(!callPython(s.refused, p));
  expectError(message);
  shared("SetError(", {1 + static_cast<std::int32_t>(below(22)), text(message)});
  expectError(message);
}

void overflow(Stage &) {
  const Object r = make("PythonResult", kNewResult[kInt64], {std::int64_t{INT64_MAX}}),
               p = tupleOf(kInt64, std::int64_t{-1});
  CHECK(integer(call(r, kValue[kInteger])) == -1 && errorOccurred());
  shared("ClearError()");
  CHECK(same(call(p, kValue[kUInt64], {0}), std::uint64_t{UINT64_MAX}) && errorOccurred());
  shared("ClearError()");
  CHECK(same(call(p, kValue[kString], {0}), String()) && !errorOccurred());
}

void print(Stage &s) {
  const Value line = sample(kString);
  const std::uint64_t before = gPrinted;
  callPython(s.say, tupleOf(kString, line));
  CHECK(gPrinted == before + std::get<String>(line).text().size() + 1);
}

void giveAndTakePointer(Stage &s) {
  const Object r = make("PythonResult", kNewResult[kDouble], {2.5});
  PyObject *const pointer = referenceTo(r);
  CHECK(pointer->ob_refcnt == 2);
  Py_DECREF(pointer);
  s.anyKept() = r;
}

struct Operation {
  std::uint32_t weight;
  void (*run)(Stage &);
};
constexpr Operation kOperations[] = {{1600, readPlace},
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
                                     {200, giveAndTakePointer}};

void run(Stage &s, std::uint64_t operations) {
  std::vector<void (*)(Stage &)> drawn;
  for (const Operation &operation : kOperations)
    drawn.insert(drawn.end(), operation.weight, operation.run);
  for (std::uint64_t i = 0; i < operations; ++i, ++gDone)
    drawn[below(static_cast<std::uint32_t>(drawn.size()))](s);
}

// --- Oracles ---

long number(const std::string &expression) {
  PyObject *const globals = PY(PyModule_GetDict)(PY(PyImport_AddModule)("__main__"));
  PyObject *const value =
      PY(PyRun_StringFlags)(expression.c_str(), Py_eval_input, globals, globals, nullptr);
  CHECK(value);
  const long result = PyInt_AS_LONG(value);
  Py_DECREF(value);
  return result;
}

// What there is between operations, by what it is.
using Census = std::map<std::string, long>;

Census count(Stage &s) {
  std::fill(s.kept.begin(), s.kept.end(), nullptr);
  for (const Object &owner : {s.main, s.thing})
    assign(owner, kField[kBoolean], {text("field"), true});
  Census census;
  for (const char *what : {"gc.collect() and 0", "len(gc.get_objects())",
                           "sum(map(getrefcount, xrange(-5, 257)))"}) // the small ints
    census[what] = number(what);
  std::istringstream names(
      "None True False int long float str bool tuple list dict object type(None) type(echo) "
      "ValueError KeyError globals() colorsys station station.visit station.Stop echo "
      "echo.func_code fail fail.func_code Thing Thing.keep.im_func 'key' 'field' () ''");
  for (std::string name; names >> name;)
    census[name] = number("getrefcount(" + name + ")");
  census["locks of the host's token"] = static_cast<long>(gToken.locks());
  census["host objects"] = static_cast<long>(host::livingObjects());
  census["host strings"] = static_cast<long>(host::livingStrings());
  return census;
}

bool gPassed = true;

void report(bool passed, const std::string &what) {
  gPassed = gPassed && passed;
  std::printf("%-7s %s\n", passed ? "ok" : "FAILED", what.c_str());
}

void compare(const Census &before, const Census &after) {
  std::string changed;
  for (const auto &[what, count] : before)
    if (const long now = after.at(what); now != count)
      changed += ", " + what + " " + std::to_string(count) + " -> " + std::to_string(now);
  report(changed.empty(), "references of shared objects, Python objects, host objects: " +
                              std::to_string(before.size()) + " counts" +
                              (changed.empty() ? " unchanged" : changed));
}

// The mean of the last quarter of the samples may not be above that of the first by more than this.
constexpr long kToleratedKilobytes = 128;

void compare(const std::vector<long> &kilobytes) {
  const auto quarter = static_cast<std::ptrdiff_t>(kilobytes.size() / 4);
  const auto mean = [&](auto first) {
    return std::accumulate(first, first + quarter, 0L) / static_cast<long>(quarter);
  };
  const long before = mean(kilobytes.begin()), after = mean(kilobytes.end() - quarter);
  const bool isOurs = !platform::isUnderMemoryChecker() && !std::getenv("QUILLIX_EMULATED");
  report(!isOurs || after - before <= kToleratedKilobytes,
         "resident memory: " + std::to_string(before) + " -> " + std::to_string(after) + " KB, " +
             (isOurs ? std::to_string(kToleratedKilobytes) + " more are tolerated"
                     : "of which a checker or an emulator keeps some"));
}

void soakFor(std::uint64_t operations) {
  constexpr std::uint64_t kSamples = 40;
  Stage stage;
  for (const Operation &operation : kOperations)
    operation.run(stage);
  run(stage, operations / 5); // until caches, free lists and arenas are full
  count(stage);               // fills caches of its own
  const Census before = count(stage);
  std::vector<long> kilobytes;
  const auto start = std::chrono::steady_clock::now();
  for (std::uint64_t i = 0; i < kSamples; ++i) {
    run(stage, operations / kSamples);
    kilobytes.push_back(static_cast<long>(platform::residentBytes() / 1024));
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
    return make(type, "Constructor(", {text(name), std::uint32_t{2}});
  };
  const auto add = [](const Object &described, const char *name, PyCFunction function) {
    call(described, "RegisterFunction(", {text(name), reinterpret_cast<void *>(function)});
  };
  const Object module = describe("PythonXojoModule", "station");
  const Object stop = describe("PythonXojoClass", "Stop");
  add(module, "visit", visit);
  add(module, "refuse", refuse);
  add(stop, "visit", visit);
  call(module, "AddClass(", {stop});
  shared("RegisterXojoModule(", {module});
}

void setConsole(const Object &console) { shared("SetConsoleOutput(", {console}); }

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
  host::keepFreedBlocks(platform::isUnderMemoryChecker());
  shared("Init()");
  {
    const Object console = host::create("QuillixConsoleOutput");
    host::onConsoleOutput(console, [](std::string_view text) { gPrinted += text.size(); });
    setConsole(console);
  }
  publish();
  CHECK(PY(PyRun_SimpleStringFlags)(kPython, nullptr) == 0);
  gToken = host::create("Object");
  soakFor(operations);
  gToken = nullptr;
  shared("Finalize()");
  setConsole(nullptr);
  const std::string survivors = host::survivors();
  report(survivors.empty(), "survivors: " + (survivors.empty() ? "none" : survivors));
  return gPassed ? 0 : 1;
}
