// The interpreter's life: started and stopped by host code, at any time and as often as it likes.

#include <cstdlib>
#include <cstring>

#include "python/runtime.h"

bool gPythonInitialized = false;
std::uintptr_t gInterpreter = kNoInterpreter;
int gPythonCalls = 0;
PyObject *gNone = nullptr;
REALobject gRegisteredModules = nullptr;

namespace {

std::uintptr_t gInterpreterCount = 0;

void openGate() { gInterpreter = ++gInterpreterCount; }

// Python keeps the pointer to its program name for good, so every name given stays allocated, and
// reachable, which tells it from a leak.
struct ProgramName {
  ProgramName *previous;
  char bytes[1]; // as many as the name has, and a NUL
};

ProgramName *gProgramNames = nullptr;

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

} // namespace

void findNone() { gNone = PyRef(EPy_BuildValue("")).get(); }

void Python_InitWithName(REALstring applicationName) {
  if (gPythonFound) {
    setProgramName(bytesOf(applicationName));
  }
  Python_Init();
}

void Python_Init() {
  if (!gPythonFound || gPythonCalls > 0) {
    return;
  }
  if (EPy_IsInitialized()) {
    if (!interpreterRuns()) {
      openGate(); // somebody else's interpreter: used as it is, and not marked as ours
    }
    return;
  }
  PythonCall starting;
  EPy_Initialize();
  initaview();
  gPythonInitialized = true;
  openGate();
}

void Python_Finalize() {
  if (!gPythonFound || gPythonCalls > 0) {
    return;
  }
  if (!EPy_IsInitialized()) {
    gInterpreter = kNoInterpreter; // should somebody else have stopped it
    return;
  }
  {
    PythonCall stopping;
    EPyErr_Clear();
    EPy_Finalize();
    gPythonInitialized = false;
    gInterpreter = kNoInterpreter;
  }
  // Both give back locks, which may run host code that starts the interpreter anew.
  REALobject modules = std::exchange(gRegisteredModules, nullptr);
  ReleaseCapsulesOfStoppedInterpreter();
  EUnlockObject(modules);
}

void Python_AddSearchPath(REALobject folder) {
  PythonCall call; // from the start: reading the property may run host code
  REALstring path = nullptr;
  if (!interpreterRuns() || !folder || !REALGetPropValueString(folder, "NativePath", &path)) {
    return;
  }
  StringLock ownedPath = StringLock::adopt(path);
  if (PyObject *searchPath = EPySys_GetObject(const_cast<char *>("path"))) {
    if (PyRef entry = newPythonString(path)) {
      EPyList_Append(searchPath, entry.get());
    }
  }
}

REALboolean Python_IsFound() { return gPythonFound; }
