// The gate to the interpreter, and what host code sets in it; src/plugin/lifetime.cpp opens and
// closes it.

#include <cstdlib>
#include <cstring>

#include "python/runtime.h"

bool gPythonInitialized = false;
std::uintptr_t gInterpreter = kNoInterpreter;
int gPythonCalls = 0;
PyObject *gNone = nullptr;

namespace {

std::uintptr_t gInterpreterCount = 0;

// Whether Python has promised to say when the interpreter stops.
bool gStopIsTold = false;

// Python keeps the pointer to its program name for good, so every name given stays allocated, and
// reachable, which tells it from a leak.
struct ProgramName {
  ProgramName *previous;
  char bytes[1]; // as many as the name has, and a NUL
};

ProgramName *gProgramNames = nullptr;

} // namespace

void openGate(void (*whenStopped)()) {
  gInterpreter = ++gInterpreterCount;
  platform::stayLoaded(); // Python keeps pointers to functions of the plug-in
  gStopIsTold = EPy_AtExit && EPy_AtExit(whenStopped) == 0;
}

void closeGate() {
  gPythonInitialized = false;
  gInterpreter = kNoInterpreter;
}

// The class is looked for among all that are alive: host code may have taken _ctypes out of
// sys.modules. Any other of that name directly below Exception is kept along with it.
void keepWhatOutlivesIt() {
  if (!platform::kCtypesNeedsItsOldClass || !e__PyExc_ValueError || !*e__PyExc_ValueError) {
    return;
  }
  PyTypeObject *standardError = reinterpret_cast<PyTypeObject *>(*e__PyExc_ValueError)->tp_base;
  PyTypeObject *exception = standardError ? standardError->tp_base : nullptr;
  PyRef ask(exception
                ? EPyObject_GetAttrString(reinterpret_cast<PyObject *>(exception), "__subclasses__")
                : nullptr);
  PyRef classes(ask ? EPyObject_CallObject(ask.get(), nullptr) : nullptr);
  for (Py_ssize_t i = 0; classes && i < PyList_GET_SIZE(classes.get()); ++i) {
    PyObject *each = PyList_GET_ITEM(classes.get(), i);
    if (std::strcmp(reinterpret_cast<PyTypeObject *>(each)->tp_name, "COMError") == 0) {
      PyRef::share(each).release();
    }
  }
  EPyErr_Clear();
}

bool stopWasMissed() { return interpreterRuns() && !gStopIsTold && !EPy_IsInitialized(); }

void findNone() { gNone = PyRef(EPy_BuildValue("")).get(); }

void setProgramName(std::string_view name) {
  auto *copy = static_cast<ProgramName *>(std::malloc(sizeof(ProgramName) + name.size()));
  if (!copy) {
    return;
  }
  std::memcpy(copy->bytes, name.data(), name.size());
  copy->bytes[name.size()] = '\0';
  copy->previous = std::exchange(gProgramNames, copy);
  EPy_SetProgramName(copy->bytes);
}

void Python_AddSearchPath(REALobject folder) {
  PythonCall call; // from the start: reading the property may run host code
  REALstring path = nullptr;
  if (!interpreterRuns() || !folder || !REALGetPropValueString(folder, "NativePath", &path)) {
    return;
  }
  StringLock ownedPath(path);
  if (PyObject *searchPath = EPySys_GetObject(const_cast<char *>("path"))) {
    char buffer[platform::kLongestPath];
    if (PyRef entry = newPythonString(platform::pathForPython(bytesOf(path), buffer))) {
      EPyList_Append(searchPath, entry.get());
    }
  }
}

REALboolean Python_IsFound() { return gPythonFound; }
