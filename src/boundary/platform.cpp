#include "boundary/platform.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// After windows.h.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#else
#include <dlfcn.h>
#include <syslog.h>
#endif

namespace platform {

#if defined(_WIN32)

const char *const kPythonLibraryName = "python27.dll";

namespace {

bool isAbsolute(const wchar_t *path) {
  return (path[0] == L'\\' && path[1] == L'\\') ||
         (path[0] && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/'));
}

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

// As the system looks for a name, except that it would look into the current folder as well, before
// PATH: what is loaded already, the program's folder, those that the program has added, the system's.
void *openLibrary(const char *name) {
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

#if defined(__APPLE__)

// A bare name would be looked for in the current folder, too; this one only in the run paths of the
// plug-in and the program, and in the folders that the system's variables name.
static constexpr char kPythonInRunPaths[] = "@rpath/libpython2.7.dylib";
const char *const kPythonLibraryName = kPythonInRunPaths + sizeof "@rpath";

static const char *searched(const char *name) {
  return name == kPythonLibraryName ? kPythonInRunPaths : name;
}

#else

const char *const kPythonLibraryName = "libpython2.7.so.1.0";

static const char *searched(const char *name) { return name; }

#endif

void *openLibrary(const char *name) { return dlopen(searched(name), RTLD_LAZY | RTLD_LOCAL); }

void makeVisible(const char *name) {
  dlopen(searched(name), RTLD_LAZY | RTLD_NOLOAD | RTLD_GLOBAL);
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
  Dl_info self;
  if (dladdr(reinterpret_cast<const void *>(&stayLoaded), &self)) {
    dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
  }
}
#else
void stayLoaded() {} // the file says so itself: it is linked with -z nodelete
#endif

void log(const char *format, const char *text) { syslog(LOG_ERR, format, text); }

#endif

} // namespace platform
