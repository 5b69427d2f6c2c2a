// quillix-instructions: performs every operation of the plug-in a number of times under callgrind,
// which counts between the marks set here and dumps its counts under the operation's name. Only
// what runs in Quillix.so is of interest, so calls go through the checks of the stand-in host.
//
// Prints the compiler, then the number of times; count.py runs it and reads the counts.

#include <Python.h>

#include <dlfcn.h>
#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/runtime/call.h"

using host::Object;

// A function or object of the Python library that the plug-in opened.
#define QUOTE(symbol) #symbol
#define PYTHON_NAME(symbol) QUOTE(symbol)
#define PY(symbol) (reinterpret_cast<decltype(&symbol)>(dlsym(RTLD_DEFAULT, PYTHON_NAME(symbol))))

namespace {

constexpr int kRepeats = 50;

constexpr const char *kPython = R"(
class Thing(object):
  def method(self): pass
def function(*arguments): pass
def identity(value): return value
)";

void nothing() {}

// Counts an operation and not what is around it: what comes before, the end of its result, what
// comes after. The first time is not counted, because it looks up what is looked up once.
template <class Operation, class Before = void (*)(), class After = void (*)()>
void measure(const std::string &name, Operation operation, Before before = nothing,
             After after = nothing) {
  for (int i = 0; i <= kRepeats; ++i) {
    before();
    if (i == 1) {
      CALLGRIND_ZERO_STATS;
    }
    CALLGRIND_TOGGLE_COLLECT;
    if constexpr (std::is_void_v<decltype(operation())>) {
      operation();
      CALLGRIND_TOGGLE_COLLECT;
    } else {
      [[maybe_unused]] const auto result = operation();
      CALLGRIND_TOGGLE_COLLECT;
    }
    after();
    if (PY(PyErr_Occurred)()) {
      std::fprintf(stderr, "%s: an error in Python\n", name.c_str());
      PY(PyErr_Print)();
      std::exit(1);
    }
  }
  CALLGRIND_DUMP_STATS_AT(name.c_str());
}

// "IntegerValue(index as Integer)" of "IntegerValue(index as Integer) as Integer".
std::string head(const std::string &declaration) {
  return declaration.substr(0, declaration.find(')') + 1);
}

// A method whose result is an R.
template <class R = void, class... A>
void call(const Object &self, const char *declaration, const A &...arguments) {
  measure(self.className() + "." + head(declaration),
          [&] { return self.call<R>(declaration, arguments...); });
}

template <class R = void, class... A>
void callShared(const char *className, const char *declaration, const A &...arguments) {
  measure(className + ("." + head(declaration)),
          [&] { return host::callShared<R>(className, declaration, arguments...); });
}

template <class R> void get(const Object &self, const char *property) {
  measure(self.className() + "." + property, [&] { return self.get<R>(property); });
}

// An assignable method: written, with something else written there afterwards, which ends the
// value; and read.
template <class V, class Place, class Clear>
void place(const Object &self, const std::string &type, const char *behindType, const Place &place,
           const V &value, Clear clear) {
  const std::string declaration = type + behindType + " as " + type;
  const std::string name = self.className() + "." + head(declaration);
  const auto assign = [&] { self.assign(declaration.c_str(), place, value); };
  measure(name + " =", assign, nothing, clear);
  assign();
  measure(name, [&] { return self.call<V>(declaration.c_str(), place); });
}

// The accessors of the types that cross as themselves, at places that `placeOf` names.
template <class PlaceOf>
void places(const Object &self, const char *behindType, PlaceOf placeOf, const Object &object) {
  int number = 0;
  const auto each = [&](const std::string &type, const auto &value) {
    const auto where = placeOf(type, number++);
    const std::string integer = std::string("Integer") + behindType + " as Integer";
    place(self, type, behindType, where, value, [&] { self.assign(integer.c_str(), where, 1); });
  };
  each("Integer", 7);
  each("Int64", std::int64_t{1} << 40);
  each("UInt64", std::uint64_t{1} << 40);
  each("Double", 2.5);
  each("Boolean", true);
  each("String", std::string("some text"));
  each("Object", object);
}

// A new instance with its constructor row, and its end.
template <class... A>
void life(const char *className, const char *declaration, const A &...arguments) {
  const auto make = [&] { return host::create(className, declaration, arguments...); };
  measure(className + ("." + head(declaration)), make);
  Object object;
  measure(
      std::string(className) + " ends after " + head(declaration), [&] { object = nullptr; },
      [&] { object = make(); });
}

Object entityOf(const Object &wrapper) {
  const Object list = host::create("PythonList", "Constructor()");
  list.call("Append(value as PythonEntityBase)", wrapper);
  return list.call<Object>("GetItem(index as Integer) as PythonEntity", 0);
}

struct Samples {
  Object object = host::newFolderItem("/");
  Object dictionary = host::create("PythonDictionary", "Constructor()");
  Object list = host::create("PythonList", "Constructor()");
  Object tuple = host::create("PythonParameters", "Constructor(parameterCount as Integer)", 10);
};

void measureParameters(const Samples &samples) {
  life("PythonParameters", "Constructor(parameterCount as Integer)", 2);
  life("PythonParameters", "Constructor(paramPtr as Ptr)", PY(PyTuple_New)(1));

  const Object &p = samples.tuple;
  places(
      p, "Value(index as Integer)", [](const std::string &, int i) { return i; }, samples.object);
  int index = 7;
  const auto wrapper = [&](const std::string &type, const std::string &className,
                           const Object &value) {
    const std::string declaration = type + "Value(index as Integer) as " + className;
    const std::string name = "PythonParameters." + head(declaration);
    const auto assign = [&] { p.assign(declaration.c_str(), index, value); };
    measure(name + " =", assign);
    measure(name, [&] { return p.call<Object>(declaration.c_str(), index); });
    ++index;
  };
  wrapper("Dictionary", "PythonDictionary", samples.dictionary);
  wrapper("Tuple", "PythonParameters",
          host::create("PythonParameters", "Constructor(parameterCount as Integer)", 1));
  wrapper("List", "PythonList", samples.list);

  index = 0;
  for (const char *type : {"Integer", "BigInteger", "", "Double", "Boolean", "String", "Object",
                           "Dictionary", "Tuple", "List"}) {
    if (*type) {
      call<bool>(p, ("Is" + std::string(type) + "(index as Integer) as Boolean").c_str(), index);
    }
    ++index;
  }
  get<int>(p, "Count");
  get<int>(p, "LastError");
  call(p, "ClearError()");
}

// Made from a value by `make`, read by `read` and tested by `test`, which are given the type's
// name.
template <class Make, class Read, class Test>
void values(const Samples &samples, const char *ofInt32, const char *ofInt64, Make make, Read read,
            Test test) {
  const auto each = [&](const std::string &type, const auto &value, const std::string &kind) {
    const Object wrapper = make(type, value);
    read(wrapper, type == "Int32" ? ofInt32 : type, value);
    if (!kind.empty()) {
      test(wrapper, kind);
    }
  };
  each("Int32", 7, "Integer");
  each("Int64", std::int64_t{1} << 40, ofInt64);
  each("UInt64", std::uint64_t{1} << 40, "");
  each("Double", 2.5, "Double");
  each("Boolean", true, "Boolean");
  each("String", std::string("some text"), "String");
  each("Object", samples.object, "Object");
}

void measureEntity(const Samples &samples) {
  life("PythonEntity", "Constructor()");
  const auto isOf = [](const Object &entity, const std::string &kind) {
    get<bool>(entity, ("Is" + kind).c_str());
  };
  values(
      samples, "Int32", "",
      [](const std::string &type, const auto &value) {
        const std::string make = "From" + type + "(value as " + type + ") as PythonEntity";
        callShared<Object>("PythonEntity", make.c_str(), value);
        return host::callShared<Object>("PythonEntity", make.c_str(), value);
      },
      [](const Object &entity, const std::string &type, const auto &value) {
        get<std::remove_cvref_t<decltype(value)>>(entity, (type + "Value").c_str());
      },
      isOf);
  const Object tuple = entityOf(samples.tuple), dictionary = entityOf(samples.dictionary);
  get<Object>(tuple, "TupleValue");
  get<Object>(dictionary, "DictionaryValue");
  isOf(tuple, "Tuple");
  isOf(dictionary, "Dictionary");
  isOf(entityOf(samples.list), "List");
}

Object resultOf(const Object &function, const std::string &type, const Object &value) {
  const Object arguments =
      host::create("PythonParameters", "Constructor(parameterCount as Integer)", 1);
  arguments.assign((type + "Value(index as Integer) as " + value.className()).c_str(), 0, value);
  return function.call<Object>("Invoke(parameters as PythonParameters) as PythonResult", arguments);
}

void measureResult(const Samples &samples, const Object &module) {
  const auto isOf = [](const Object &result, const std::string &kind) {
    call<bool>(result, ("Is" + kind + "() as Boolean").c_str());
  };
  life("PythonResult", "Constructor()");
  values(
      samples, "Integer", "BigInteger",
      [](const std::string &type, const auto &value) {
        const std::string make = "Constructor(value as " + type + ")";
        life("PythonResult", make.c_str(), value);
        return host::create("PythonResult", make.c_str(), value);
      },
      [](const Object &result, const std::string &type, const auto &value) {
        call<std::remove_cvref_t<decltype(value)>>(result, (type + "Value() as " + type).c_str());
      },
      isOf);
  const Object identity =
      module.call<Object>("GetFunction(name as String) as PythonFunction", "identity");
  const Object tuple = resultOf(identity, "Tuple", samples.tuple);
  const Object dictionary = resultOf(identity, "Dictionary", samples.dictionary);
  call<Object>(tuple, "TupleValue() as PythonParameters");
  call<Object>(dictionary, "DictionaryValue() as PythonDictionary");
  isOf(tuple, "Tuple");
  isOf(dictionary, "Dictionary");
  call<void *>(tuple, "GetPtr() as Ptr");
}

void measureDictionary(const Samples &samples) {
  life("PythonDictionary", "Constructor()");
  const Object &d = samples.dictionary;
  places(
      d, "Value(key as String)", [](const std::string &type, int) { return type; }, samples.object);
  const Object key =
      host::callShared<Object>("PythonEntity", "FromString(value as String) as PythonEntity", "k");
  const auto keyed = [&](const std::string &declared, const auto &name) {
    const auto row = [&](const char *before, const char *behind) {
      return before + ("(key as " + declared) + behind;
    };
    call(d, row("SetValue", ", value as PythonEntityBase)").c_str(), name, key);
    call<Object>(d, row("GetValue", ") as PythonEntity").c_str(), name);
    call<bool>(d, row("Contains", ") as Boolean").c_str(), name);
    const std::string remove = row("Remove", ")");
    measure(
        "PythonDictionary." + remove, [&] { d.call(remove.c_str(), name); },
        [&] { d.call(row("SetValue", ", value as PythonEntityBase)").c_str(), name, key); });
  };
  keyed("String", std::string("k"));
  keyed("PythonEntityBase", key);
  get<int>(d, "Count");
  call<Object>(d, "GetKeys() as PythonList");
  call<Object>(d, "GetValues() as PythonList");
  call(host::create("PythonDictionary", "Constructor()"), "Clear()");
}

void measureList(const Samples &samples) {
  life("PythonList", "Constructor()");
  const Object &list = samples.list;
  const Object item =
      host::callShared<Object>("PythonEntity", "FromInt32(value as Int32) as PythonEntity", 1);
  call(list, "Append(value as PythonEntityBase)", item);
  call(list, "Insert(index as Integer, value as PythonEntityBase)", 0, item);
  call<Object>(list, "GetItem(index as Integer) as PythonEntity", 0);
  call(list, "SetItem(index as Integer, value as PythonEntityBase)", 0, item);
  call<Object>(list, "AsTuple() as PythonParameters");
  call(list, "Sort()");
  call(list, "Reverse()");
  get<int>(list, "Count");
  call(list, "Clear()");
}

void measureObjects(const Samples &samples, const Object &module) {
  callShared<Object>("Quillix", "GetModule(name as String) as PythonModule", "__main__");
  call<Object>(module, "GetFunction(name as String) as PythonFunction", "function");
  call<Object>(module, "GetClass(name as String) as PythonClass", "Thing");
  const Object type = module.call<Object>("GetClass(name as String) as PythonClass", "Thing");
  call<Object>(type, "CreateInstance() as PythonInstance");
  const Object instance = type.call<Object>("CreateInstance() as PythonInstance");
  call<Object>(instance, "GetFunction(name as String) as PythonFunction", "method");

  places(
      instance, "Field(name as String)", [](const std::string &kind, int) { return kind; },
      samples.object);
  call<bool>(instance, "HasAttribute(name as String) as Boolean", "Integer");
  measure(
      "PythonInstance.DeleteAttribute(name as String)",
      [&] { return instance.call<int>("DeleteAttribute(name as String) as Integer", "short"); },
      [&] { instance.assign("IntegerField(name as String) as Integer", "short", 1); });

  const Object function =
      module.call<Object>("GetFunction(name as String) as PythonFunction", "function");
  const char *invoke = "Invoke(parameters as PythonParameters) as PythonResult";
  call<Object>(function, invoke, samples.tuple);
  measure("PythonFunction.Invoke(nil)", [&] { return function.call<Object>(invoke, nullptr); });
  get<host::String>(function, "Name");
  get<Object>(function, "OwnerModule");

  Object object;
  const auto end = [&](const char *className, const Object &owner, const char *declaration,
                       const auto &...arguments) {
    measure(
        std::string(className) + " ends", [&] { object = nullptr; },
        [&] { object = owner.call<Object>(declaration, arguments...); });
  };
  end("PythonFunction", module, "GetFunction(name as String) as PythonFunction", "function");
  end("PythonClass", module, "GetClass(name as String) as PythonClass", "Thing");
  end("PythonInstance", type, "CreateInstance() as PythonInstance");
}

// What a host function does that adds two integers.
PyObject *add(PyObject *, PyObject *arguments) {
  const Object given = host::create("PythonParameters", "Constructor(paramPtr as Ptr)", arguments);
  const int sum = given.call<int>("IntegerValue(index as Integer) as Integer", 0) +
                  given.call<int>("IntegerValue(index as Integer) as Integer", 1);
  return static_cast<PyObject *>(host::create("PythonResult", "Constructor(value as Int32)", sum)
                                     .call<void *>("GetPtr() as Ptr"));
}

void measureFromPython() {
  const auto find = [](const char *module, const char *name) {
    PyObject *found = PY(PyImport_ImportModule)(module);
    return PY(PyObject_GetAttrString)(found, name);
  };
  const Object console = host::create("QuillixConsoleOutput");
  host::onConsoleOutput(console, [](std::string_view) {});
  host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", console);
  PyObject *write = find("sys", "stdout");
  write = PY(PyObject_GetAttrString)(write, "write");
  measure("text printed to a console", [&] {
    PY(PyObject_CallFunction)(write, const_cast<char *>("s"), "a line");
  });
  host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", nullptr);

  const Object module = host::create(
      "PythonXojoModule", "Constructor(name as String, methodCount as UInt32)", "adding", 1u);
  module.call("RegisterFunction(name as String, fuction as Ptr)", "add", add);
  host::callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)", module);
  PyObject *published = find("adding", "add");
  measure("host function called, two integers read and one given back", [&] {
    PY(PyObject_CallFunction)(published, const_cast<char *>("ii"), 2, 3);
  });
}

void measureErrors() {
  const auto set = [] {
    host::callShared("Quillix", "SetError(errorType as Integer, message as String)", 19, "text");
  };
  const auto clear = [] { host::callShared("Quillix", "ClearError()"); };
  const char *error = "GetError() as String";
  measure("Quillix.SetError(errorType as Integer, message as String)", set, nothing, clear);
  measure(
      "Quillix.GetError()", [&] { return host::callShared<host::String>("Quillix", error); }, set);
  measure("Quillix.ClearError()", clear, set);
  callShared<bool>("Quillix", "ErrorOccurred() as Boolean");
}

// What must cost the same, or for each item the same, however many there are.
void measureAmounts(const Samples &samples) {
  // A capsule is found by its address, so each time takes another one.
  std::vector<Object> alive;
  alive.reserve(11000);
  const char *make = "FromObject(value as Object) as PythonEntity";
  const auto add = [&] {
    alive.push_back(host::callShared<Object>("PythonEntity", make, samples.object));
  };
  while (alive.size() < 10000) {
    add();
  }
  measure("PythonEntity.FromObject(value as Object), 10000 alive", add);
  std::size_t next = 0;
  const auto following = [&]() -> Object & { return alive[next += 97]; };
  measure("PythonEntity.ObjectValue, 10000 alive",
          [&] { return following().get<Object>("ObjectValue"); });
  measure("PythonEntity ends after FromObject, 10000 alive", [&] { following() = nullptr; });
  measure("PythonParameters.Constructor(parameterCount as Integer), 1000 items", [] {
    return host::create("PythonParameters", "Constructor(parameterCount as Integer)", 1000);
  });
  const host::String text(std::string(1 << 20, 'x'));
  measure("PythonEntity.FromString(value as String), 1 MiB", [&] {
    return host::callShared<Object>("PythonEntity", "FromString(value as String) as PythonEntity",
                                    text);
  });
}

} // namespace

int main() {
  std::printf("%s\n%d\n", QUILLIX_COMPILER, kRepeats);
  std::fflush(stdout);
  host::load(host::pluginPath());
  host::callShared("Quillix", "Init()");
  PY(PyRun_SimpleStringFlags)(kPython, nullptr);
  {
    const Samples samples;
    const Object module = host::callShared<Object>(
        "Quillix", "GetModule(name as String) as PythonModule", "__main__");
    measureParameters(samples);
    measureEntity(samples);
    measureResult(samples, module);
    measureDictionary(samples);
    measureList(samples);
    measureObjects(samples, module);
    measureFromPython();
    measureErrors();
    measureAmounts(samples);
  }
  host::callShared("Quillix", "Finalize()");
  return 0;
}
