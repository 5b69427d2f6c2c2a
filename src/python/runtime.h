// What the python room shows the others: the slots, owned references, the gate that tells whether
// there is an interpreter to talk to, and the interpreter's own operations.
#pragma once

#include <cassert>
#include <cstdint>
#include <utility>

#include "boundary/host.h"
#include "python/slots.h"

// For the optimiser; held against the facts where assertions are.
inline void assume(bool holds) {
  assert(holds);
  if (!holds) {
    __builtin_unreachable();
  }
}

// --- The gate ---

// Which interpreter runs: each start counts one up, so that an object can be told from one that an
// earlier interpreter left behind. kNoInterpreter while none runs.
inline constexpr std::uintptr_t kNoInterpreter = UINTPTR_MAX;
extern std::uintptr_t gInterpreter;

inline bool interpreterRuns() { return gInterpreter != kNoInterpreter; }

// True from the end of Init until the interpreter stops. Written there and at load, read by the
// destructors that release a held object; everything else asks the gate.
extern bool gPythonInitialized;

// Whether modules can be imported, reloaded and made. While the interpreter is being taken apart
// the gate is open still, for the code that runs then, but Python aborts when it is asked for one.
inline bool interpreterHasModules() { return interpreterRuns() && EPy_IsInitialized(); }

// How many calls into Python are under way, one inside the other. The interpreter is neither
// started nor stopped under any of them.
extern int gPythonCalls;

// Marks a call into Python. Nearly all may run Python code, and with it host code that Python
// calls: making an object may collect garbage, raising an error lets go of the one before.
class PythonCall {
public:
  PythonCall() { ++gPythonCalls; }
  ~PythonCall() { --gPythonCalls; }
  PythonCall(const PythonCall &) = delete;
  PythonCall &operator=(const PythonCall &) = delete;
};

// --- Owned references ---

// One owned reference to a Python object, or null. Borrowed references are plain pointers; a call
// that steals one is handed release(). Nothing else in the plug-in decrements a count.
//
// An object may run code of its own as it goes, so a PyRef ends inside a PythonCall.
class PyRef {
public:
  PyRef() = default;
  // Takes over a new reference.
  explicit PyRef(PyObject *owned) : object_(owned) {}
  // A reference of its own to a borrowed object.
  static PyRef share(PyObject *borrowed) {
    Py_XINCREF(borrowed);
    return PyRef(borrowed);
  }
  PyRef(PyRef &&other) noexcept : object_(other.release()) {}
  PyRef &operator=(PyRef &&other) noexcept {
    PyRef old(std::exchange(object_, other.release()));
    return *this;
  }
  ~PyRef() {
    if (object_ && --object_->ob_refcnt == 0) {
      assert(gPythonCalls > 0);
      Py_TYPE(object_)->tp_dealloc(object_);
    }
  }
  // Lets a reference go where no PythonCall need be under way.
  static void drop(PyObject *owned) {
    if (--owned->ob_refcnt == 0) {
      PythonCall call;
      Py_TYPE(owned)->tp_dealloc(owned);
    }
  }

  PyObject *get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  // Gives the reference away: to a stealing call, or to Python as a result.
  PyObject *release() { return std::exchange(object_, nullptr); }

private:
  PyObject *object_ = nullptr;
};

void Python_ClearError();

// --- Errors kept aside ---

// What comes up between finds no error and leaves none: the one that was pending is kept, and is
// there again afterwards. Inside a PythonCall.
class ErrorAside {
public:
  ErrorAside();
  ~ErrorAside();
  ErrorAside(const ErrorAside &) = delete;
  ErrorAside &operator=(const ErrorAside &) = delete;

private:
  PyObject *type_ = nullptr; // owned, all three
  PyObject *value_ = nullptr;
  PyObject *traceback_ = nullptr;
};

// Calls host code for Python in the middle of Python's own work, where nobody may touch its error
// state: while an exception unwinds, or inside a collection. As around a __del__, the exception in
// flight is kept, and no error of the host code stays. Inside a PythonCall, with an interpreter,
// which the host code may have let somebody stop.
template <class HostCode> inline void callAside(HostCode hostCode) {
  if (EPyErr_Occurred()) [[unlikely]] {
    ErrorAside aside;
    hostCode();
    return;
  }
  hostCode();
  if (!interpreterRuns() || EPyErr_Occurred()) [[unlikely]] {
    Python_ClearError();
  }
}

// --- Shared makers ---

// Sets MemoryError, if the library has it.
void raiseMemoryError(const char *message);

// Whether text of that many bytes can be a host string; sets MemoryError if not.
void raiseTextTooLong();
inline bool fitsHostString(std::size_t count) {
  if (count > INT32_MAX) [[unlikely]] {
    raiseTextTooLong();
    return false;
  }
  return true;
}

// A str of exactly these bytes; null with Python's error set when Python makes none.
inline PyRef newPythonString(std::string_view bytes) {
  return PyRef(EPyString_FromStringAndSize(bytes.data(), static_cast<Py_ssize_t>(bytes.size())));
}

// The same of a host string's bytes; the empty str for nil.
inline PyRef newPythonString(REALstring string) { return newPythonString(bytesOf(string)); }

// A new host string of Python's text; the caller owns its lock. Nil when the host makes none, and,
// with MemoryError set, for more than a host string can hold.
inline REALstring newString(const char *bytes, std::size_t count) {
  return fitsHostString(count)
             ? REALBuildStringWithEncoding(bytes, static_cast<std::int32_t>(count), kEncodingUTF8)
             : nullptr;
}

// None, which stays at its address in the library whichever interpreter runs; null until needed.
extern PyObject *gNone;
void findNone(); // or leaves it null, with Python's error set

// A new reference to None; null with Python's error set when Python fails.
inline PyRef newNone() {
  if (!gNone) [[unlikely]] {
    findNone();
  }
  return PyRef::share(gNone);
}

// --- Interpreter ---

// Opens the gate to the interpreter that runs. Python calls `whenStopped` as the last of its own
// work, whoever stops the interpreter.
void openGate(void (*whenStopped)());
void closeGate();

// Keeps for good what later interpreters count references to though it belongs to this one or to one
// before. To be called before it is stopped, or right after the next has been started, inside a
// PythonCall, with no error pending; leaves none.
void keepWhatOutlivesIt();

// Whether somebody else has stopped the interpreter and Python could not tell.
bool stopWasMissed();

// Starts Python; false where its standard library is not there, which would end the process, and
// which the system log is told. One that the application ships lives in its own folder: nothing of the
// machine's settings reaches it.
bool startInterpreter();

// Keeps a copy of the name for good, as Python does.
void setProgramName(std::string_view name);

void Python_AddSearchPath(REALobject folder);
REALboolean Python_IsFound();

// --- Error state ---

REALboolean Python_ErrorOccurred();
REALstring Python_GetError(); // the caller owns the string's lock
void Python_SetTypeError(std::int32_t errorType, REALstring message);

// --- Console ---

// The object whose ConsoleOutput event receives what Python prints; locked once, or nil.
extern REALobject consoleOutputInstance;

void Python_SetConsoleOutput(REALobject output);

// Makes the module "aview" and puts it in the place of sys.stdout.
QUILLIX_EXPORT void initaview();
