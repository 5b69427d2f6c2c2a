// Where the plug-in looks for Python, in what order, and what it passes over: applications that are laid
// out for it, with stubs in Python's place.

#include "tests/platform.h"
#include "tests/redirect.h"

#include "host/runtime/call.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

namespace {

namespace fs = std::filesystem;
using redirect::gAskedFor;
using redirect::gLogged;

#if defined(_WIN32)
constexpr const char *kLibrary = "python27.dll";
constexpr const char *kModules = "Lib";
#else
constexpr const char *kLibrary = "lib/" QUILLIX_PYTHON_LIBRARY_NAME;
constexpr const char *kModules = "lib/python2.7";
#endif

void write(const fs::path &file, const char *text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file) << text;
}

class SearchTest : public testing::Test {
protected:
  void SetUp() override {
    host::unload();
    root = fs::path(testing::TempDir()) /
           ("My Applications " + std::to_string(std::random_device()()));
    // The file that is looked around: the plug-in's own, or the one for macOS that stands behind it.
    const char *const forMacOs = std::getenv("QUILLIX_MACHO");
    const fs::path contents = root / (forMacOs ? "App.app/Contents" : "App");
    libraries = contents / (forMacOs ? "Frameworks" : "App Libs");
    program = forMacOs ? contents / "MacOS" : contents;
    resources = contents / (forMacOs ? "Resources" : "App Resources");
    plugin = host::pluginPath(QUILLIX_PLUGIN_PATH);
    putPluginInto(libraries);
  }
  void TearDown() override {
    host::unload();
    EXPECT_EQ(host::survivors(), "");
    std::error_code stillOpen; // as libraries are on Windows
    fs::remove_all(root, stillOpen);
  }

  void putPluginInto(const fs::path &folder) {
    fs::create_directories(folder);
    const char *const forMacOs = std::getenv("QUILLIX_MACHO");
    const fs::path file = forMacOs ? forMacOs : host::pluginPath(QUILLIX_PLUGIN_PATH);
    const fs::path copy = folder / file.filename();
    fs::copy_file(file, copy);
    if (forMacOs)
      platform::setVariable("QUILLIX_MACHO", copy.string());
    else
      plugin = copy.string();
  }

  static fs::path stub() {
    return fs::path(QUILLIX_STUB_DIR) / "complete" / platform::kPythonLibrary;
  }
  static void shipModules(const fs::path &place) {
    write(place / "python" / kModules / "os.py", "");
  }
  static fs::path shippedLibrary(const fs::path &place) { return place / "python" / kLibrary; }
  static void ship(const fs::path &place) {
    shipModules(place);
    fs::create_directories(shippedLibrary(place).parent_path());
    fs::copy_file(stub(), shippedLibrary(place));
  }

  static bool isOpen(const fs::path &library) {
    void *const handle = platform::openAgain(library.string().c_str());
    if (handle)
      platform::closeLibrary(handle);
    return handle;
  }

  bool load() {
    host::unload();
    redirect::plugin(plugin);
    gLogged.clear();
    host::load(plugin);
    return host::callShared<bool>("Quillix", "PythonIsFound() as Boolean");
  }

  // Loads, and says which of the shipped libraries that has opened.
  std::string takes() {
    std::string taken;
    std::vector<std::pair<const char *, fs::path>> places = {
        {"libraries ", libraries}, {"program ", program}, {"resources ", resources}};
    std::erase_if(places, [](const auto &each) { return isOpen(shippedLibrary(each.second)); });
    const bool found = load();
    for (const auto &[name, place] : places)
      if (isOpen(shippedLibrary(place)))
        taken += name;
    return found && taken.empty() ? "bare name" : taken;
  }

  // The log's line about a folder or library, as the plug-in writes its path.
  static std::string passedOver(const fs::path &path, const char *why) {
    return "Passed over " + fs::canonical(path).string() + ", which " + why + "\n";
  }

  fs::path root, libraries, program, resources;
  std::string plugin;
};

TEST_F(SearchTest, takesTheFirstThatIsThere) {
  EXPECT_FALSE(load());
  void *const byBareName = platform::openLibrary(stub().string());
  EXPECT_EQ(takes(), "bare name");
  platform::closeLibrary(byBareName);
  ship(resources);
  EXPECT_EQ(takes(), "resources ");
  ship(program);
  EXPECT_EQ(takes(), "program ");
  ship(libraries);
  EXPECT_EQ(takes(), "libraries ");
  EXPECT_EQ(gLogged, "");
}

TEST_F(SearchTest, passesOverWhatCannotBeUsed) {
  ship(resources);
  fs::create_directories(program / "python");
  shipModules(libraries);
  EXPECT_EQ(takes(), "resources ");
  EXPECT_EQ(gLogged, passedOver(libraries / "python", "lacks the library of Python") +
                         passedOver(program / "python", "lacks the library of Python"));

  write(shippedLibrary(libraries), "This is not a library.");
  write(shippedLibrary(program), "");
  EXPECT_EQ(takes(), "bare name"); // the one in the resources is open already
  EXPECT_EQ(gLogged, passedOver(shippedLibrary(libraries), "cannot be opened") +
                         passedOver(program / "python", "lacks the standard library"));
}

#if !defined(_WIN32)
// Where it would be a matter of the machine whether it is there. What has been found is not sought on.
TEST_F(SearchTest, asksInstallersPlacesLast) {
  gAskedFor.clear();
  EXPECT_FALSE(load());
  std::string asked;
  for (const fs::path &place : {libraries, program, resources})
    asked += (fs::canonical(root) / fs::relative(place, root) / "python").string() + "\n";
  if (std::getenv("QUILLIX_MACHO"))
    for (const std::string frameworks : {"/Library/Frameworks", "/opt/local/Library/Frameworks"})
      asked += frameworks + "/Python.framework/Versions/2.7/" + kLibrary + "\n";
  else
    for (const std::string folder : {"/usr/local/lib/", "/usr/local/lib64/"})
      asked += folder + platform::kPythonLibrary + "\n";
  EXPECT_EQ(gAskedFor, asked);

  void *const byBareName = platform::openLibrary(stub().string());
  gAskedFor.clear();
  EXPECT_TRUE(load());
  EXPECT_EQ(gAskedFor, asked.substr(0, asked.find("\n", asked.find("Resources")) + 1));
  platform::closeLibrary(byBareName);
}
#endif

// Only folders that are laid out as those of an application: others are not the application's own.
TEST_F(SearchTest, looksAroundApplicationsOnly) {
  putPluginInto(root / "Plugins");
  ship(root);
  ship(root / "Resources");
  ship(root / "MacOS");
  EXPECT_FALSE(load());
  EXPECT_FALSE(isOpen(shippedLibrary(root)));
}

} // namespace
