// What is measured: the rows of the table, and the columns that do the work of each row in their
// own way. A benchmark is named "row/column".
#pragma once

#include <Python.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "host/runtime/heap.h"

namespace bench {

// The plug-in's classes, by what the host runs for an instance: class constructors and destructors.
enum class Wrapper : std::uint8_t { Entity, Parameters, List, Result, Function };

// What one operation asks of the host. The column `host` does this and nothing else; what is made
// is checked against the host's own count.
struct HostWork {
  unsigned wrappers[5] = {}; // new instances, by Wrapper
  unsigned textsRead = 0;    // the count and the bytes of a string
  unsigned namesRead = 0;    // the bytes only
  unsigned strings = 0;      // new ones
  std::size_t stringBytes = 0;
  unsigned locks = 0;

  host::Traffic traffic() const {
    std::uint64_t objects = 0;
    for (const unsigned count : wrappers)
      objects += count;
    return {objects, strings, stringBytes, locks};
  }
};

// The pieces of work.
struct Row {
  const char *name;
  const char *title;
  HostWork host{};
  bool running = true; // while the interpreter runs
};

inline constexpr int kNumber = 123456; // no small integer, of which Python keeps one each
inline constexpr std::string_view kText = "sixteen letters.";
inline constexpr std::string_view kLine = "a line of text as programs print it, no more";
inline constexpr int kItems = 100; // of the list and of the tuple
inline constexpr int kDoubles = 100'000;
inline constexpr int kRepeats = 1000; // in Python: calls of the host function, lines printed

inline constexpr Row kRows[] = {
    {"call_fresh_tuple",
     "call with a fresh 2-tuple (Integer, String), Integer read from the result",
     {.wrappers = {0, 1, 0, 1}, .textsRead = 1}},
    {"call_reused_tuple", "call with a reused tuple", {.wrappers = {0, 0, 0, 1}}},
    {"call_no_arguments", "call without arguments", {.wrappers = {0, 0, 0, 1}}},
    {"method",
     "method of an instance, found and called",
     {.wrappers = {0, 0, 0, 1, 1}, .namesRead = 1, .locks = 2}},
    {"attribute_int64", "attribute written and read, Int64", {.namesRead = 2}},
    {"attribute_string",
     "attribute written and read, String of 16 B",
     {.textsRead = 1, .namesRead = 2, .strings = 1, .stringBytes = kText.size()}},
    {"dictionary_string_key", "dictionary written and read by String key", {.textsRead = 2}},
    {"dictionary_entity_key", "dictionary read by entity key", {.wrappers = {1}}},
    {"list_100", "100 list appends and reads", {.wrappers = {2 * kItems, 0, 1}}},
    {"tuple_100", "100-slot tuple filled and read", {.wrappers = {0, 1}}},
    {"string_16", "string in and out, 16 B", {.textsRead = 1, .strings = 1, .stringBytes = 16}},
    {"string_4k", "string in and out, 4 KiB", {.textsRead = 1, .strings = 1, .stringBytes = 4096}},
    {"string_1m",
     "string in and out, 1 MiB",
     {.textsRead = 1, .strings = 1, .stringBytes = 1 << 20}},
    {"capsule", "host object in and out by capsule", {.locks = 2}},
    {"host_function_1000",
     "host function called by Python 1000 times, two Integers read, one returned",
     {.wrappers = {0, kRepeats, 0, kRepeats + 1}}},
    {"print_1000",
     "1000 lines printed to a console handler",
     {.wrappers = {0, 0, 0, 1},
      .strings = 2 * kRepeats,
      .stringBytes = (kLine.size() + 1) * kRepeats,
      .locks = 2 * kRepeats}},
    {"doubles_in_singly",
     "100,000 doubles handed to Python in a list, item by item",
     {.wrappers = {kDoubles, 1, 1, 1}}},
    {"doubles_in",
     "100,000 doubles handed to Python in a list, by `unpack`",
     {.wrappers = {0, 1, 0, 1}, .textsRead = 2}},
    {"doubles_in_array",
     "100,000 doubles handed to Python in an `array`, by `unpack`",
     {.wrappers = {0, 1, 0, 1}, .textsRead = 3}},
    {"doubles_out_singly",
     "100,000 doubles taken from a list of Python's, item by item",
     {.wrappers = {kDoubles, 1, 1, 1}}},
    {"doubles_out",
     "100,000 doubles taken from a list of Python's, by `pack`",
     {.wrappers = {0, 0, 0, 1}, .strings = 1, .stringBytes = kDoubles * sizeof(double)}},
    {"doubles_out_array",
     "100,000 doubles taken from an `array` of Python's, by `pack`",
     {.wrappers = {0, 0, 0, 1}, .strings = 1, .stringBytes = kDoubles * sizeof(double)}},
    {"load", "plug-in load, to the end of REALPluginMain", {}, false},
    {"init_finalize", "Init and Finalize", {}, false},
};

const Row &rowOf(std::string_view name); // one of them

inline bool matches(std::string_view row, std::string_view filter) {
  return row.find(filter) != std::string_view::npos;
}

// How the plug-in hands many numbers over. The other columns know one way.
enum class Way : std::uint8_t { Singly, List, Array };

// Each registers its benchmarks of the rows whose names contain the filter: those for which no
// interpreter runs, or the others.
void registerPlugin(std::string_view filter, bool running);
void registerCApi(std::string_view filter, bool running);
void registerPybind11(std::string_view filter, bool running);
void registerHost(std::string_view filter, bool running);

// A column as a class of static functions.
template <class Column>
void registerColumn(const char *column, std::string_view filter, bool running) {
  struct Benchmark {
    const char *row;
    void (*run)(benchmark::State &state);
    bool running = true;
  };
  static constexpr Benchmark kBenchmarks[] = {
      {"call_fresh_tuple", Column::callFreshTuple},
      {"call_reused_tuple", Column::callReusedTuple},
      {"call_no_arguments", Column::callNoArguments},
      {"method", Column::method},
      {"attribute_int64", Column::attributeInt64},
      {"attribute_string", Column::attributeString},
      {"dictionary_string_key", Column::dictionaryStringKey},
      {"dictionary_entity_key", Column::dictionaryEntityKey},
      {"list_100", Column::list100},
      {"tuple_100", Column::tuple100},
      {"string_16", Column::template string<16>},
      {"string_4k", Column::template string<4096>},
      {"string_1m", Column::template string<1 << 20>},
      {"capsule", Column::capsule},
      {"host_function_1000", Column::hostFunction},
      {"print_1000", Column::print},
      {"doubles_in_singly", Column::template doublesIn<Way::Singly>},
      {"doubles_in", Column::template doublesIn<Way::List>},
      {"doubles_in_array", Column::template doublesIn<Way::Array>},
      {"doubles_out_singly", Column::template doublesOut<Way::Singly>},
      {"doubles_out", Column::template doublesOut<Way::List>},
      {"doubles_out_array", Column::template doublesOut<Way::Array>},
      {"init_finalize", Column::initFinalize, false},
  };
  for (const Benchmark &each : kBenchmarks)
    if (each.running == running && matches(each.row, filter))
      benchmark::RegisterBenchmark((std::string(each.row) + "/" + column).c_str(), each.run);
}

// --- Python, by the library that this program is linked with ---

// Ends the program, with Python's message, when a call has failed.
[[noreturn]] void failed();
inline PyObject *must(PyObject *object) {
  if (!object)
    failed();
  return object;
}
inline void must(int status) {
  if (status < 0)
    failed();
}

// Runs statements in __main__, which begins with what kPython defines.
void run(const char *statements);
PyObject *global(const char *name); // a new reference to a variable of __main__

} // namespace bench
