#include "host/runtime/platform.h"

#include <filesystem>

#if defined(_WIN32)
#include <process.h>
#include <windows.h>
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

// No library is ever taken from the current folder.
void start() { SetDllDirectoryA(""); }

void *openLibrary(const std::string &name) { return LoadLibraryA(name.c_str()); }

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
  char path[MAX_PATH];
  if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                              GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          static_cast<const char *>(address), &library))
    return "";
  return {path, GetModuleFileNameA(library, path, sizeof path)};
}

bool returnsApart(void (*)(), const char *verb, const char *argument) {
  return _spawnl(_P_WAIT, _pgmptr, _pgmptr, verb, argument, nullptr) == 0;
}

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

void start() {}

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

bool returnsApart(void (*work)(), const char *, const char *) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    _exit(0);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

#endif

} // namespace host::platform
