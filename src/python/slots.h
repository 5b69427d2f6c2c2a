// The Python API slots: one global per symbol of python/symbols.h, typed by Python's own header and
// filled at run time. Nothing else in the plug-in names a Python function or object; the linker
// refuses whatever would.
//
// A function slot is "E" and the symbol's name. A data slot is "e__" and the symbol's name without
// its leading underscore, and holds the symbol's address: of the object or type itself, but of the
// variable that holds an exception class.
#pragma once

#include <Python.h>

#include "python/search.h"
#include "python/symbols.h"

// Where the header renames a function (Py_InitModule4), its type is taken under the new name while
// the slot keeps the old one.
#define QUILLIX_DECLARE_FUNCTION(name) extern decltype(&::name) E##name;
#define QUILLIX_DECLARE_OBJECT(name) extern decltype(&::_##name) e__##name;
#define QUILLIX_DECLARE_TYPE(name) extern decltype(&::name) e__##name;
#define QUILLIX_DECLARE_EXCEPTION(name) extern decltype(&::PyExc_##name) e__PyExc_##name;

QUILLIX_SYMBOLS_1(QUILLIX_DECLARE_FUNCTION)
QUILLIX_SYMBOLS_2(QUILLIX_DECLARE_FUNCTION, QUILLIX_DECLARE_OBJECT)
QUILLIX_SYMBOLS_3(QUILLIX_DECLARE_OBJECT)
QUILLIX_SYMBOLS_4(QUILLIX_DECLARE_TYPE, QUILLIX_DECLARE_EXCEPTION)
QUILLIX_EXTRA_SYMBOLS(QUILLIX_DECLARE_FUNCTION, QUILLIX_DECLARE_TYPE)
QUILLIX_LIST_SYMBOLS(QUILLIX_DECLARE_FUNCTION)
QUILLIX_DICTIONARY_SYMBOLS(QUILLIX_DECLARE_FUNCTION)

#undef QUILLIX_DECLARE_FUNCTION
#undef QUILLIX_DECLARE_OBJECT
#undef QUILLIX_DECLARE_TYPE
#undef QUILLIX_DECLARE_EXCEPTION

// True while the library is open and has all that it must have.
extern bool gPythonFound;

// The open library, or null. Never closed once the plug-in has loaded.
extern void *PythonDLLHandle;

// How it was found.
extern PythonPlace gPythonPlace;

// Opens the Python library, fills the slots and sets gPythonFound. Yields the handle, or null when
// there is no usable library; then no slot keeps an address in one.
void *LoadPythonLibrary();

// Whether code of a Python that is not 2.7 stands in this program where every library finds it.
// Then the library of 2.7, opened now or called for the first time, would be bound to functions of
// that one; it must not be used, which the system log is told.
bool otherPythonIsVisible();

// Fill the slots that lists and dictionaries use beside the main ones. All or none: where the
// library lacks one of a set, or there is no library, the whole set stays null.
void PythonList_LoadAPI();
void PythonDictionary_LoadAPI();
