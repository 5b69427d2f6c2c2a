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

// Whether Python has promised to say when the interpreter stops.
bool gStopIsTold = false;

// The interpreter has stopped, whoever stopped it; Python calls this as the last of its own work.
// Host code must not run here, so locks are given back later.
void closeGate() {
  gPythonInitialized = false;
  gInterpreter = kNoInterpreter;
  RetirePublishedFunctions();
}

void openGate() {
  gInterpreter = ++gInterpreterCount;
  platform::stayLoaded(); // Python keeps pointers to functions of the plug-in
  gStopIsTold = EPy_AtExit && EPy_AtExit(closeGate) == 0;
}

// Somebody else may have stopped the interpreter, and Python could not tell.
void noticeStop() {
  if (interpreterRuns() && !gStopIsTold && !EPy_IsInitialized()) {
    closeGate();
  }
}

// Gives back the locks that were kept for an interpreter that has stopped. Host code may run, and
// start one anew.
void releaseWhatItKept() {
  REALobject modules = std::exchange(gRegisteredModules, nullptr);
  ReleaseCapsulesOfStoppedInterpreter();
  unlockIfAny(modules);
}

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
  noticeStop();
  if (!interpreterRuns()) {
    releaseWhatItKept(); // if somebody else stopped it
  }
  if (interpreterRuns()) {
    return;
  }
  if (otherPythonIsVisible()) {
    gPythonFound = false;
    return;
  }
  platform::makeVisible(platform::kPythonLibraryName); // to Python's extension modules
  if (EPy_IsInitialized()) {
    openGate(); // somebody else's interpreter: used as it is, and not marked as ours
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
  if (EPy_IsInitialized()) {
    if (EPyEval_GetFrame && EPyEval_GetFrame()) {
      return; // Python code is under way that somebody else runs
    }
    PythonCall stopping;
    // A signal that waits would be looked after by the first Python code that runs as Python stops,
    // and its exception would end that: threads would not be waited for.
    if (EPyErr_CheckSignals) {
      EPyErr_CheckSignals();
    }
    EPyErr_Clear();
    EPy_Finalize();
    closeGate();
  }
  noticeStop();
  if (!interpreterRuns()) { // else somebody else is just taking it apart
    releaseWhatItKept();
  }
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
