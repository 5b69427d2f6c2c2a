// The same work by hand through Python's C API, as one writes it who cares for speed: every failure
// is noticed, and nothing is looked up or converted twice.

#include <vector>

#include "bench/bench.h"

namespace bench {
namespace {

using benchmark::DoNotOptimize;

PyObject *newText(std::string_view text) {
  return must(PyString_FromStringAndSize(text.data(), static_cast<Py_ssize_t>(text.size())));
}

std::string_view textOf(PyObject *string) {
  char *bytes = nullptr;
  Py_ssize_t count = 0;
  must(PyString_AsStringAndSize(string, &bytes, &count));
  return {bytes, static_cast<std::size_t>(count)};
}

long numberOf(PyObject *object) {
  const long number = PyInt_AsLong(object);
  if (number == -1 && PyErr_Occurred())
    failed();
  return number;
}

// What a capsule carries: something that counts how often it is in use.
struct Counted {
  int uses = 1;
};

std::size_t gHeard = 0; // bytes

struct CApi {
  template <class Operation> static void repeat(benchmark::State &state, Operation operation) {
    for (auto _ : state)
      operation();
  }

  static void letGo(PyObject *capsule) {
    auto *const counted = static_cast<Counted *>(PyCapsule_GetPointer(capsule, nullptr));
    if (counted)
      --counted->uses;
  }

  // --- Calls ---

  static void callFreshTuple(benchmark::State &state) {
    PyObject *const function = global("first");
    const std::string text(kText);
    repeat(state, [&] {
      PyObject *const arguments = must(PyTuple_New(2));
      PyTuple_SET_ITEM(arguments, 0, must(PyInt_FromLong(kNumber)));
      PyTuple_SET_ITEM(arguments, 1, newText(text));
      PyObject *const result = must(PyObject_CallObject(function, arguments));
      DoNotOptimize(numberOf(result));
      Py_DECREF(result);
      Py_DECREF(arguments);
    });
    Py_DECREF(function);
  }

  static void callReusedTuple(benchmark::State &state) {
    PyObject *const function = global("first");
    PyObject *const arguments = must(PyTuple_New(2));
    PyTuple_SET_ITEM(arguments, 0, must(PyInt_FromLong(kNumber)));
    PyTuple_SET_ITEM(arguments, 1, newText(kText));
    repeat(state, [&] {
      PyObject *const result = must(PyObject_CallObject(function, arguments));
      Py_DECREF(result);
    });
    Py_DECREF(arguments);
    Py_DECREF(function);
  }

  static void callNoArguments(benchmark::State &state) {
    PyObject *const function = global("nothing");
    repeat(state, [&] {
      PyObject *const result = must(PyObject_CallObject(function, nullptr));
      Py_DECREF(result);
    });
    Py_DECREF(function);
  }

  static void method(benchmark::State &state) {
    PyObject *const thing = global("thing");
    const char *const name = "method";
    repeat(state, [&] {
      PyObject *const function = must(PyObject_GetAttrString(thing, name));
      PyObject *const result = must(PyObject_CallObject(function, nullptr));
      Py_DECREF(result);
      Py_DECREF(function);
    });
    Py_DECREF(thing);
  }

  // --- Attributes ---

  static void attributeInt64(benchmark::State &state) {
    PyObject *const thing = global("thing");
    const char *const name = "number";
    repeat(state, [&] {
      PyObject *const value = must(PyLong_FromLongLong(kNumber));
      must(PyObject_SetAttrString(thing, name, value));
      Py_DECREF(value);
      PyObject *const found = must(PyObject_GetAttrString(thing, name));
      const long long number = PyLong_AsLongLong(found);
      if (number == -1 && PyErr_Occurred())
        failed();
      DoNotOptimize(number);
      Py_DECREF(found);
    });
    Py_DECREF(thing);
  }

  static void attributeString(benchmark::State &state) {
    PyObject *const thing = global("thing");
    const char *const name = "text";
    const std::string text(kText);
    repeat(state, [&] {
      PyObject *const value = newText(text);
      must(PyObject_SetAttrString(thing, name, value));
      Py_DECREF(value);
      PyObject *const found = must(PyObject_GetAttrString(thing, name));
      DoNotOptimize(textOf(found));
      Py_DECREF(found);
    });
    Py_DECREF(thing);
  }

  // --- Containers ---

  static void dictionaryStringKey(benchmark::State &state) {
    PyObject *const dict = must(PyDict_New());
    const std::string text(kText);
    repeat(state, [&] {
      PyObject *key = newText(text);
      PyObject *const value = must(PyInt_FromLong(kNumber));
      must(PyDict_SetItem(dict, key, value));
      Py_DECREF(value);
      Py_DECREF(key);
      key = newText(text);
      DoNotOptimize(numberOf(must(PyDict_GetItem(dict, key))));
      Py_DECREF(key);
    });
    Py_DECREF(dict);
  }

  static void dictionaryEntityKey(benchmark::State &state) {
    PyObject *const dict = must(PyDict_New());
    PyObject *const key = must(PyLong_FromLong(7));
    PyObject *const value = must(PyLong_FromLong(kNumber));
    must(PyDict_SetItem(dict, key, value));
    repeat(state, [&] {
      PyObject *const found = must(PyDict_GetItem(dict, key));
      DoNotOptimize(numberOf(found));
    });
    Py_DECREF(value);
    Py_DECREF(key);
    Py_DECREF(dict);
  }

  static void list100(benchmark::State &state) {
    repeat(state, [&] {
      PyObject *const list = must(PyList_New(0));
      for (int i = 0; i < kItems; ++i) {
        PyObject *const value = must(PyLong_FromLong(kNumber + i));
        must(PyList_Append(list, value));
        Py_DECREF(value);
      }
      for (int i = 0; i < kItems; ++i) {
        PyObject *const item = must(PyList_GetItem(list, i));
        DoNotOptimize(numberOf(item));
      }
      Py_DECREF(list);
    });
  }

  static void tuple100(benchmark::State &state) {
    repeat(state, [&] {
      PyObject *const tuple = must(PyTuple_New(kItems));
      for (int i = 0; i < kItems; ++i)
        must(PyTuple_SetItem(tuple, i, must(PyInt_FromLong(kNumber + i))));
      for (int i = 0; i < kItems; ++i)
        DoNotOptimize(numberOf(must(PyTuple_GetItem(tuple, i))));
      Py_DECREF(tuple);
    });
  }

  // --- Strings and host objects ---

  template <std::size_t kBytes> static void string(benchmark::State &state) {
    const std::string text(kBytes, 'x');
    PyObject *const tuple = must(PyTuple_New(1));
    repeat(state, [&] {
      must(PyTuple_SetItem(tuple, 0, newText(text)));
      DoNotOptimize(textOf(must(PyTuple_GetItem(tuple, 0))));
    });
    Py_DECREF(tuple);
  }

  static void capsule(benchmark::State &state) {
    Counted counted;
    PyObject *const tuple = must(PyTuple_New(1));
    repeat(state, [&] {
      ++counted.uses;
      must(PyTuple_SetItem(tuple, 0, must(PyCapsule_New(&counted, nullptr, letGo))));
      auto *const found =
          static_cast<Counted *>(PyCapsule_GetPointer(must(PyTuple_GetItem(tuple, 0)), nullptr));
      if (!found)
        failed();
    });
    Py_DECREF(tuple);
  }

  // --- Many numbers ---

  template <Way> static void doublesIn(benchmark::State &state) {
    PyObject *const function = global("take");
    const std::vector<double> numbers(kDoubles, 1 / 3.0);
    repeat(state, [&] {
      PyObject *const list = must(PyList_New(kDoubles));
      for (int i = 0; i < kDoubles; ++i)
        PyList_SET_ITEM(list, i, must(PyFloat_FromDouble(numbers[static_cast<std::size_t>(i)])));
      PyObject *const result = must(PyObject_CallFunctionObjArgs(function, list, nullptr));
      Py_DECREF(result);
      Py_DECREF(list);
    });
    Py_DECREF(function);
  }

  template <Way> static void doublesOut(benchmark::State &state) {
    PyObject *const function = global("give");
    repeat(state, [&] {
      PyObject *const list = must(PyObject_CallObject(function, nullptr));
      if (!PyList_Check(list))
        failed();
      std::vector<double> numbers;
      numbers.reserve(kDoubles);
      for (Py_ssize_t i = 0; i < PyList_GET_SIZE(list); ++i) {
        const double number = PyFloat_AsDouble(PyList_GET_ITEM(list, i));
        if (number == -1 && PyErr_Occurred())
          failed();
        numbers.push_back(number);
      }
      DoNotOptimize(numbers.data());
      Py_DECREF(list);
    });
    Py_DECREF(function);
  }

  // --- The way back ---

  static PyObject *add(PyObject *, PyObject *arguments) {
    if (PyTuple_GET_SIZE(arguments) != 2) {
      PyErr_SetString(PyExc_TypeError, "add takes two integers");
      return nullptr;
    }
    const long one = PyInt_AsLong(PyTuple_GET_ITEM(arguments, 0));
    const long other = PyInt_AsLong(PyTuple_GET_ITEM(arguments, 1));
    if (PyErr_Occurred())
      return nullptr;
    return PyLong_FromLong(one + other);
  }

  static PyObject *write(PyObject *, PyObject *arguments) {
    if (PyTuple_GET_SIZE(arguments) != 1) {
      PyErr_SetString(PyExc_TypeError, "write takes a string");
      return nullptr;
    }
    char *bytes = nullptr;
    Py_ssize_t count = 0;
    if (PyString_AsStringAndSize(PyTuple_GET_ITEM(arguments, 0), &bytes, &count) < 0)
      return nullptr;
    const std::string_view text(bytes, static_cast<std::size_t>(count));
    gHeard += text.size();
    Py_RETURN_NONE;
  }

  // With add and write in the module `by_hand`.
  static void runThousand(benchmark::State &state, const char *before, const char *name) {
    static PyMethodDef methods[] = {{"add", add, METH_VARARGS, nullptr},
                                    {"write", write, METH_VARARGS, nullptr},
                                    {nullptr, nullptr, 0, nullptr}};
    Py_InitModule("by_hand", methods);
    run(before);
    PyObject *const function = global(name);
    repeat(state, [&] {
      PyObject *const result = must(PyObject_CallObject(function, nullptr));
      Py_DECREF(result);
    });
    Py_DECREF(function);
  }

  static void hostFunction(benchmark::State &state) {
    runThousand(state, "import by_hand; function = by_hand.add", "call_thousand");
  }

  static void print(benchmark::State &state) {
    gHeard = 0;
    runThousand(state, "import by_hand; sys.stdout = by_hand", "print_thousand");
    run("sys.stdout = aview");
    if (gHeard < (kLine.size() + 1) * kRepeats)
      state.SkipWithError("not everything was heard");
  }

  static void initFinalize(benchmark::State &state) {
    for (auto _ : state) {
      Py_Initialize();
      Py_Finalize();
    }
  }
};

} // namespace

void registerCApi(std::string_view filter, bool running) {
  registerColumn<CApi>("capi", filter, running);
}

} // namespace bench
