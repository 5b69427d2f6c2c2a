// A library with the symbols of Python 2.7 that the plug-in looks up, and nothing behind them. It is
// built once for each symbol to be left out: a definition of that symbol's name as another one
// (-DPyDict_SetItem=omitted_symbol) takes the symbol away.
#include "python/symbols.h"

#include <cstdint>

#define EXPORT extern "C" __attribute__((visibility("default")))

// A 64-bit Python 2.7 exports the function under this name, so that a module built for a 32-bit
// one does not load.
#if UINTPTR_MAX > 0xffffffffU
#define Py_InitModule4 Py_InitModule4_64
#endif

#define FUNCTION(name)                                                                             \
  EXPORT void *name();                                                                             \
  void *name() { return nullptr; }
#define VARIABLE(name)                                                                             \
  EXPORT void *name;                                                                               \
  void *name;
#define OBJECT(name) VARIABLE(_##name)
#define EXCEPTION(name) VARIABLE(PyExc_##name)

QUILLIX_SYMBOLS_1(FUNCTION)
QUILLIX_SYMBOLS_2(FUNCTION, OBJECT)
QUILLIX_SYMBOLS_3(OBJECT)
QUILLIX_SYMBOLS_4(VARIABLE, EXCEPTION)
QUILLIX_LIST_SYMBOLS(FUNCTION)
QUILLIX_DICTIONARY_SYMBOLS(FUNCTION)
