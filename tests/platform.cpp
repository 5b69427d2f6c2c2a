#include "tests/platform.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#if defined(_WIN32)
#include <csignal>
#include <vector>
#include <windows.h>
// After windows.h.
#include <psapi.h>
#else
#include <csignal>
#include <dlfcn.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace platform {

#if defined(_WIN32)

void *openAgain(const char *name) { return GetModuleHandleA(name) ? LoadLibraryA(name) : nullptr; }

// A symbol is always asked of one library here.
void *openVisible(const std::string &name) { return openLibrary(name); }
bool isVisible(const char *) { return false; }

void *findPythonSymbol(const char *name) {
  HMODULE library = GetModuleHandleA(kPythonLibrary);
  return library ? findSymbol(library, name) : nullptr;
}

void setVariable(const char *name, const std::string &value) { _putenv_s(name, value.c_str()); }

// Python has told its own C library what is to be done.
void interrupt() {
  HMODULE library = GetModuleHandleA("msvcr90.dll");
  auto *const raise = reinterpret_cast<int (*)(int)>(findSymbol(library, "raise"));
  if (raise)
    raise(SIGINT);
}

std::size_t allocatedBytes() {
  std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
  heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
  std::size_t bytes = 0;
  for (HANDLE heap : heaps) {
    PROCESS_HEAP_ENTRY entry = {};
    while (HeapWalk(heap, &entry))
      if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY)
        bytes += entry.cbData;
  }
  return bytes;
}

std::size_t residentBytes() {
  PROCESS_MEMORY_COUNTERS counters = {};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters.PagefileUsage; // what is the process's own
}

bool isUnderMemoryChecker() { return false; }

bool runApart(const std::function<void()> &work, void *, std::size_t) {
  work();
  return true;
}

#else

void *openAgain(const char *name) { return dlopen(name, RTLD_LAZY | RTLD_NOLOAD); }

void *openVisible(const std::string &name) { return dlopen(name.c_str(), RTLD_LAZY | RTLD_GLOBAL); }

bool isVisible(const char *symbol) { return dlsym(RTLD_DEFAULT, symbol) != nullptr; }

// Init makes them visible, and others may do so before.
void *findPythonSymbol(const char *name) {
  if (void *const symbol = dlsym(RTLD_DEFAULT, name))
    return symbol;
  dlopen(kPythonLibrary, RTLD_LAZY | RTLD_NOLOAD | RTLD_GLOBAL);
  return dlsym(RTLD_DEFAULT, name);
}

void setVariable(const char *name, const std::string &value) { setenv(name, value.c_str(), 1); }

void interrupt() { std::raise(SIGINT); }

std::size_t allocatedBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

std::size_t residentBytes() {
  std::size_t size = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

bool isUnderMemoryChecker() {
#ifdef __SANITIZE_ADDRESS__
  return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
  return true;
#endif
#endif
  const char *const preloaded = std::getenv("LD_PRELOAD");
  return preloaded && std::strstr(preloaded, "vgpreload");
}

bool runApart(const std::function<void()> &work, void *shared, std::size_t size) {
  void *const passage =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    work();
    std::memcpy(passage, shared, size);
    std::fflush(nullptr);
    _exit(0);
  }
  int status = -1;
  const bool endedWell = waitpid(child, &status, 0) == child && status == 0;
  std::memcpy(shared, passage, size);
  munmap(passage, size);
  return endedWell;
}

#endif

} // namespace platform
