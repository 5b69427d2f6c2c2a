// The work through the plug-in's declared interface. As in a compiled host program, every function
// is taken from the registered records once, and names and other constant strings exist already.

#include "bench/bench.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/runtime/call.h"

namespace bench {
namespace {

using host::Object;
using host::String;

// A class and the functions of it that are called here, as a compiler would have them.
struct Parameters {
  const host::Class &type = host::requireClass("PythonParameters");
  void (*construct)(REALobject, std::int32_t) = host::find<void (*)(REALobject, std::int32_t)>(
      "PythonParameters", "Constructor(parameterCount as Integer)");
  void (*constructOver)(REALobject, void *) =
      host::find<void (*)(REALobject, void *)>("PythonParameters", "Constructor(paramPtr as Ptr)");
  std::intptr_t (*integer)(REALobject, std::int32_t) =
      host::find<std::intptr_t (*)(REALobject, std::int32_t)>(
          "PythonParameters", "IntegerValue(index as Integer) as Integer");
  void (*setInteger)(REALobject, std::int32_t, std::int32_t) =
      host::findSetter<void (*)(REALobject, std::int32_t, std::int32_t)>(
          "PythonParameters", "IntegerValue(index as Integer) as Integer");
  REALstring (*string)(REALobject, std::int32_t) =
      host::find<REALstring (*)(REALobject, std::int32_t)>(
          "PythonParameters", "StringValue(index as Integer) as String");
  void (*setString)(REALobject, std::int32_t, REALstring) =
      host::findSetter<void (*)(REALobject, std::int32_t, REALstring)>(
          "PythonParameters", "StringValue(index as Integer) as String");
  REALobject (*object)(REALobject, std::int32_t) =
      host::find<REALobject (*)(REALobject, std::int32_t)>(
          "PythonParameters", "ObjectValue(index as Integer) as Object");
  void (*setObject)(REALobject, std::int32_t, REALobject) =
      host::findSetter<void (*)(REALobject, std::int32_t, REALobject)>(
          "PythonParameters", "ObjectValue(index as Integer) as Object");

  REALobject (*list)(REALobject, std::int32_t) =
      host::find<REALobject (*)(REALobject, std::int32_t)>(
          "PythonParameters", "ListValue(index as Integer) as PythonList");
  void (*setList)(REALobject, std::int32_t, REALobject) =
      host::findSetter<void (*)(REALobject, std::int32_t, REALobject)>(
          "PythonParameters", "ListValue(index as Integer) as PythonList");

  // The caller unlocks it.
  REALobject make(std::int32_t count) const {
    const REALobject made = host::newObject(type);
    construct(made, count);
    return made;
  }
};

struct Result {
  const host::Class &type = host::requireClass("PythonResult");
  void (*construct)(REALobject, std::int32_t) =
      host::find<void (*)(REALobject, std::int32_t)>("PythonResult", "Constructor(value as Int32)");
  std::intptr_t (*integer)(REALobject) =
      host::find<std::intptr_t (*)(REALobject)>("PythonResult", "IntegerValue() as Integer");
  REALobject (*tuple)(REALobject) =
      host::find<REALobject (*)(REALobject)>("PythonResult", "TupleValue() as PythonParameters");
  REALstring (*string)(REALobject) =
      host::find<REALstring (*)(REALobject)>("PythonResult", "StringValue() as String");
  void *(*pointer)(REALobject) = host::find<void *(*)(REALobject)>("PythonResult",
                                                                   "GetPtr() as Ptr");
};

struct Function {
  REALobject (*invoke)(REALobject, REALobject) = host::find<REALobject (*)(REALobject, REALobject)>(
      "PythonFunction", "Invoke(parameters as PythonParameters) as PythonResult");
};

struct Instance {
  REALobject (*function)(REALobject, REALstring) =
      host::find<REALobject (*)(REALobject, REALstring)>(
          "PythonInstance", "GetFunction(name as String) as PythonFunction");
  std::int64_t (*int64)(REALobject, REALstring) =
      host::find<std::int64_t (*)(REALobject, REALstring)>("PythonInstance",
                                                           "Int64Field(name as String) as Int64");
  void (*setInt64)(REALobject, REALstring, std::int64_t) =
      host::findSetter<void (*)(REALobject, REALstring, std::int64_t)>(
          "PythonInstance", "Int64Field(name as String) as Int64");
  REALstring (*string)(REALobject, REALstring) = host::find<REALstring (*)(REALobject, REALstring)>(
      "PythonInstance", "StringField(name as String) as String");
  void (*setString)(REALobject, REALstring, REALstring) =
      host::findSetter<void (*)(REALobject, REALstring, REALstring)>(
          "PythonInstance", "StringField(name as String) as String");
};

struct Dictionary {
  std::intptr_t (*integer)(REALobject, REALstring) =
      host::find<std::intptr_t (*)(REALobject, REALstring)>(
          "PythonDictionary", "IntegerValue(key as String) as Integer");
  void (*setInteger)(REALobject, REALstring, std::int32_t) =
      host::findSetter<void (*)(REALobject, REALstring, std::int32_t)>(
          "PythonDictionary", "IntegerValue(key as String) as Integer");
  REALobject (*value)(REALobject, REALobject) = host::find<REALobject (*)(REALobject, REALobject)>(
      "PythonDictionary", "GetValue(key as PythonEntityBase) as PythonEntity");
};

struct List {
  const host::Class &type = host::requireClass("PythonList");
  void (*construct)(REALobject) = host::find<void (*)(REALobject)>("PythonList", "Constructor()");
  void (*append)(REALobject, REALobject) = host::find<void (*)(REALobject, REALobject)>(
      "PythonList", "Append(value as PythonEntityBase)");
  REALobject (*item)(REALobject, std::int32_t) =
      host::find<REALobject (*)(REALobject, std::int32_t)>(
          "PythonList", "GetItem(index as Integer) as PythonEntity");
};

struct Entity {
  REALobject (*fromInt32)(std::int32_t) = host::findShared<REALobject (*)(std::int32_t)>(
      "PythonEntity", "FromInt32(value as Int32) as PythonEntity");
  std::int32_t (*int32)(REALobject) = host::findGetter<std::int32_t (*)(REALobject)>("PythonEntity",
                                                                                     "Int32Value");
  REALobject (*fromDouble)(double) = host::findShared<REALobject (*)(double)>(
      "PythonEntity", "FromDouble(value as Double) as PythonEntity");
  double (*real)(REALobject) = host::findGetter<double (*)(REALobject)>("PythonEntity",
                                                                        "DoubleValue");
};

struct Interface {
  Parameters parameters;
  Result result;
  Function function;
  Instance instance;
  Dictionary dictionary;
  List list;
  Entity entity;
};

const Interface &interface() {
  static const Interface taken;
  return taken;
}

Object globalFunction(std::string_view name) {
  const Object main = host::callShared<Object>(
      "Quillix", "GetModule(name as String) as PythonModule", std::string_view("__main__"));
  return main.call<Object>("GetFunction(name as String) as PythonFunction", name);
}

// An instance of the class Thing of __main__.
Object newThing() {
  const Object main = host::callShared<Object>(
      "Quillix", "GetModule(name as String) as PythonModule", std::string_view("__main__"));
  return main.call<Object>("GetClass(name as String) as PythonClass", std::string_view("Thing"))
      .call<Object>("CreateInstance() as PythonInstance");
}

// Ends the program when what came back is not what Python was given.
template <class Value> void expect(Value got, Value wanted, int line = __builtin_LINE()) {
  if (got != wanted) {
    std::fprintf(stderr, "quillix-bench: another value than expected, in line %d\n", line);
    std::abort();
  }
}

// Repeats an operation, after one that has been seen to ask of the host what the row says.
template <class Operation>
void measure(benchmark::State &state, const char *row, Operation operation) {
  operation(); // makes what is made once
  const host::Traffic before = host::traffic();
  operation();
  const host::Traffic after = host::traffic();
  const host::Traffic share{after.objects - before.objects, after.strings - before.strings,
                            after.stringBytes - before.stringBytes, after.locks - before.locks};
  if (share != rowOf(row).host.traffic()) {
    std::fprintf(stderr,
                 "quillix-bench: %s: %" PRIu64 " objects, %" PRIu64 " strings of %" PRIu64
                 " bytes, %" PRIu64 " locks\n",
                 row, share.objects, share.strings, share.stringBytes, share.locks);
    std::abort();
  }
  for (auto _ : state)
    operation();
}

// As __main__ has them in `numbers`.
std::vector<double> doubles() {
  std::vector<double> made;
  for (int i = 0; i < kDoubles; ++i)
    made.push_back(i / 3.0);
  return made;
}

// --- Host code that Python calls ---

std::size_t gHeard = 0; // bytes

PyObject *add(PyObject *, PyObject *arguments) {
  const Interface &q = interface();
  const REALobject given = host::newObject(q.parameters.type);
  q.parameters.constructOver(given, arguments);
  const REALobject sum = host::newObject(q.result.type);
  q.result.construct(sum, static_cast<std::int32_t>(q.parameters.integer(given, 0) +
                                                    q.parameters.integer(given, 1)));
  void *const returned = q.result.pointer(sum);
  host::unlock(sum);
  host::unlock(given);
  return static_cast<PyObject *>(returned);
}

void hear(REALobject, REALstring output) { gHeard += host::contents(output).size(); }

void publishAdd() {
  const Object module =
      host::create("PythonXojoModule", "Constructor(name as String, methodCount as UInt32)",
                   std::string_view("by_plugin"), 1U);
  module.call("RegisterFunction(name as String, fuction as Ptr)", std::string_view("add"), add);
  host::callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)", module);
}

void setConsole(const Object &console) {
  host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", console);
}

struct Plugin {
  // --- Calls ---

  static void callFreshTuple(benchmark::State &state) {
    const Interface &q = interface();
    const Object function = globalFunction("first");
    const String text(kText);
    measure(state, "call_fresh_tuple", [&] {
      const REALobject arguments = q.parameters.make(2);
      q.parameters.setInteger(arguments, 0, kNumber);
      q.parameters.setString(arguments, 1, text.get());
      const REALobject result = q.function.invoke(function.get(), arguments);
      expect(q.result.integer(result), std::intptr_t{kNumber});
      host::unlock(result);
      host::unlock(arguments);
    });
  }

  static void callReusedTuple(benchmark::State &state) {
    const Interface &q = interface();
    const Object function = globalFunction("first");
    const Object arguments = Object::adopt(q.parameters.make(2));
    const String text(kText);
    q.parameters.setInteger(arguments.get(), 0, kNumber);
    q.parameters.setString(arguments.get(), 1, text.get());
    measure(state, "call_reused_tuple",
            [&] { host::unlock(q.function.invoke(function.get(), arguments.get())); });
  }

  static void callNoArguments(benchmark::State &state) {
    const Interface &q = interface();
    const Object function = globalFunction("nothing");
    measure(state, "call_no_arguments",
            [&] { host::unlock(q.function.invoke(function.get(), nullptr)); });
  }

  static void method(benchmark::State &state) {
    const Interface &q = interface();
    const Object thing = newThing();
    const String name("method");
    measure(state, "method", [&] {
      const REALobject function = q.instance.function(thing.get(), name.get());
      host::unlock(q.function.invoke(function, nullptr));
      host::unlock(function);
    });
  }

  // --- Attributes ---

  static void attributeInt64(benchmark::State &state) {
    const Interface &q = interface();
    const Object thing = newThing();
    const String name("number");
    measure(state, "attribute_int64", [&] {
      q.instance.setInt64(thing.get(), name.get(), kNumber);
      expect(q.instance.int64(thing.get(), name.get()), std::int64_t{kNumber});
    });
  }

  static void attributeString(benchmark::State &state) {
    const Interface &q = interface();
    const Object thing = newThing();
    const String name("text");
    const String text(kText);
    measure(state, "attribute_string", [&] {
      q.instance.setString(thing.get(), name.get(), text.get());
      host::unlock(q.instance.string(thing.get(), name.get()));
    });
  }

  // --- Containers ---

  static void dictionaryStringKey(benchmark::State &state) {
    const Interface &q = interface();
    const Object dictionary = host::create("PythonDictionary", "Constructor()");
    const String key(kText);
    measure(state, "dictionary_string_key", [&] {
      q.dictionary.setInteger(dictionary.get(), key.get(), kNumber);
      expect(q.dictionary.integer(dictionary.get(), key.get()), std::intptr_t{kNumber});
    });
  }

  static void dictionaryEntityKey(benchmark::State &state) {
    const Interface &q = interface();
    const Object dictionary = host::create("PythonDictionary", "Constructor()");
    const Object key = Object::adopt(q.entity.fromInt32(7));
    const Object value = Object::adopt(q.entity.fromInt32(kNumber));
    dictionary.call("SetValue(key as PythonEntityBase, value as PythonEntityBase)", key, value);
    measure(state, "dictionary_entity_key", [&] {
      const REALobject found = q.dictionary.value(dictionary.get(), key.get());
      expect(q.entity.int32(found), kNumber);
      host::unlock(found);
    });
  }

  static void list100(benchmark::State &state) {
    const Interface &q = interface();
    measure(state, "list_100", [&] {
      const REALobject list = host::newObject(q.list.type);
      q.list.construct(list);
      for (int i = 0; i < kItems; ++i) {
        const REALobject value = q.entity.fromInt32(kNumber + i);
        q.list.append(list, value);
        host::unlock(value);
      }
      for (int i = 0; i < kItems; ++i) {
        const REALobject item = q.list.item(list, i);
        expect(q.entity.int32(item), kNumber + i);
        host::unlock(item);
      }
      host::unlock(list);
    });
  }

  static void tuple100(benchmark::State &state) {
    const Interface &q = interface();
    measure(state, "tuple_100", [&] {
      const REALobject tuple = q.parameters.make(kItems);
      for (int i = 0; i < kItems; ++i)
        q.parameters.setInteger(tuple, i, kNumber + i);
      for (int i = 0; i < kItems; ++i)
        expect(q.parameters.integer(tuple, i), std::intptr_t{kNumber + i});
      host::unlock(tuple);
    });
  }

  // --- Strings and host objects ---

  template <std::size_t kBytes> static void string(benchmark::State &state) {
    const Interface &q = interface();
    const Object tuple = Object::adopt(q.parameters.make(1));
    const String text(std::string(kBytes, 'x'));
    const char *const row = kBytes == 16 ? "string_16" : kBytes == 4096 ? "string_4k" : "string_1m";
    measure(state, row, [&] {
      q.parameters.setString(tuple.get(), 0, text.get());
      host::unlock(q.parameters.string(tuple.get(), 0));
    });
  }

  static void capsule(benchmark::State &state) {
    const Interface &q = interface();
    const Object tuple = Object::adopt(q.parameters.make(1));
    const Object object = host::create("Object");
    measure(state, "capsule", [&] {
      q.parameters.setObject(tuple.get(), 0, object.get());
      const REALobject found = q.parameters.object(tuple.get(), 0);
      expect(found, object.get());
      host::unlock(found);
    });
  }

  // --- Many numbers ---

  template <Way kWay> static void doublesIn(benchmark::State &state) {
    const Interface &q = interface();
    const Object function = globalFunction(kWay == Way::Singly ? "take" : "take_bytes");
    const std::vector<double> numbers = doubles();
    const String bytes(
        {reinterpret_cast<const char *>(numbers.data()), numbers.size() * sizeof(double)});
    const String kind("double");
    const auto handOver = [&](REALobject arguments) {
      const REALobject result = q.function.invoke(function.get(), arguments);
      expect(q.result.integer(result), std::intptr_t{kDoubles});
      host::unlock(result);
      host::unlock(arguments);
    };
    if constexpr (kWay != Way::Singly) {
      constexpr bool isArray = kWay == Way::Array;
      const String into("array");
      measure(state, isArray ? "doubles_in_array" : "doubles_in", [&] {
        const REALobject arguments = q.parameters.make(isArray ? 3 : 2);
        q.parameters.setString(arguments, 0, bytes.get());
        q.parameters.setString(arguments, 1, kind.get());
        if (isArray)
          q.parameters.setString(arguments, 2, into.get());
        handOver(arguments);
      });
    } else {
      measure(state, "doubles_in_singly", [&] {
        const REALobject list = host::newObject(q.list.type);
        q.list.construct(list);
        for (const double number : numbers) {
          const REALobject value = q.entity.fromDouble(number);
          q.list.append(list, value);
          host::unlock(value);
        }
        const REALobject arguments = q.parameters.make(1);
        q.parameters.setList(arguments, 0, list);
        host::unlock(list);
        handOver(arguments);
      });
    }
  }

  template <Way kWay> static void doublesOut(benchmark::State &state) {
    const Interface &q = interface();
    const Object function = globalFunction(kWay == Way::Singly ? "give_in_tuple"
                                           : kWay == Way::List ? "give_bytes"
                                                               : "give_array");
    const std::vector<double> numbers = doubles();
    if constexpr (kWay != Way::Singly) {
      measure(state, kWay == Way::List ? "doubles_out" : "doubles_out_array", [&] {
        const REALobject result = q.function.invoke(function.get(), nullptr);
        const REALstring bytes = q.result.string(result);
        expect(std::memcmp(host::contents(bytes).data(), numbers.data(), sizeof(double) * kDoubles),
               0);
        host::unlock(bytes);
        host::unlock(result);
      });
    } else {
      measure(state, "doubles_out_singly", [&] {
        const REALobject result = q.function.invoke(function.get(), nullptr);
        const REALobject tuple = q.result.tuple(result);
        const REALobject list = q.parameters.list(tuple, 0);
        for (int i = 0; i < kDoubles; ++i) {
          const REALobject item = q.list.item(list, i);
          expect(q.entity.real(item), numbers[static_cast<std::size_t>(i)]);
          host::unlock(item);
        }
        host::unlock(list);
        host::unlock(tuple);
        host::unlock(result);
      });
    }
  }

  // --- The way back ---

  static void hostFunction(benchmark::State &state) {
    const Interface &q = interface();
    publishAdd();
    run("import by_plugin; function = by_plugin.add");
    const Object function = globalFunction("call_thousand");
    measure(state, "host_function_1000",
            [&] { host::unlock(q.function.invoke(function.get(), nullptr)); });
  }

  static void print(benchmark::State &state) {
    const Interface &q = interface();
    const Object console = host::create("QuillixConsoleOutput");
    host::attachHandler(console, "ConsoleOutput(output as String)", hear);
    setConsole(console);
    gHeard = 0;
    const Object function = globalFunction("print_thousand");
    measure(state, "print_1000", [&] { host::unlock(q.function.invoke(function.get(), nullptr)); });
    setConsole(nullptr);
    if (gHeard < (kLine.size() + 1) * kRepeats)
      state.SkipWithError("not everything was heard");
  }

  // --- Beginning and end ---

  static void initFinalize(benchmark::State &state) {
    const auto init = host::findShared<void (*)()>("Quillix", "Init()");
    const auto finalize = host::findShared<void (*)()>("Quillix", "Finalize()");
    for (auto _ : state) {
      init();
      finalize();
    }
  }

  // Each in a process of its own.
  static void load(benchmark::State &state) {
    const std::string command = QUILLIX_LOAD_PROGRAM " '" + host::pluginPath() + "'";
    for (auto _ : state) {
      double seconds = 0;
      FILE *const output = popen(command.c_str(), "r");         // NOLINT(cert-env33-c)
      if (!output || std::fscanf(output, "%lf", &seconds) != 1) // NOLINT(cert-err34-c)
        state.SkipWithError("the plug-in was not loaded");
      if (output)
        pclose(output);
      state.SetIterationTime(seconds);
    }
  }
};

} // namespace

void registerPlugin(std::string_view filter, bool running) {
  registerColumn<Plugin>("plugin", filter, running);
  if (!running && matches("load", filter))
    benchmark::RegisterBenchmark("load/plugin", Plugin::load)->UseManualTime();
}

} // namespace bench
