// A library with the symbols of Python 2.7 that the plug-in looks up, and hardly anything behind
// them. It is built once for each symbol to be left out: a definition of that symbol's name as
// another one (-DPyDict_SetItem=omitted_symbol) takes the symbol away.
//
// Every function of it counts the call and gives one answer, whatever its name and type are. That
// the answer is null makes it a Python in which everything fails.
#include "python/symbols.h"

#include <cstdint>

#if defined(_WIN32)
#define EXPORT extern "C" __declspec(dllexport)
#else
#define EXPORT extern "C" __attribute__((visibility("default")))
#endif

// For the test: how often a function was called, and the answer.
EXPORT int stub_calls;
EXPORT void *stub_answer;
int stub_calls = 0;
void *stub_answer = nullptr;

// A 64-bit Python 2.7 exports the function under this name, so that a module built for a 32-bit
// one does not load.
#if UINTPTR_MAX > 0xffffffffU
#define Py_InitModule4 Py_InitModule4_64
#endif

static void *answer() {
  ++stub_calls;
  return stub_answer;
}

#define FUNCTION(name)                                                                             \
  EXPORT void *name() { return answer(); }

// As much of an object as the plug-in may look at by itself: a reference count far from 0 and, in
// the place of a type, one with all flags clear.
struct Object {
  std::uintptr_t references;
  const void *type;
  std::uintptr_t rest[128];
};
#define VARIABLE(name)                                                                             \
  EXPORT Object name;                                                                              \
  Object name = {1000000, &name, {}};
#define OBJECT(name) VARIABLE(_##name)
#define EXCEPTION(name) VARIABLE(PyExc_##name)

QUILLIX_SYMBOLS_1(FUNCTION)
QUILLIX_SYMBOLS_2(FUNCTION, OBJECT)
QUILLIX_SYMBOLS_3(OBJECT)
QUILLIX_SYMBOLS_4(VARIABLE, EXCEPTION)
QUILLIX_LIST_SYMBOLS(FUNCTION)
QUILLIX_DICTIONARY_SYMBOLS(FUNCTION)
