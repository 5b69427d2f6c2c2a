#include "tests/redirect.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>
#endif

namespace redirect {

void *(*gLookUp)(void *, const char *, void *) = nullptr;
std::string gLogged;
std::string gAskedFor;

[[maybe_unused]] static void *answered(void *library, const char *name, void *found) {
  return gLookUp ? gLookUp(library, name, found) : found;
}

#if defined(_WIN32)

static FARPROC WINAPI lookUp(HMODULE library, const char *name) {
  return reinterpret_cast<FARPROC>(
      answered(library, name, reinterpret_cast<void *>(GetProcAddress(library, name))));
}

static void WINAPI log(const char *message) { gLogged += message; }

// The table through which a library calls what it imports.
static void replaceImport(char *library, const char *name, void *replacement) {
  const auto *const dos = reinterpret_cast<IMAGE_DOS_HEADER *>(library);
  const auto *const headers = reinterpret_cast<IMAGE_NT_HEADERS *>(library + dos->e_lfanew);
  const auto &directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  const auto *from =
      reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR *>(library + directory.VirtualAddress);
  for (; from->Name; ++from) {
    const auto *names = reinterpret_cast<IMAGE_THUNK_DATA *>(library + from->OriginalFirstThunk);
    auto *slots = reinterpret_cast<void **>(library + from->FirstThunk);
    for (; names->u1.AddressOfData; ++names, ++slots) {
      if (names->u1.Ordinal & IMAGE_ORDINAL_FLAG)
        continue;
      const auto *const import =
          reinterpret_cast<IMAGE_IMPORT_BY_NAME *>(library + names->u1.AddressOfData);
      DWORD protection = 0;
      if (std::strcmp(reinterpret_cast<const char *>(import->Name), name) != 0 ||
          !VirtualProtect(slots, sizeof *slots, PAGE_READWRITE, &protection))
        continue;
      *slots = replacement;
      VirtualProtect(slots, sizeof *slots, protection, &protection);
    }
  }
}

// Opened here first, the file stays where the host finds it.
void plugin(const std::string &file) {
  if (auto *const library = reinterpret_cast<char *>(LoadLibraryA(file.c_str()))) {
    replaceImport(library, "GetProcAddress", reinterpret_cast<void *>(lookUp));
    replaceImport(library, "OutputDebugStringA", reinterpret_cast<void *>(log));
  }
}

#else

// The plug-in finds the functions below before the C library's.
void plugin(const std::string &) {}

static void record(const char *format, std::va_list arguments) {
  char message[256];
  std::vsnprintf(message, sizeof message, format, arguments);
  gLogged += message;
}

#if !defined(QUILLIX_SANITIZE)
using LookUp = void *(*)(void *, const char *);

// The C library's own dlsym, under whichever version this architecture has it.
static LookUp realDlsym() {
  static LookUp found = [] {
    for (const char *version :
         {"GLIBC_2.34", "GLIBC_2.17", "GLIBC_2.4", "GLIBC_2.2.5", "GLIBC_2.0"})
      if (void *symbol = dlvsym(RTLD_NEXT, "dlsym", version))
        return reinterpret_cast<LookUp>(symbol);
    return LookUp{};
  }();
  return found;
}
#endif

#endif

} // namespace redirect

#if !defined(_WIN32)

extern "C" void syslog(int, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  redirect::record(format, arguments);
  va_end(arguments);
}

// By which a hardened build calls it.
extern "C" void __syslog_chk(int, int, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  redirect::record(format, arguments);
  va_end(arguments);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the header's are reserved
extern "C" int access(const char *path, int mode) noexcept {
  redirect::gAskedFor += std::string(path) + "\n";
  return faccessat(AT_FDCWD, path, mode, 0);
}

#if !defined(QUILLIX_SANITIZE)
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the header's are reserved
extern "C" void *dlsym(void *library, const char *name) noexcept {
  return redirect::answered(library, name, redirect::realDlsym()(library, name));
}
#endif

#endif
