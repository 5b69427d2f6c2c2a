// What the plug-in tells a host as it loads: first to a host that only listens, then as the
// stand-in host understands it.

#include "tests/wrappers.h"

#include <fstream>
#include <map>
#include <sstream>

namespace {

// Records are read as the words that they are, without the plug-in's own idea of their fields. A
// layout has one letter for each word:
//   n name or declaration  t type    v version   g function        s setter (may be null)
//   p super class          f flags   i interfaces   0 always 0     - told elsewhere
using Words = const HostWord *;

constexpr std::string_view kClass = "vnp-0--------00i00--f00--0000";
constexpr std::string_view kModule = "vn00--00000000";

struct Table {
  const char *kind;
  int field; // of the class record, counted from 1: where the rows are; their number comes next
  std::string_view row;
};
constexpr Table kTables[] = {{"constant", 19, "n0000"},
                             {"property", 8, "0ntfg0000000"},
                             {"event", 12, "n000"},
                             {"method", 10, "gsnf00"},
                             {"shared method", 24, "gsnf00"}};

std::string gTold;               // in the form of tests/data/api.txt
std::vector<std::string> gAsked; // entry points, in the order of their look-up

std::string text(HostWord word) { return reinterpret_cast<const char *>(word); }

// The names in a row or record, and every word that is not as it always is.
std::string describe(Words words, std::string_view layout) {
  std::ostringstream names, remarks;
  for (std::size_t i = 0; i < layout.size(); ++i) {
    const HostWord word = words[i];
    const char letter = layout[i];
    if (letter == 'n')
      names << text(word);
    else if (letter == 't')
      names << " as " << text(word);
    else if (letter == 'p' && word)
      names << " is a " << text(word);
    else if (letter == 's' && word)
      remarks << "  (assignable)";
    else if (letter == 'f' && word != 0x4)
      remarks << "  (flags 0x" << std::hex << word << ")";
    else if ((letter == '0' && word) || (letter == 'v' && word != 13) || (letter == 'g' && !word) ||
             (letter == 'i' && (!word || !text(word).empty())))
      remarks << "  (word " << i + 1 << " is wrong)";
  }
  return names.str() + remarks.str();
}

void tell(const std::string &kind, const std::string &what) {
  gTold += "  " + kind + std::string(15 - kind.size(), ' ') + what + "\n";
}

void tellRows(const Table &table, Words rowsAndCount) {
  const auto rows = reinterpret_cast<Words>(rowsAndCount[0]);
  EXPECT_EQ(rows != nullptr, rowsAndCount[1] != 0) << table.kind << " table after " << gTold;
  for (HostWord i = 0; i < rowsAndCount[1]; ++i)
    tell(table.kind, describe(rows + i * table.row.size(), table.row));
}

void registerClass(Words record) {
  gTold += "class " + describe(record, kClass) + "\n";
  std::string instance;
  for (const auto &[field, name] :
       {std::pair(4, "class data"), std::pair(6, "constructor"), std::pair(7, "destructor")})
    if (record[field - 1])
      instance += (instance.empty() ? "" : ", ") + std::string(name);
  if (!instance.empty())
    tell("instance", instance);
  for (const Table &table : kTables)
    tellRows(table, record + table.field - 1);
}

void registerModule(Words record) {
  gTold += "module " + describe(record, kModule) + "\n";
  tellRows(kTables[0], record + 4);
}

// The resolver of a host that has nothing but what loading needs, not even locks.
void *listen(const char *entryName) {
  void (*const announceVersion)(std::int32_t) = [](std::int32_t version) {
    gTold += "interface version " + std::to_string(version) + "\n";
  };
  void *(*const findClass)(const char *) = [](const char *name) -> void * {
    gAsked.push_back(name);
    return nullptr;
  };
  const std::map<std::string_view, void *> entries = {
      {"RegisterPluginVersion", reinterpret_cast<void *>(announceVersion)},
      {"PluginRegisterClass", reinterpret_cast<void *>(registerClass)},
      {"PluginRegisterModule", reinterpret_cast<void *>(registerModule)},
      {"pluginObjectType", reinterpret_cast<void *>(findClass)}};
  gAsked.push_back(entryName);
  return entries.contains(entryName) ? entries.at(entryName) : nullptr;
}

TEST(EntryTest, registersTheDocumentedInterface) {
  std::ifstream file(QUILLIX_TEST_DATA_DIR "/api.txt");
  std::string documented;
  for (std::string line; std::getline(file, line);)
    if (!line.empty() && line.front() != '#')
      documented += line + "\n";

  host::unload();
  void *const plugin = platform::openLibrary(host::pluginPath(QUILLIX_PLUGIN_PATH));
  ASSERT_NE(plugin, nullptr) << platform::libraryError();
  const auto load =
      reinterpret_cast<void (*)(HostResolver)>(platform::findSymbol(plugin, "REALPluginMain"));
  ASSERT_NE(load, nullptr);
  gAsked.clear();
  // The second load says the same, whatever the first one left behind.
  for (int round = 1; round <= 2; ++round) {
    gTold.clear();
    load(listen);
    EXPECT_EQ(gTold, documented);
  }
  gAsked.resize(9);
  EXPECT_EQ(gAsked, (std::vector<std::string>{"RegisterPluginVersion", "REALLockObject",
                                              "REALUnlockObject", "REALUnlockString",
                                              "REALLockString", "pluginObjectType", "ObjectArray",
                                              "PluginRegisterClass", "PluginRegisterModule"}));
  platform::closeLibrary(plugin);
}

// What is in use, or kept locked, belongs to the host that loaded the plug-in: nobody else gets in.
TEST_F(LoadedTest, nobodyLoadsWhatIsInUse) {
  const auto toldTo = [](HostResolver resolver) {
    gTold.clear();
    void *const plugin = platform::openAgain(host::pluginPath(QUILLIX_PLUGIN_PATH).c_str());
    reinterpret_cast<void (*)(HostResolver)>(platform::findSymbol(plugin, "REALPluginMain"))(
        resolver);
    platform::closeLibrary(plugin);
    return !gTold.empty();
  };
  host::Object console = host::create("QuillixConsoleOutput");
  quillix::setConsole(console);
  EXPECT_FALSE(toldTo(listen)) << "a console is chosen";
  quillix::setConsole(nullptr);
  quillix::init();
  EXPECT_NE(newEntity("text"), nullptr);
  EXPECT_FALSE(toldTo(listen)) << "an interpreter runs";
  quillix::finalize();
  EXPECT_EQ(console.locks(), 1U);
  console = nullptr;

  // Afterwards everything is asked of the new host, and this one has nothing.
  EXPECT_TRUE(toldTo(listen));
  quillix::init();
  EXPECT_EQ(newEntity("text"), nullptr);
  quillix::finalize();
  host::unload();
  host::load(host::pluginPath(QUILLIX_PLUGIN_PATH));
}

// Python keeps functions of the plug-in, so its file stays when the host closes it.
TEST_F(LoadedTest, staysInMemoryForPython) {
  quillix::init();
  host::unload();
  const auto run =
      reinterpret_cast<int (*)(const char *)>(platform::findPythonSymbol("PyRun_SimpleString"));
  EXPECT_EQ(run("import sys\nsys.stdout.write('text')"), 0);
  reinterpret_cast<void (*)()>(platform::findPythonSymbol("Py_Finalize"))();
  host::load(host::pluginPath(QUILLIX_PLUGIN_PATH));
  EXPECT_FALSE(host::callShared<bool>("Quillix", "ErrorOccurred() as Boolean"));
}

using ClassDataTest = RunningTest;

TEST_F(ClassDataTest, liesInOneBlockPerClass) {
  const host::String name("getrefcount");
  const host::Object module = quillix::getModule("sys");
  const host::Object function =
      module.call<host::Object>("GetFunction(name as String) as PythonFunction", name);
  const auto firstWord = [&](const char *className) {
    return host::classData<void *>(function.get(), *host::requireClass(className).record);
  };
  EXPECT_EQ(firstWord("PythonObject"), name.get());
  EXPECT_EQ(firstWord("PythonFunction"), module.get());
}

} // namespace
