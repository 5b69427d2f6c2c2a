#include "host/runtime/platform.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#if defined(_WIN32)
#include <process.h>
#include <windows.h>

#include <shellapi.h>
#else
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace host::platform {

#if defined(_WIN32)

const char *const kPythonLibrary = "python27.dll";

const char *const kAdvice = R"(
Quillix needs the library of CPython 2.7 (%s), of the same number of bits as the plug-in,
and Python's standard library. Install Python 2.7 with python.org's installer, for all users. When it
is in a place of its own, name that place:
  PATH=FOLDER;%%PATH%%   where the library is
  PYTHONHOME=FOLDER    where Lib is
)";

namespace {

constexpr int kLongest = 32767;

std::wstring wide(const std::string &text) {
  wchar_t buffer[kLongest] = {};
  MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, buffer, kLongest);
  return buffer;
}

std::string narrow(const wchar_t *text) {
  char buffer[kLongest] = {};
  WideCharToMultiByte(CP_UTF8, 0, text, -1, buffer, kLongest, nullptr, nullptr);
  return buffer;
}

} // namespace

std::vector<std::string> start(int, const char *const *) {
  SetDllDirectoryA(""); // no library is ever taken from the current folder
  int count = 0;
  wchar_t **const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> result;
  std::transform(words, words + count, std::back_inserter(result), narrow);
  LocalFree(words);
  return result;
}

std::string variable(const char *name) {
  wchar_t value[kLongest] = {};
  GetEnvironmentVariableW(wide(name).c_str(), value, kLongest);
  return narrow(value);
}

std::string absolute(const std::string &path) {
  wchar_t full[kLongest] = {};
  GetFullPathNameW(wide(path).c_str(), kLongest, full, nullptr);
  return narrow(full);
}

void *openLibrary(const std::string &name) { return LoadLibraryW(wide(name).c_str()); }

std::string libraryError() {
  const DWORD code = GetLastError();
  char text[256];
  DWORD length =
      FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                     MAKELANGID(LANG_ENGLISH, SUBLANG_DEFAULT), text, sizeof text, nullptr);
  while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r'))
    --length;
  return length ? std::string(text, length) : "error " + std::to_string(code);
}

void closeLibrary(void *library) { FreeLibrary(static_cast<HMODULE>(library)); }

void *findSymbol(void *library, const char *name) {
  return reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(library), name));
}

std::string fileOf(const void *address) {
  HMODULE library = nullptr;
  wchar_t path[kLongest] = {};
  if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                              GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          static_cast<const char *>(address), &library))
    return "";
  GetModuleFileNameW(library, path, kLongest);
  return narrow(path);
}

int statusApart(const std::function<int()> &, const std::vector<std::string> &arguments) {
  // It is handed one line, which blanks divide.
  const auto quoted = [](const std::string &text) { return wide('"' + text + '"'); };
  wchar_t program[kLongest] = {};
  GetModuleFileNameW(nullptr, program, kLongest);
  std::vector<std::wstring> words = {quoted(narrow(program))};
  std::transform(arguments.begin(), arguments.end(), std::back_inserter(words), quoted);
  std::vector<const wchar_t *> pointers;
  for (const std::wstring &word : words)
    pointers.push_back(word.c_str());
  pointers.push_back(nullptr);
  std::fflush(nullptr);
  return static_cast<int>(_wspawnv(_P_WAIT, program, pointers.data()));
}

const char *const kBuildTarget = "Windows";
const char *const kProgramNameKey = "WindowsName";

#else

#if defined(__APPLE__)
const char *const kPythonLibrary = "libpython2.7.dylib";
#else
const char *const kPythonLibrary = "libpython2.7.so.1.0";
#endif

const char *const kAdvice = R"(
Quillix needs the shared library of CPython 2.7 (%s), built for this
processor, and Python's standard library. Install Python 2.7 from your system's packages, or from
its source configured with --enable-shared. When it is in a place of its own, name that place:
  LD_LIBRARY_PATH=PREFIX/lib   where the shared library is
  PYTHONHOME=PREFIX            where lib/python2.7 is
)";

std::vector<std::string> start(int count, const char *const *words) {
  return {words, words + count};
}

std::string absolute(const std::string &path) { return std::filesystem::absolute(path).string(); }

std::string variable(const char *name) {
  const char *const value = std::getenv(name);
  return value ? value : "";
}

void *openLibrary(const std::string &name) { return dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL); }

std::string libraryError() { return dlerror(); }

void closeLibrary(void *library) { dlclose(library); }

void *findSymbol(void *library, const char *name) { return dlsym(library, name); }

std::string fileOf(const void *address) {
  Dl_info info;
  if (!dladdr(address, &info) || !info.dli_fname)
    return "";
  std::error_code error;
  const auto path = std::filesystem::canonical(info.dli_fname, error);
  return error ? info.dli_fname : path.string();
}

int statusApart(const std::function<int()> &work, const std::vector<std::string> &) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0)
    std::exit(work());
  int status = 0;
  const bool hasEnded = child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status);
  return hasEnded ? WEXITSTATUS(status) : -1;
}

#if defined(__APPLE__)
const char *const kBuildTarget = "Mac OS X";
const char *const kProgramNameKey = "MacCarbonMachName";
#else
const char *const kBuildTarget = "Linux";
const char *const kProgramNameKey = "LinuxX86Name";
#endif

#endif

std::filesystem::path pathOf(const std::string &text) {
  return std::u8string(text.begin(), text.end());
}

std::string textOf(const std::filesystem::path &path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

#if defined(__APPLE__)
Layout layoutOf(const std::string &programName) {
  const std::string contents = programName + ".app/Contents/";
  return {contents + "MacOS/" + programName, contents + "Frameworks", contents + "Resources"};
}
#else
Layout layoutOf(const std::string &programName) {
  const std::string name = textOf(pathOf(programName).stem());
  return {name + "/" + programName, name + "/" + name + " Libs", name + "/" + name + " Resources"};
}
#endif

} // namespace host::platform
