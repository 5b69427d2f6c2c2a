// quillix-bench [--check LIMITS] [FILTER]: measures the rows whose names contain the filter and
// prints the table; with limits, fails when a row exceeds its own.

#include "bench/report.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "host/runtime/call.h"

namespace bench {
namespace {

constexpr const char *kPython = R"(
import array, sys, aview
def first(one, other): return one
def nothing(): return 123456
class Thing(object):
  def method(self): return 123456
thing = Thing()
def call_thousand():
  add = function
  for i in xrange(1000): add(i, 123456)
line = 'a line of text as programs print it, no more'
def print_thousand():
  for i in xrange(1000): print line
sys.path.insert(0, ')" QUILLIX_SUPPORT_DIR R"(')
from quillix import pack, unpack
numbers = [i / 3.0 for i in xrange(100000)]
number_array = array.array('d', numbers)
def take(items): return len(items)
def take_bytes(data, kind, into='list'): return len(unpack(data, kind, 'little', into))
def give(): return numbers
def give_in_tuple(): return numbers,
def give_bytes(): return pack(numbers, 'double')
def give_array(): return pack(number_array, 'double')
)";

// A disturbance that lasts can make a row look slower than it is: a row that exceeds a limit is
// measured again, as often as this, and the least time counts.
constexpr int kSecondTries = 4;

void measure(Report &report, std::string_view filter, bool running) {
  benchmark::ClearRegisteredBenchmarks();
  registerPlugin(filter, running);
  registerCApi(filter, running);
  registerPybind11(filter, running);
  registerHost(filter, running);
  if (std::any_of(std::begin(kRows), std::end(kRows), [&](const Row &row) {
        return row.running == running && matches(row.name, filter);
      }))
    benchmark::RunSpecifiedBenchmarks(&report, "all");
}

// Whether any row of this part has been measured and exceeds its limits.
bool measureAgainst(const Limits *limits, Report &report, std::string_view filter, bool running) {
  measure(report, filter, running);
  bool held = true;
  for (const Row &row : kRows) {
    if (!limits || row.running != running || !matches(row.name, filter))
      continue;
    for (int i = 0; i < kSecondTries && !limits->exceeded(report, row).empty(); ++i)
      measure(report, row.name, running);
    if (const std::string text = limits->exceeded(report, row); !text.empty()) {
      std::fprintf(stderr, "too slow: %s: %s\n", row.title, text.c_str());
      held = false;
    }
  }
  return held;
}

int main(const char *limitsPath, std::string_view filter) {
  const std::optional<Limits> limits =
      limitsPath ? std::optional<Limits>(limitsPath) : std::nullopt;
  const Limits *const held = limits ? &*limits : nullptr;
  host::keepFreedBlocks(false);
  host::load(host::pluginPath());

  Report report;
  // First of all: pybind11 keeps pointers into the interpreter that it first met.
  bool isFast = measureAgainst(held, report, filter, false);
  host::callShared("Quillix", "Init()");
  run(kPython);
  isFast &= measureAgainst(held, report, filter, true);
  host::callShared("Quillix", "Finalize()");
  host::checkNothingAlive();

  report.print();
  return report.complete() && isFast ? 0 : 1;
}

} // namespace

const Row &rowOf(std::string_view name) {
  const auto *const found = std::find_if(std::begin(kRows), std::end(kRows),
                                         [&](const Row &row) { return row.name == name; });
  if (found == std::end(kRows)) {
    std::fprintf(stderr, "quillix-bench: there is no row %.*s\n", static_cast<int>(name.size()),
                 name.data());
    std::exit(2);
  }
  return *found;
}

void failed() {
  PyErr_Print();
  std::abort();
}

void run(const char *statements) {
  PyObject *const variables = PyModule_GetDict(must(PyImport_AddModule("__main__"))); // borrowed
  Py_DECREF(must(PyRun_String(statements, Py_file_input, variables, variables)));
}

PyObject *global(const char *name) {
  return must(PyObject_GetAttrString(must(PyImport_AddModule("__main__")), name));
}

} // namespace bench

int main(int count, char **arguments) {
#ifdef __GLIBC__
  // Freed memory stays with the process. Otherwise the rows with large strings tell how often it
  // goes back to the system and is fetched again, which is a matter of chance and no column's work.
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, 256 << 20);
#endif

  // Repetitions of all rows in turn, at random, so that a disturbance meets all columns alike.
  std::string settings[] = {arguments[0], "--benchmark_repetitions=9",
                            "--benchmark_enable_random_interleaving=true",
                            "--benchmark_min_time=0.05"};
  char *pointers[std::size(settings)];
  std::transform(std::begin(settings), std::end(settings), pointers,
                 [](std::string &text) { return text.data(); });
  int settingCount = std::size(settings);
  benchmark::Initialize(&settingCount, pointers);

  const bool checks = count > 2 && std::strcmp(arguments[1], "--check") == 0;
  const int next = checks ? 3 : 1;
  return bench::main(checks ? arguments[2] : nullptr, count > next ? arguments[next] : "");
}
