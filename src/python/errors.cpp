// Python's pending error, read, raised and cleared by host code. The error lives in the
// interpreter; nothing of it is kept here.

#include <cstring>

#include "python/runtime.h"

namespace {

// The exception variables by their number in PythonErrorTypes. What a slot points to is read each
// time: the library fills its variables when the interpreter starts.
#define EXCEPTION_SLOT(name) &e__PyExc_##name,
decltype(&e__PyExc_AssertionError) const kExceptions[] = {QUILLIX_EXCEPTIONS(EXCEPTION_SLOT)};

#define EXCEPTION_NUMBER(name) k##name,
enum ErrorType : std::int32_t { kNoException, QUILLIX_EXCEPTIONS(EXCEPTION_NUMBER) kErrorTypeEnd };

// The text of an error's value up to its first NUL; the empty string for none. A value that is no
// text leaves Python's complaint about it pending.
REALstring textOf(PyObject *value) {
  char *bytes = nullptr;
  Py_ssize_t count = 0;
  if (!value || EPyString_AsStringAndSize(value, &bytes, &count) == -1) {
    return nullptr;
  }
  return newString(bytes, std::strlen(bytes));
}

} // namespace

// An error that could not be given back is left where it is.
ErrorAside::ErrorAside() {
  if (EPyErr_Restore) {
    EPyErr_Fetch(&type_, &value_, &traceback_);
  }
}

ErrorAside::~ErrorAside() {
  if (EPyErr_Restore && interpreterRuns()) {
    EPyErr_Restore(type_, value_, traceback_); // steals them, and lets go of what is there
  }
}

void raiseMemoryError(const char *message) {
  if (e__PyExc_MemoryError) {
    EPyErr_SetString(*e__PyExc_MemoryError, message);
  }
}

void raiseTextTooLong() { raiseMemoryError("the text is too long for a string of the host"); }

REALboolean Python_ErrorOccurred() { return interpreterRuns() && EPyErr_Occurred(); }

REALstring Python_GetError() {
  if (!interpreterRuns()) {
    return nullptr;
  }
  PythonCall call;
  PyObject *type = nullptr;
  PyObject *value = nullptr;
  PyObject *traceback = nullptr;
  EPyErr_Fetch(&type, &value, &traceback);
  PyRef ownedType(type);
  PyRef ownedValue(value);
  PyRef ownedTraceback(traceback);
  return textOf(value);
}

void Python_ClearError() {
  if (interpreterRuns()) {
    PythonCall call;
    EPyErr_Clear();
  }
}

void Python_SetTypeError(std::int32_t errorType, REALstring message) {
  if (!interpreterRuns() || errorType <= kNoException || errorType >= kErrorTypeEnd) {
    return;
  }
  if (PyObject **exception = *kExceptions[errorType - 1]) {
    PythonCall call;
    EPyErr_SetString(*exception, bytesOf(message).data());
  }
}

// --- Module PythonErrorTypes ---

using declare::constant;

static REALconstant PythonErrorTypesConstants[] = {
    constant<"AssertionError = 1", kAssertionError>(),
    constant<"AttributeError = 2", kAttributeError>(),
    constant<"EOFError = 3", kEOFError>(),
    constant<"FloatingPointError = 4", kFloatingPointError>(),
    constant<"IOError = 5", kIOError>(),
    constant<"ImportError = 6", kImportError>(),
    constant<"IndexError = 7", kIndexError>(),
    constant<"KeyError = 8", kKeyError>(),
    constant<"KeyboardInterrupt = 9", kKeyboardInterrupt>(),
    constant<"MemoryError = 10", kMemoryError>(),
    constant<"NameError = 11", kNameError>(),
    constant<"NotImplementedError = 12", kNotImplementedError>(),
    constant<"OSError = 13", kOSError>(),
    constant<"OverflowError = 14", kOverflowError>(),
    constant<"RuntimeError = 15", kRuntimeError>(),
    constant<"SyntaxError = 16", kSyntaxError>(),
    constant<"SystemError = 17", kSystemError>(),
    constant<"SystemExit = 18", kSystemExit>(),
    constant<"TypeError = 19", kTypeError>(),
    constant<"ValueError = 20", kValueError>(),
    constant<"ZeroDivisionError = 21", kZeroDivisionError>(),
    constant<"ReferenceError = 22", kReferenceError>(),
};

REALmoduleDefinition PythonErrorTypesModule = {
    .name = "PythonErrorTypes",
    .constants = PythonErrorTypesConstants,
};
