#include "boundary/platform.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// After windows.h.
#include <algorithm>
#include <cstdio>
#include <cwchar>
#else
#include <dlfcn.h>
#include <syslog.h>
#include <unistd.h>
#endif

#include <cstdlib>
#include <cstring>

namespace platform {

void Path::add(std::string_view text) {
  if (length_ + text.size() >= kLongestPath) {
    length_ = 0;
  } else {
    std::memcpy(text_ + length_, text.data(), text.size());
    length_ += text.size();
  }
  text_[length_] = '\0';
}

Path Path::operator+(std::string_view text) const {
  Path sum;
  if (*this) {
    sum = *this;
    sum.add(text);
  }
  return sum;
}

Path Path::operator/(std::string_view name) const {
  return *this + std::string_view(&kSeparator, 1) + name;
}

Path Path::folder() const {
  const std::size_t end = view().rfind(kSeparator);
  return end == std::string_view::npos ? Path() : Path({text_, end});
}

#if !defined(__APPLE__)

Application applicationAround(const Path &pluginFolder) {
  constexpr std::string_view kEnd = " Libs";
  std::string_view name = pluginFolder.view();
  if (!name.ends_with(kEnd)) {
    return {};
  }
  name.remove_suffix(kEnd.size());
  return {pluginFolder.folder(), Path(name) + " Resources"};
}

#endif

#if defined(_WIN32)

const char *const kPythonLibraryName = "python27.dll";

const char *const kShippedLibrary = "python27.dll";
const char *const kShippedModules[] = {"Lib\\os.py", "Lib\\os.pyc", "python27.zip"};

namespace {

// A path as the system's functions take it; empty where it does not fit.
class WidePath {
public:
  explicit WidePath(const char *path) {
    if (!MultiByteToWideChar(CP_UTF8, 0, path, -1, text_, MAX_PATH)) {
      text_[0] = L'\0';
    }
  }
  operator const wchar_t *() const { return text_; }

private:
  wchar_t text_[MAX_PATH];
};

Path fromWide(const wchar_t *path) {
  char text[kLongestPath];
  const int size = WideCharToMultiByte(CP_UTF8, 0, path, -1, text, sizeof text, nullptr, nullptr);
  return size > 1 ? Path(text) : Path();
}

bool isAbsolute(const wchar_t *path) {
  return (path[0] == L'\\' && path[1] == L'\\') ||
         (path[0] && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/'));
}

// While it lives, a library that cannot be opened is no reason for the system to ask the user about it.
class NoDialogs {
public:
  NoDialogs() { SetThreadErrorMode(SEM_FAILCRITICALERRORS, &before_); }
  ~NoDialogs() { SetThreadErrorMode(before_, nullptr); }
  NoDialogs(const NoDialogs &) = delete;
  NoDialogs &operator=(const NoDialogs &) = delete;

private:
  DWORD before_ = 0;
};

// The library in one folder of PATH, of that many characters.
HMODULE openIn(const wchar_t *folder, std::size_t length, const char *name) {
  wchar_t path[MAX_PATH];
  if (length + std::strlen(name) + 2 > MAX_PATH || !isAbsolute(folder)) {
    return nullptr;
  }
  wchar_t *end = std::copy_n(folder, length, path);
  *end++ = L'\\';
  end = std::copy(name, name + std::strlen(name), end);
  *end = L'\0';
  return GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES
             ? nullptr
             : LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

HMODULE openInPath(const char *name) {
  const DWORD room = GetEnvironmentVariableW(L"PATH", nullptr, 0);
  auto *path = static_cast<wchar_t *>(std::malloc(room * sizeof(wchar_t)));
  HMODULE found = nullptr;
  if (path && GetEnvironmentVariableW(L"PATH", path, room) < room) {
    for (const wchar_t *folder = path; folder && !found;) {
      const wchar_t *end = std::wcschr(folder, L';');
      found =
          openIn(folder, end ? static_cast<std::size_t>(end - folder) : std::wcslen(folder), name);
      folder = end ? end + 1 : nullptr;
    }
  }
  std::free(path);
  return found;
}

} // namespace

bool exists(const Path &path) {
  return path && GetFileAttributesW(WidePath(path.text())) != INVALID_FILE_ATTRIBUTES;
}

bool existsForPython(const Path &path) {
  return path && GetFileAttributesA(path.text()) != INVALID_FILE_ATTRIBUTES;
}

Path fileOf(void (*function)()) {
  HMODULE library = nullptr;
  wchar_t name[MAX_PATH];
  return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<const wchar_t *>(function), &library) &&
                 GetModuleFileNameW(library, name, MAX_PATH) < MAX_PATH
             ? fromWide(name)
             : Path();
}

// Where the installer noted that it has put Python: for this user, and for the machine.
Path installedLibrary(int n) {
  HMODULE registry = LoadLibraryExA("advapi32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  auto *const get = reinterpret_cast<decltype(&RegGetValueW)>(
      reinterpret_cast<void *>(GetProcAddress(registry, "RegGetValueW")));
  wchar_t folder[MAX_PATH];
  DWORD size = sizeof folder;
  Path found;
  if (get && get(n == 0 ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE,
                 L"Software\\Python\\PythonCore\\2.7\\InstallPath", nullptr, RRF_RT_REG_SZ, nullptr,
                 folder, &size) == ERROR_SUCCESS) {
    found = fromWide(folder);
    found = found.view().ends_with(kSeparator) ? found + kPythonLibraryName
                                               : found / kPythonLibraryName;
  }
  if (registry) {
    FreeLibrary(registry);
  }
  return found;
}

// As the system looks for a name, except that it would look into the current folder as well, before
// PATH: what is loaded already, the program's folder, those that the program has added, the system's.
void *openLibrary(const char *name) {
  const NoDialogs none;
  if (const WidePath path(name); isAbsolute(path)) {
    return LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  }
  if (GetModuleHandleA(name)) {
    return LoadLibraryA(name);
  }
  HMODULE found = LoadLibraryExA(name, nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  return found ? found : openInPath(name);
}

// A symbol is always asked of one library here.
void makeVisible(const char *) {}
void *findVisibleSymbol(const char *) { return nullptr; }

void *findSymbol(void *library, const char *name) {
  if (!library) {
    return nullptr;
  }
  return reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void closeLibrary(void *library) { FreeLibrary(static_cast<HMODULE>(library)); }

void stayLoaded() {
  HMODULE self = nullptr;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<const char *>(&stayLoaded), &self);
}

// Python hands the bytes to functions of the system that take them to be in its code page. A folder
// whose name has other letters has a short name as well, as a rule.
std::string_view pathForPython(std::string_view path, char (&buffer)[kLongestPath]) {
  if (GetACP() == CP_UTF8 || path.empty()) {
    return path;
  }
  wchar_t name[MAX_PATH];
  const int length = MultiByteToWideChar(CP_UTF8, 0, path.data(), static_cast<int>(path.size()),
                                         name, MAX_PATH - 1);
  name[length] = L'\0';
  for (const bool tryShort : {false, true}) {
    BOOL lossy = FALSE;
    if (tryShort && !GetShortPathNameW(name, name, MAX_PATH)) {
      break;
    }
    const int bytes = WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, name, -1, buffer,
                                          static_cast<int>(kLongestPath), nullptr, &lossy);
    if (bytes > 1 && !lossy) {
      return {buffer, static_cast<std::size_t>(bytes) - 1};
    }
  }
  return path;
}

void log(const char *format, const char *text) {
  char message[1024];
  std::snprintf(message, sizeof message, format, text);
  OutputDebugStringA(message);
}

#else

bool exists(const Path &path) { return path && access(path.text(), F_OK) == 0; }

bool existsForPython(const Path &path) { return exists(path); }

Path fileOf(void (*function)()) {
  Dl_info info;
  if (!dladdr(reinterpret_cast<const void *>(function), &info) || !info.dli_fname) {
    return Path();
  }
  char *const absolute = realpath(info.dli_fname, nullptr);
  const Path found(absolute ? absolute : "");
  std::free(absolute);
  return found;
}

const char *const kShippedModules[] = {"lib/python2.7/os.py", "lib/python2.7/os.pyc",
                                       "lib/python27.zip"};

#if defined(__APPLE__)

const char *const kShippedLibrary = "lib/libpython2.7.dylib";

Application applicationAround(const Path &pluginFolder) {
  if (!pluginFolder.view().ends_with("/Frameworks")) {
    return {};
  }
  const Path contents = pluginFolder.folder();
  return {contents / "MacOS", contents / "Resources"};
}

// Of python.org, and of MacPorts.
Path installedLibrary(int n) {
  constexpr const char *kFrameworks[] = {"/Library/Frameworks", "/opt/local/Library/Frameworks"};
  return Path(kFrameworks[n]) + "/Python.framework/Versions/2.7/lib/libpython2.7.dylib";
}

const char *const kPythonLibraryName = "libpython2.7.dylib";

// A bare name would be looked for in the current folder, too; this one only in the run paths of the
// plug-in and the program, and in the folders that the system's variables name.
static Path searched(const char *name) {
  return std::string_view(name).find('/') == std::string_view::npos ? Path("@rpath") / name
                                                                    : Path(name);
}

#else

const char *const kPythonLibraryName = "libpython2.7.so.1.0";
const char *const kShippedLibrary = "lib/libpython2.7.so.1.0";

// Of what is installed from Python's source.
Path installedLibrary(int n) {
  constexpr const char *kFolders[] = {"/usr/local/lib", "/usr/local/lib64"};
  return Path(kFolders[n]) / kPythonLibraryName;
}

static Path searched(const char *name) { return Path(name); }

#endif

void *openLibrary(const char *name) {
  return dlopen(searched(name).text(), RTLD_LAZY | RTLD_LOCAL);
}

void makeVisible(const char *name) {
  dlopen(searched(name).text(), RTLD_LAZY | RTLD_NOLOAD | RTLD_GLOBAL);
}

// A null handle would mean "anywhere in the process" to dlsym.
void *findSymbol(void *library, const char *name) {
  return library ? dlsym(library, name) : nullptr;
}

void *findVisibleSymbol(const char *name) { return dlsym(RTLD_DEFAULT, name); }

void closeLibrary(void *library) { dlclose(library); }

std::string_view pathForPython(std::string_view path, char (&)[kLongestPath]) { return path; }

#if defined(__APPLE__)
void stayLoaded() {
  const Path self = fileOf(stayLoaded);
  dlopen(self.text(), RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}
#else
void stayLoaded() {} // the file says so itself: it is linked with -z nodelete
#endif

void log(const char *format, const char *text) { syslog(LOG_ERR, format, text); }

#endif

} // namespace platform
