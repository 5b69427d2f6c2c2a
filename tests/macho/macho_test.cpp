// What runs the plug-in for macOS elsewhere refuses what it does not know, so that a test which passes
// there has seen all of the file: each of these changes one thing in the real one.

#include "tests/macho/image.h"
#include "tests/macho/system.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstring>
#include <fstream>
#include <iterator>

namespace {

std::vector<char> pluginFile() {
  std::ifstream stream(std::getenv("QUILLIX_MACHO"), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// Wherever the one text is, the other of the same length.
std::vector<char> changed(std::string_view from, std::string_view to) {
  std::vector<char> file = pluginFile();
  EXPECT_EQ(from.size(), to.size());
  int count = 0;
  for (auto at = file.begin();; ++count) {
    at = std::search(at, file.end(), from.begin(), from.end());
    if (at == file.end())
      break;
    at = std::copy(to.begin(), to.end(), at);
  }
  EXPECT_GT(count, 0) << from;
  return file;
}

// What is said about a file; nothing about one that can be used.
std::string refusal(const std::vector<char> &file) {
  try {
    const macho::Image image(file, macho::systemSymbol);
    image.exported("_REALPluginMain");
    image.exported("_initaview");
  } catch (const macho::Error &error) {
    return error.what();
  }
  return "";
}

// The number at a place, counted in 32 bits from the first slice's header, and the same in the others.
std::vector<char> withNumber(std::size_t place, std::uint32_t number) {
  std::vector<char> file = pluginFile();
  const std::string magic("\xCF\xFA\xED\xFE");
  for (auto at = file.begin();;) {
    at = std::search(at, file.end(), magic.begin(), magic.end());
    if (at == file.end())
      return file;
    std::memcpy(&*at + 4 * place, &number, sizeof number);
    at += 4;
  }
}

TEST(MachoTest, refusesAnotherFile) {
  EXPECT_EQ(refusal(pluginFile()), "");
  EXPECT_EQ(refusal({}), "it is no universal file");
  std::vector<char> cut = pluginFile();
  cut.resize(cut.size() / 3);
  EXPECT_EQ(refusal(cut), "the slice for this processor is cut off");
  EXPECT_EQ(refusal(withNumber(3, 8)), "the slice is no dynamic library"); // a bundle
  EXPECT_EQ(refusal(withNumber(6, 0x85)), "unknown flags: 0x85");
  EXPECT_EQ(refusal(withNumber(8, 0x80000034)), "unknown command: 0x80000034"); // chained fixups
}

TEST(MachoTest, refusesOtherNames) {
  EXPECT_EQ(refusal(changed("_calloc", "_mallox")), "it imports _mallox");
  EXPECT_EQ(refusal(changed("libSystem.B", "libSystem.C")), "it needs /usr/lib/libSystem.C.dylib");
  EXPECT_EQ(refusal(changed("initaview", "initaviex")), "it does not export _initaview");
}

TEST(MachoTest, hasNoOtherExports) {
  const macho::Image image(pluginFile(), macho::systemSymbol);
  EXPECT_TRUE(image.contains(image.exported("_REALPluginMain")));
  for (const char *symbol : {"", "_", "_REALPluginMai", "_REALPluginMain2", "REALPluginMain"})
    EXPECT_THROW(image.exported(symbol), macho::Error) << symbol;
}

TEST(MachoTest, translatesLibrariesAndModes) {
  EXPECT_EQ(macho::libraryHere("@rpath/libpython2.7.dylib"), "libpython2.7.so.1.0");
  EXPECT_EQ(macho::libraryHere("/a/library.dylib"), "/a/library.dylib");
  for (const char *name : {"libpython2.7.dylib", "@rpath/libpython3.dylib", "a/library.dylib"})
    EXPECT_THROW(macho::libraryHere(name), macho::Error) << name;

  EXPECT_EQ(macho::modeHere(0x1), RTLD_LAZY | RTLD_GLOBAL);
  EXPECT_EQ(macho::modeHere(0x1 | 0x4), RTLD_LAZY);
  EXPECT_EQ(macho::modeHere(0x2 | 0x8 | 0x10), RTLD_NOW | RTLD_GLOBAL | RTLD_NOLOAD);
  EXPECT_EQ(macho::modeHere(0x2 | 0x4 | 0x80), RTLD_NOW | RTLD_NODELETE);
  EXPECT_THROW(macho::modeHere(0x1 | 0x200), macho::Error);
}

} // namespace
