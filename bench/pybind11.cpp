// The same work through pybind11: its own classes and conversions, and `bytes` where text is a str.

#include <pybind11/embed.h>
#include <pybind11/stl.h>

#include <vector>

#include "bench/bench.h"

namespace py = pybind11;

static std::size_t gHeard = 0; // bytes

PYBIND11_EMBEDDED_MODULE(by_pybind11, module) {
  module.def("add", [](int one, int other) { return one + other; });
  module.def("write", [](std::string_view text) { gHeard += text.size(); });
}

namespace bench {
namespace {

using benchmark::DoNotOptimize;

py::bytes newText(std::string_view text) { return {text.data(), text.size()}; }
py::object find(const char *name) { return py::module_::import("__main__").attr(name); }

struct Pybind11 {
  // --- Calls ---

  static void callFreshTuple(benchmark::State &state) {
    const py::object function = find("first");
    for (auto _ : state)
      DoNotOptimize(function(kNumber, newText(kText)).cast<int>());
  }

  static void callReusedTuple(benchmark::State &state) {
    const py::object function = find("first");
    const py::tuple arguments = py::make_tuple(kNumber, newText(kText));
    for (auto _ : state)
      DoNotOptimize(function(*arguments).ptr());
  }

  static void callNoArguments(benchmark::State &state) {
    const py::object function = find("nothing");
    for (auto _ : state)
      DoNotOptimize(function().ptr());
  }

  static void method(benchmark::State &state) {
    const py::object thing = find("thing");
    for (auto _ : state)
      DoNotOptimize(thing.attr("method")().ptr());
  }

  // --- Attributes ---

  static void attributeInt64(benchmark::State &state) {
    const py::object thing = find("thing");
    for (auto _ : state) {
      thing.attr("number") = std::int64_t{kNumber};
      DoNotOptimize(thing.attr("number").cast<std::int64_t>());
    }
  }

  static void attributeString(benchmark::State &state) {
    const py::object thing = find("thing");
    for (auto _ : state) {
      thing.attr("text") = newText(kText);
      DoNotOptimize(thing.attr("text").cast<std::string>());
    }
  }

  // --- Containers ---

  static void dictionaryStringKey(benchmark::State &state) {
    const py::dict dict;
    for (auto _ : state) {
      dict[newText(kText)] = kNumber;
      DoNotOptimize(dict[newText(kText)].cast<int>());
    }
  }

  static void dictionaryEntityKey(benchmark::State &state) {
    const py::dict dict;
    const py::object key = py::cast(7);
    dict[key] = kNumber;
    for (auto _ : state)
      DoNotOptimize(dict[key].cast<int>());
  }

  static void list100(benchmark::State &state) {
    for (auto _ : state) {
      py::list list;
      for (int i = 0; i < kItems; ++i)
        list.append(kNumber + i);
      for (std::size_t i = 0; i < kItems; ++i)
        DoNotOptimize(list[i].cast<int>());
    }
  }

  static void tuple100(benchmark::State &state) {
    for (auto _ : state) {
      const py::tuple tuple(kItems);
      for (int i = 0; i < kItems; ++i)
        tuple[static_cast<std::size_t>(i)] = kNumber + i;
      for (std::size_t i = 0; i < kItems; ++i)
        DoNotOptimize(tuple[i].cast<int>());
    }
  }

  // --- Strings and host objects ---

  template <std::size_t kBytes> static void string(benchmark::State &state) {
    const std::string text(kBytes, 'x');
    const py::tuple tuple(1);
    for (auto _ : state) {
      tuple[0] = newText(text);
      DoNotOptimize(tuple[0].cast<std::string>());
    }
  }

  static void capsule(benchmark::State &state) {
    int object = 0;
    const py::tuple tuple(1);
    for (auto _ : state) {
      tuple[0] = py::capsule(&object, [](void *) {});
      DoNotOptimize(static_cast<void *>(tuple[0].cast<py::capsule>()));
    }
  }

  // --- Many numbers ---

  template <Way> static void doublesIn(benchmark::State &state) {
    const py::object function = find("take");
    const std::vector<double> numbers(kDoubles, 1 / 3.0);
    for (auto _ : state)
      DoNotOptimize(function(numbers).cast<int>());
  }

  template <Way> static void doublesOut(benchmark::State &state) {
    const py::object function = find("give");
    for (auto _ : state)
      DoNotOptimize(function().cast<std::vector<double>>().data());
  }

  // --- The way back ---

  static void hostFunction(benchmark::State &state) {
    run("import by_pybind11; function = by_pybind11.add");
    const py::object function = find("call_thousand");
    for (auto _ : state)
      DoNotOptimize(function().ptr());
  }

  static void print(benchmark::State &state) {
    gHeard = 0;
    run("import by_pybind11; sys.stdout = by_pybind11");
    const py::object function = find("print_thousand");
    for (auto _ : state)
      DoNotOptimize(function().ptr());
    run("sys.stdout = aview");
    if (gHeard < (kLine.size() + 1) * kRepeats)
      state.SkipWithError("not everything was heard");
  }

  static void initFinalize(benchmark::State &state) {
    for (auto _ : state) {
      py::initialize_interpreter();
      py::finalize_interpreter();
    }
  }
};

} // namespace

void registerPybind11(std::string_view filter, bool running) {
  registerColumn<Pybind11>("pybind11", filter, running);
}

} // namespace bench
