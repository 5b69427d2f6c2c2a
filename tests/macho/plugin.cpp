// A plug-in for Linux that is the plug-in for macOS: what the host asks of it, it asks of the dynamic
// library that the variable QUILLIX_MACHO names.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>

#include "tests/macho/system.h"

namespace {

std::unique_ptr<macho::Image> open(const char *path) {
  if (!path)
    throw macho::Error("QUILLIX_MACHO names no file");
  std::ifstream stream(path, std::ios::binary);
  const std::vector<char> file{std::istreambuf_iterator<char>(stream), {}};
  macho::self().file = path;
  auto image = std::make_unique<macho::Image>(file, macho::systemSymbol);
  macho::self().image = image.get();
  return image;
}

// Goes with this file, when the host closes it.
const std::unique_ptr<macho::Image> gImage = [] {
  const char *const path = std::getenv("QUILLIX_MACHO");
  try {
    return open(path);
  } catch (const macho::Error &error) {
    std::fprintf(stderr, "%s: %s\n", path ? path : "the plug-in", error.what());
    std::abort();
  }
}();

template <class Function> Function *exported(const char *symbol) {
  return reinterpret_cast<Function *>(gImage->exported(symbol));
}

} // namespace

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT void REALPluginMain(void *resolver) { exported<void(void *)>("_REALPluginMain")(resolver); }

EXPORT void initaview() { exported<void()>("_initaview")(); }
