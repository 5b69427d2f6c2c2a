#include "tests/macho/system.h"

#include <dlfcn.h>
#include <syslog.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string_view>
#include <utility>

// Of 64-bit ARM, functions with variable arguments: macOS hands over all of these on the stack, Linux
// in registers first. `bridge_NAME` takes the one and calls what `bridged_NAME` points at with the
// other; where macOS hands them over as Linux does, it calls straight on. The second argument is the
// number of those that are not variable.
#if defined(__aarch64__)
#define LOAD_AFTER_1 "ldp x1, x2, [sp]\nldp x3, x4, [sp, #16]\nldp x5, x6, [sp, #32]\n"
#define LOAD_AFTER_2 "ldp x2, x3, [sp]\nldp x4, x5, [sp, #16]\nldp x6, x7, [sp, #32]\n"
#define CALL_ON(name, fixed)                                                                       \
  LOAD_AFTER_##fixed "adrp x16, bridged_" #name "\nldr x16, [x16, :lo12:bridged_" #name            \
                     "]\nbr x16\n"
#else
#define CALL_ON(name, fixed) "jmpq *bridged_" #name "(%rip)\n"
#endif
#define BRIDGE(name, fixed)                                                                        \
  extern "C" {                                                                                     \
  __attribute__((visibility("hidden"))) void *bridged_##name = nullptr;                            \
  void bridge_##name();                                                                            \
  }                                                                                                \
  asm(".text\n.hidden bridge_" #name "\n.globl bridge_" #name "\nbridge_" #name                    \
      ":\n" CALL_ON(name, fixed));

BRIDGE(PyArg_ParseTuple, 2)
BRIDGE(Py_BuildValue, 1)
BRIDGE(syslog, 2)

namespace macho {

Self &self() {
  static Self self;
  return self;
}

namespace {

constexpr const char *kSystem = "/usr/lib/libSystem.B.dylib";

// A fault in the middle of the plug-in's work cannot be thrown through it.
[[noreturn]] void end(const char *what, const char *detail) {
  std::fprintf(stderr, "macOS on Linux: %s%s\n", what, detail);
  std::abort();
}

std::uintptr_t gStackGuard = 0x2d6b3a90c51e7f00;

void *openLibrary(const char *name, int mode) {
  try {
    return dlopen(libraryHere(name).c_str(), modeHere(mode));
  } catch (const Error &error) {
    end("dlopen: ", error.what());
  }
}

template <class Function> void *address(Function *function) {
  return reinterpret_cast<void *>(function);
}

// The places of libraries that are open already stand for themselves: those which macOS gives a
// number instead, it numbers otherwise.
void *findSymbol(void *library, const char *name) {
  const auto number = reinterpret_cast<std::intptr_t>(library);
  if (number <= 0 && number != -2)
    end("dlsym: unknown kind of library for ", name);
  void *const found = dlsym(number == -2 ? RTLD_DEFAULT : library, name);
  using Bridge = std::pair<void **, void (*)()>;
  static const std::map<std::string_view, Bridge> bridges = {
      {"PyArg_ParseTuple", {&bridged_PyArg_ParseTuple, bridge_PyArg_ParseTuple}},
      {"Py_BuildValue", {&bridged_Py_BuildValue, bridge_Py_BuildValue}},
  };
  const auto bridge = bridges.find(name);
  if (!found || bridge == bridges.end())
    return found;
  const auto &[bridged, function] = bridge->second;
  *bridged = found;
  return address(function);
}

// The structure is the same on both systems.
int tellPlace(const void *place, Dl_info *info) {
  if (!self().image || !self().image->contains(place))
    end("dladdr: ", "an address outside of the plug-in");
  *info = {self().file.c_str(), nullptr, nullptr, nullptr};
  return 1;
}

[[noreturn]] void refuseLateBinding() { end("dyld_stub_binder: ", "everything is bound already"); }

} // namespace

void *systemSymbol(const std::string &library, const std::string &symbol) {
  if (library != kSystem)
    throw Error("it needs " + library);
  static const std::map<std::string_view, void *> own = {
      {"_dladdr", address(tellPlace)},
      {"_dlopen", address(openLibrary)},
      {"_dlsym", address(findSymbol)},
      {"_syslog", address(bridge_syslog)},
      {"dyld_stub_binder", address(refuseLateBinding)},
      {"___stack_chk_guard", &gStackGuard},
  };
  static const std::map<std::string_view, const char *> sameHere = {
      {"_access", "access"},
      {"_memchr", "memchr"},
      {"_realpath$DARWIN_EXTSN", "realpath"},
      {"_calloc", "calloc"},
      {"_dlclose", "dlclose"},
      {"_free", "free"},
      {"_malloc", "malloc"},
      {"_memcpy", "memcpy"},
      {"_memmove", "memmove"},
      {"_memset", "memset"},
      {"_puts", "puts"},
      {"_strlen", "strlen"},
      {"_strncmp", "strncmp"},
      {"___stack_chk_fail", "__stack_chk_fail"},
  };
  if (symbol == "_syslog")
    bridged_syslog = dlsym(RTLD_DEFAULT, "syslog");
  if (const auto found = own.find(symbol); found != own.end())
    return found->second;
  const auto found = sameHere.find(symbol);
  void *const here = found == sameHere.end() ? nullptr : dlsym(RTLD_DEFAULT, found->second);
  if (!here)
    throw Error("it imports " + symbol);
  return here;
}

std::string libraryHere(const std::string &name) {
  if (name == "@rpath/libpython2.7.dylib")
    return "libpython2.7.so.1.0";
  if (name == self().file) {
    Dl_info info;
    if (dladdr(address(systemSymbol), &info))
      return info.dli_fname;
  }
  if (name.starts_with('/'))
    return name;
  throw Error("a library that macOS would look for in the current folder: " + name);
}

int modeHere(int macOs) {
  struct Bit {
    int macOs, here;
  };
  static constexpr Bit bits[] = {{0x1, RTLD_LAZY},   {0x2, RTLD_NOW},     {0x4, RTLD_LOCAL},
                                 {0x8, RTLD_GLOBAL}, {0x10, RTLD_NOLOAD}, {0x80, RTLD_NODELETE}};
  int here = macOs & 0x4 ? 0 : RTLD_GLOBAL; // which is what macOS does unless it is told not to
  for (const Bit &bit : bits) {
    if (macOs & bit.macOs)
      here |= bit.here;
    macOs &= ~bit.macOs;
  }
  if (macOs)
    throw Error("an unknown mode of dlopen: " + std::to_string(macOs));
  return here;
}

} // namespace macho
