// What the fuzzer looks at in Python for itself, behind the plug-in's back.
#pragma once

#include <Python.h>

#include "tests/platform.h"

// A function or variable of the Python library that the plug-in opened: PY(PyErr_Clear)().
#define QUILLIX_QUOTE(symbol) #symbol
#define QUILLIX_NAME(symbol) QUILLIX_QUOTE(symbol)
#define PY(symbol)                                                                                 \
  ([] {                                                                                            \
    static void *const address = platform::findPythonSymbol(QUILLIX_NAME(symbol));                 \
    return reinterpret_cast<decltype(&symbol)>(address);                                           \
  }())
