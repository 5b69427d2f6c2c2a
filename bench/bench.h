// What is measured: the rows of the table, and the columns that do the work of each row in their
// own way. A benchmark is named "row/column".
#pragma once

#include <Python.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "host/heap.h"

namespace bench {

// The pieces of work. What the host has to make for one operation is declared here and checked
// against the host's own count, for the plug-in and for the column `host`, in which the work by hand
// asks the same of the host.
struct Row {
  const char *name;
  const char *title;
  host::Traffic host{};
  bool running = true; // while the interpreter runs
};

inline constexpr int kNumber = 123456; // no small integer, of which Python keeps one each
inline constexpr std::string_view kText = "sixteen letters.";
inline constexpr std::string_view kLine = "a line of text as programs print it, no more";
inline constexpr int kItems = 100;    // of the list and of the tuple
inline constexpr int kRepeats = 1000; // in Python: calls of the host function, lines printed

inline constexpr Row kRows[] = {
    {"call_fresh_tuple",
     "call with a fresh 2-tuple (Integer, String), Integer read from the result",
     {.objects = 2}},
    {"call_reused_tuple", "call with a reused tuple", {.objects = 1}},
    {"call_no_arguments", "call without arguments", {.objects = 1}},
    {"method", "method of an instance, found and called", {.objects = 2, .locks = 2}},
    {"attribute_int64", "attribute written and read, Int64"},
    {"attribute_string",
     "attribute written and read, String of 16 B",
     {.strings = 1, .stringBytes = kText.size()}},
    {"dictionary_string_key", "dictionary written and read by String key"},
    {"dictionary_entity_key", "dictionary read by entity key", {.objects = 1}},
    {"list_100", "100 list appends and reads", {.objects = 1 + 2 * kItems}},
    {"tuple_100", "100-slot tuple filled and read", {.objects = 1}},
    {"string_16", "string in and out, 16 B", {.strings = 1, .stringBytes = 16}},
    {"string_4k", "string in and out, 4 KiB", {.strings = 1, .stringBytes = 4096}},
    {"string_1m", "string in and out, 1 MiB", {.strings = 1, .stringBytes = 1 << 20}},
    {"capsule", "host object in and out by capsule", {.locks = 2}},
    {"host_function_1000",
     "host function called by Python 1000 times, two Integers read, one returned",
     {.objects = 1 + 2 * kRepeats}},
    {"print_1000",
     "1000 lines printed to a console handler",
     {.objects = 1,
      .strings = 2 * kRepeats,
      .stringBytes = (kLine.size() + 1) * kRepeats,
      .locks = 2 * kRepeats}},
    {"load", "plug-in load, to the end of REALPluginMain", {}, false},
    {"init_finalize", "Init and Finalize", {}, false},
};

const Row &rowOf(std::string_view name); // one of them

inline bool matches(std::string_view row, std::string_view filter) {
  return row.find(filter) != std::string_view::npos;
}

// Each registers its benchmarks of the rows whose names contain the filter: those for which no
// interpreter runs, or the others.
void registerPlugin(std::string_view filter, bool running);
void registerCApi(std::string_view filter, bool running);
void registerPybind11(std::string_view filter, bool running);

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
      {"init_finalize", Column::initFinalize, false},
  };
  for (const Benchmark &each : kBenchmarks)
    if (each.running == running && matches(each.row, filter))
      benchmark::RegisterBenchmark((std::string(each.row) + "/" + column).c_str(), each.run);
}

// --- Measuring ---

// Ends the program when the host has made anything else since `before`.
void requireTraffic(const char *row, const host::Traffic &expected, const host::Traffic &before);

// Repeats an operation, after one that has been seen to ask of the host what it should.
template <class Operation>
void measure(benchmark::State &state, const char *row, const host::Traffic &expected,
             Operation operation) {
  operation(); // makes what is made once
  const host::Traffic before = host::traffic();
  operation();
  requireTraffic(row, expected, before);
  for (auto _ : state)
    operation();
}

constexpr const char *stringRow(std::size_t bytes) {
  return bytes == 16 ? "string_16" : bytes == 4096 ? "string_4k" : "string_1m";
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
