// The host's own share of each row: the objects, strings and locks that the stand-in host makes and
// takes back for it, without the plug-in.

#include "bench/bench.h"

#include "host/classes.h"

namespace bench {
namespace {

// As large as the class data of the plug-in's wrappers as a rule is.
REALclassDefinition gBlankClass{
    .name = "BenchBlank", .superName = "Object", .dataSize = 4 * sizeof(void *)};

void doHostWork(benchmark::State &state, const Row &row) {
  static const host::Class &blank = host::registerClass(&gBlankClass);
  const REALobject locked = host::newObject(blank);
  const std::string bytes(row.host.strings ? row.host.stringBytes / row.host.strings : 0, 'x');
  for (auto _ : state) {
    for (std::uint64_t i = 0; i < row.host.objects; ++i)
      host::unlock(host::newObject(blank));
    for (std::uint64_t i = 0; i < row.host.strings; ++i)
      host::unlock(host::newString(bytes));
    for (std::uint64_t i = 0; i < row.host.locks; ++i) {
      host::lock(locked);
      host::unlock(locked);
    }
  }
  host::unlock(locked);
}

} // namespace

void registerHost(std::string_view filter, bool running) {
  for (const Row &row : kRows)
    if (running && row.usesHost() && matches(row.name, filter))
      benchmark::RegisterBenchmark((std::string(row.name) + "/host").c_str(), doHostWork, row);
}

} // namespace bench
