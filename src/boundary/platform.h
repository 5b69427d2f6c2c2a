// What differs between operating systems: where Python may lie, opening a library, finding a symbol in
// it, the system log, how a function is exported, and how data that nothing uses is kept. The bodies stand
// together in platform.cpp.
#pragma once

#include <cstddef>
#include <string_view>

#if defined(_WIN32)
#define QUILLIX_EXPORT extern "C" __declspec(dllexport)
#else
#define QUILLIX_EXPORT extern "C" __attribute__((visibility("default")))
#endif

// Kept by the compiler and, where it drops unused sections, by the linker.
#if defined(__ELF__)
#define QUILLIX_KEEP __attribute__((used, retain))
#else
#define QUILLIX_KEEP __attribute__((used))
#endif

namespace platform {

// The file name of this platform's Python 2.7 library, without a directory: the platform's own
// search for libraries finds it.
extern const char *const kPythonLibraryName;

// Whether every Python 2.7 that the plug-in can meet was made by a compiler that lays out data as this
// one does. What the collector puts before an object holds a long double, and that has 64 bits in
// python.org's Python for Windows, and on 64-bit ARM on macOS, but not where the file for macOS is tried.
#if defined(_WIN32) || (defined(__APPLE__) && defined(__aarch64__))
inline constexpr bool kPythonHasOurLayout = false;
#else
inline constexpr bool kPythonHasOurLayout = true;
#endif

// Whether Python's module _ctypes has the class COMError, and with it a fault: as it is imported, it
// counts a reference to the class of the interpreter before, which has gone with that interpreter.
#if defined(_WIN32)
inline constexpr bool kCtypesNeedsItsOldClass = true;
#else
inline constexpr bool kCtypesNeedsItsOldClass = false;
#endif

// --- Paths ---

// Paths are UTF-8, with this between folders and that between the entries of a search path.
#if defined(_WIN32)
inline constexpr char kSeparator = '\\';
inline constexpr char kListSeparator = ';';
#else
inline constexpr char kSeparator = '/';
inline constexpr char kListSeparator = ':';
#endif
inline constexpr std::size_t kLongestPath = 1024; // with a NUL

// A path, or none: one that does not fit is none.
class Path {
public:
  Path() { text_[0] = '\0'; }
  explicit Path(std::string_view text) : Path() { add(text); }

  // The same with that behind it.
  Path operator+(std::string_view text) const;
  Path operator/(std::string_view name) const;
  Path folder() const; // without its last part

  std::string_view view() const { return {text_, length_}; }
  const char *text() const { return text_; }
  explicit operator bool() const { return length_ > 0; }

private:
  void add(std::string_view text);

  char text_[kLongestPath]; // up to a NUL
  std::size_t length_ = 0;
};

// Whether there is a file or folder of that path.
bool exists(const Path &path);

// The same of a path in the bytes that Python takes; see pathForPython.
bool existsForPython(const Path &path);

// The absolute path, without links, of the file in which a function lies: of a function of the plug-in,
// the plug-in's own file.
Path fileOf(void (*function)());

// The folders of a built application, known by the name of the one in which plug-ins lie.
struct Application {
  Path program;
  Path resources;
};
Application applicationAround(const Path &pluginFolder);

// In a Python that an application ships: the library, and files of which one shows that the standard
// library is there.
extern const char *const kShippedLibrary;
extern const char *const kShippedModules[3];

// Python's library in the nth place where installers put it and no search of the system's looks.
inline constexpr int kInstallers = 2;
Path installedLibrary(int n);

// Whether Python takes parts of its search path from the system's registry, whatever its home is.
#if defined(_WIN32)
inline constexpr bool kRegistryNamesModules = true;
#else
inline constexpr bool kRegistryNamesModules = false;
#endif

// --- Libraries ---

// Opens a library, by its name or absolute path, with lazy binding. Its symbols stay its own: other
// libraries of the program must not be bound to them. Null when it cannot be opened. The caller
// closes it.
void *openLibrary(const char *name); // never one that just lies in the current folder

// Makes the symbols of a library that is open visible to libraries opened from now on, for good.
void makeVisible(const char *name);

// The address of a symbol, or null; null for a null library.
void *findSymbol(void *library, const char *name);

// The address that the symbol has for every library of the program, or null.
void *findVisibleSymbol(const char *name);

void closeLibrary(void *library);

// Keeps the plug-in's own file in memory until the process ends, whoever closes it.
void stayLoaded();

// A path of the host's, which is UTF-8, in the bytes by which Python 2.7 finds it, as a rule the same
// ones. The result lies in the buffer or is the path itself.
std::string_view pathForPython(std::string_view path, char (&buffer)[kLongestPath]);

// Writes a line to the system log; "%s" in it stands for the text.
void log(const char *format, const char *text = "");

} // namespace platform
