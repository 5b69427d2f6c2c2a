// The host's own share of each row: everything that the plug-in's interface asks of the stand-in
// host for it, by the entries that the plug-in calls, without the plug-in and without Python.

#include "bench/bench.h"

#include "host/runtime/classes.h"
#include "host/runtime/runtime.h"

namespace bench {
namespace {

using benchmark::DoNotOptimize;

void nothing(REALobject) {}

// As much class data, and as many class constructors and destructors, as the plug-in's classes
// have.
constexpr HostWord kWords = 2 * sizeof(void *);
REALclassDefinition gBase{.name = "BenchEntityBase",
                          .superName = "Object",
                          .dataSize = kWords,
                          .constructor = nothing,
                          .destructor = nothing};
REALclassDefinition gNamed{
    .name = "BenchObject", .superName = "Object", .dataSize = 2 * kWords, .destructor = nothing};
REALclassDefinition gClasses[] = {
    {.name = "BenchEntity", .superName = "BenchEntityBase"},
    {.name = "BenchParameters",
     .superName = "BenchEntityBase",
     .dataSize = 4,
     .destructor = nothing},
    {.name = "BenchList", .superName = "BenchEntityBase", .constructor = nothing},
    {.name = "BenchResult", .superName = "Object", .dataSize = kWords, .destructor = nothing},
    {.name = "BenchFunction",
     .superName = "BenchObject",
     .dataSize = kWords,
     .destructor = nothing},
};

template <class Function> Function *find(const char *name) {
  return reinterpret_cast<Function *>(host::resolve(name));
}

struct Entries {
  REALobject (*createInstance)(REALclassRef) = find<REALobject(REALclassRef)>("CreateInstance");
  void (*lockObject)(REALobject) = find<void(REALobject)>("REALLockObject");
  void (*unlockObject)(REALobject) = find<void(REALobject)>("REALUnlockObject");
  void (*unlockString)(REALstring) = find<void(REALstring)>("REALUnlockString");
  const char *(*getCString)(REALstring) = find<const char *(REALstring)>("StringGetCString");
  std::int32_t (*stringLength)(REALstring) = reinterpret_cast<std::int32_t (*)(REALstring)>(
      find<void *(void *, const char *)>("REALLoadGlobalMethod")(nullptr,
                                                                 "LenB( s as string ) as integer"));
  REALstring (*buildString)(const char *, std::int32_t, std::uint32_t) =
      find<REALstring(const char *, std::int32_t, std::uint32_t)>("REALBuildStringWithEncoding");
};

REALclassRef classOf(Wrapper wrapper) {
  static const bool registered = [] {
    host::registerClass(&gBase);
    host::registerClass(&gNamed);
    for (REALclassDefinition &definition : gClasses)
      host::registerClass(&definition);
    return true;
  }();
  static_cast<void>(registered);
  return host::findClass(gClasses[static_cast<std::size_t>(wrapper)].name);
}

constexpr unsigned kBatch = 32;

void doHostWork(benchmark::State &state, const Row &row) {
  const Entries entries;
  const HostWork &work = row.host;
  REALclassRef types[std::size(gClasses)];
  for (std::size_t i = 0; i < std::size(types); ++i)
    types[i] = classOf(static_cast<Wrapper>(i));
  const REALobject locked = entries.createInstance(types[0]);
  const std::string bytes(work.strings ? work.stringBytes / work.strings : 0, 'x');
  const REALstring text = host::newString(kText);
  // Many at a time, so that going from one kind to the next costs nothing.
  while (state.KeepRunningBatch(kBatch)) {
    for (std::size_t type = 0; type < std::size(types); ++type)
      for (unsigned i = 0; i < kBatch * work.wrappers[type]; ++i)
        entries.unlockObject(entries.createInstance(types[type]));
    for (unsigned i = 0; i < kBatch * work.strings; ++i)
      entries.unlockString(entries.buildString(
          bytes.data(), static_cast<std::int32_t>(bytes.size()), kEncodingUTF8));
    for (unsigned i = 0; i < kBatch * work.textsRead; ++i) {
      DoNotOptimize(entries.stringLength(text));
      DoNotOptimize(entries.getCString(text));
    }
    for (unsigned i = 0; i < kBatch * work.namesRead; ++i)
      DoNotOptimize(entries.getCString(text));
    for (unsigned i = 0; i < kBatch * work.locks; ++i) {
      entries.lockObject(locked);
      entries.unlockObject(locked);
    }
  }
  host::unlock(text);
  host::unlock(locked);
}

} // namespace

void registerHost(std::string_view filter, bool running) {
  for (const Row &row : kRows)
    if (running && row.running && matches(row.name, filter))
      benchmark::RegisterBenchmark((std::string(row.name) + "/host").c_str(), doHostWork, row);
}

} // namespace bench
