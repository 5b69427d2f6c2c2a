// Every symbol of the Python library that the plug-in uses, each listed once and read several
// times: to declare the slots, to define them, to resolve them. The order is the order of
// resolution. Give each macro below the macros that say what to do with one symbol:
//   FUNCTION(PyTuple_New)        a function                     slot EPyTuple_New
//   OBJECT(Py_TrueStruct)        the object _Py_TrueStruct      slot e__Py_TrueStruct
//   TYPE(PyFloat_Type)           a type object                  slot e__PyFloat_Type
//   EXCEPTION(TypeError)         the variable PyExc_TypeError   slot e__PyExc_TypeError
#pragma once

// Groups 1 to 3 must be complete for the library to be usable. Of these, PyTuple_GetItem is not
// called: what it does to an index in range stands in bridge/parameters.cpp.
#define QUILLIX_SYMBOLS_1(FUNCTION) FUNCTION(Py_Initialize)

#define QUILLIX_SYMBOLS_2(FUNCTION, OBJECT)                                                        \
  FUNCTION(Py_IsInitialized)                                                                       \
  FUNCTION(PySys_GetObject)                                                                        \
  FUNCTION(PyList_Append)                                                                          \
  FUNCTION(PyString_FromStringAndSize)                                                             \
  FUNCTION(Py_SetProgramName)                                                                      \
  FUNCTION(PyErr_Clear)                                                                            \
  FUNCTION(Py_Finalize)                                                                            \
  FUNCTION(PyErr_Occurred)                                                                         \
  FUNCTION(PyErr_Fetch)                                                                            \
  FUNCTION(PyString_AsStringAndSize)                                                               \
  FUNCTION(PyImport_Import)                                                                        \
  FUNCTION(PyObject_HasAttrString)                                                                 \
  FUNCTION(PyObject_SetAttrString)                                                                 \
  FUNCTION(PyLong_FromLong)                                                                        \
  FUNCTION(PyObject_GetAttrString)                                                                 \
  FUNCTION(PyCallable_Check)                                                                       \
  FUNCTION(PyInt_AsLong)                                                                           \
  FUNCTION(PyLong_AsLongLong)                                                                      \
  FUNCTION(PyLong_FromLongLong)                                                                    \
  FUNCTION(PyLong_AsUnsignedLongLong)                                                              \
  FUNCTION(PyLong_FromUnsignedLongLong)                                                            \
  FUNCTION(PyTuple_New)                                                                            \
  FUNCTION(PyTuple_GetItem)                                                                        \
  FUNCTION(PyTuple_SetItem)                                                                        \
  FUNCTION(PyInt_FromLong)                                                                         \
  FUNCTION(PyObject_CallObject)                                                                    \
  FUNCTION(PyArg_ParseTuple)                                                                       \
  FUNCTION(Py_BuildValue)                                                                          \
  FUNCTION(PySys_SetObject)                                                                        \
  FUNCTION(PyImport_ReloadModule)                                                                  \
  FUNCTION(Py_InitModule4)                                                                         \
  FUNCTION(PyFloat_FromDouble)                                                                     \
  FUNCTION(PyCapsule_New)                                                                          \
  FUNCTION(PyEval_CallObjectWithKeywords)                                                          \
  FUNCTION(PyTuple_Size)                                                                           \
  FUNCTION(PyType_IsSubtype)                                                                       \
  FUNCTION(PyObject_IsTrue)                                                                        \
  FUNCTION(PyFloat_AsDouble)                                                                       \
  FUNCTION(PyCapsule_GetPointer)                                                                   \
  FUNCTION(PyErr_SetString)                                                                        \
  FUNCTION(PyModule_GetDict)                                                                       \
  FUNCTION(PyDict_New)                                                                             \
  FUNCTION(PyClass_New)                                                                            \
  FUNCTION(PyDict_SetItemString)                                                                   \
  FUNCTION(PyCFunction_NewEx)                                                                      \
  FUNCTION(PyMethod_New)                                                                           \
  FUNCTION(PyDict_Clear)                                                                           \
  FUNCTION(PyDict_Size)                                                                            \
  FUNCTION(PyDict_GetItem)                                                                         \
  FUNCTION(PyDict_Contains)                                                                        \
  FUNCTION(PyDict_SetItem)                                                                         \
  OBJECT(Py_TrueStruct)

#define QUILLIX_SYMBOLS_3(OBJECT) OBJECT(Py_ZeroStruct)

// Group 4 may be incomplete: an exception class that is not there cannot be raised, an object of
// a type that is not there passes no test.
#define QUILLIX_TYPES(TYPE)                                                                        \
  TYPE(PyFloat_Type)                                                                               \
  TYPE(PyString_Type)                                                                              \
  TYPE(PyBool_Type)                                                                                \
  TYPE(PyCapsule_Type)                                                                             \
  TYPE(PyDict_Type)                                                                                \
  TYPE(PyTuple_Type)                                                                               \
  TYPE(PyList_Type)

// In the order of their numbers in PythonErrorTypes, from 1.
#define QUILLIX_EXCEPTIONS(EXCEPTION)                                                              \
  EXCEPTION(AssertionError)                                                                        \
  EXCEPTION(AttributeError)                                                                        \
  EXCEPTION(EOFError)                                                                              \
  EXCEPTION(FloatingPointError)                                                                    \
  EXCEPTION(IOError)                                                                               \
  EXCEPTION(ImportError)                                                                           \
  EXCEPTION(IndexError)                                                                            \
  EXCEPTION(KeyError)                                                                              \
  EXCEPTION(KeyboardInterrupt)                                                                     \
  EXCEPTION(MemoryError)                                                                           \
  EXCEPTION(NameError)                                                                             \
  EXCEPTION(NotImplementedError)                                                                   \
  EXCEPTION(OSError)                                                                               \
  EXCEPTION(OverflowError)                                                                         \
  EXCEPTION(RuntimeError)                                                                          \
  EXCEPTION(SyntaxError)                                                                           \
  EXCEPTION(SystemError)                                                                           \
  EXCEPTION(SystemExit)                                                                            \
  EXCEPTION(TypeError)                                                                             \
  EXCEPTION(ValueError)                                                                            \
  EXCEPTION(ZeroDivisionError)                                                                     \
  EXCEPTION(ReferenceError)

#define QUILLIX_SYMBOLS_4(TYPE, EXCEPTION)                                                         \
  QUILLIX_TYPES(TYPE)                                                                              \
  QUILLIX_EXCEPTIONS(EXCEPTION)

// Extras: a library that lacks one is used without it, and without what it is good for. Whoever
// calls one asks whether it is there.
#define QUILLIX_EXTRA_SYMBOLS(FUNCTION, TYPE)                                                      \
  FUNCTION(PyErr_Restore)                                                                          \
  FUNCTION(PyErr_CheckSignals)                                                                     \
  FUNCTION(PyEval_GetFrame)                                                                        \
  FUNCTION(Py_AtExit)                                                                              \
  FUNCTION(PyObject_GC_Track)                                                                      \
  FUNCTION(PyObject_GC_UnTrack)                                                                    \
  TYPE(PyInstance_Type)

// Resolved when the first list or dictionary comes to life.
#define QUILLIX_LIST_SYMBOLS(FUNCTION)                                                             \
  FUNCTION(PyList_New)                                                                             \
  FUNCTION(PyList_Size)                                                                            \
  FUNCTION(PyList_Insert)                                                                          \
  FUNCTION(PyList_GetItem)                                                                         \
  FUNCTION(PyList_SetItem)                                                                         \
  FUNCTION(PyList_AsTuple)                                                                         \
  FUNCTION(PyList_Sort)                                                                            \
  FUNCTION(PyList_Reverse)

#define QUILLIX_DICTIONARY_SYMBOLS(FUNCTION)                                                       \
  FUNCTION(PyDict_DelItem)                                                                         \
  FUNCTION(PyDict_Keys)                                                                            \
  FUNCTION(PyDict_Values)
