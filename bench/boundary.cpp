#include "bench/boundary.h"

namespace bench {
namespace {

void nothing(REALobject) {}

// As much class data, and as many class constructors and destructors, as the plug-in's classes have.
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

template <class Function> void find(Function *&entry, const char *name) {
  entry = reinterpret_cast<Function *>(host::resolve(name));
}

} // namespace

WithHost::Entries WithHost::entries;

void WithHost::prepare() {
  if (entries.createInstance)
    return;
  find(entries.createInstance, "CreateInstance");
  find(entries.lockObject, "REALLockObject");
  find(entries.unlockObject, "REALUnlockObject");
  find(entries.lockString, "REALLockString");
  find(entries.unlockString, "REALUnlockString");
  find(entries.getCString, "StringGetCString");
  find(entries.buildString, "REALBuildStringWithEncoding");
  void *(*loadGlobalMethod)(void *, const char *) = nullptr;
  find(loadGlobalMethod, "REALLoadGlobalMethod");
  entries.stringLength = reinterpret_cast<std::int32_t (*)(REALstring)>(
      loadGlobalMethod(nullptr, "LenB( s as string ) as integer"));
  host::registerClass(&gBase);
  host::registerClass(&gNamed);
  for (std::size_t i = 0; i < std::size(gClasses); ++i)
    entries.types[i] = &host::registerClass(&gClasses[i]);
}

} // namespace bench
