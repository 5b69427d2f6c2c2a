// The interpreter's life: started and stopped by host code, at any time and as often as it likes,
// and what that means in each room.

#include "plugin/plugin.h"

namespace {

// Whoever stops the interpreter, Python calls this then. Host code must not run here, so locks are
// given back later.
void interpreterStopped() {
  closeGate();
  RetirePublishedFunctions();
}

// Gives back the locks that were kept for an interpreter that has stopped. Host code may run, and
// start one anew.
void releaseWhatItKept() {
  REALobject modules = std::exchange(gRegisteredModules, nullptr);
  ReleaseCapsulesOfStoppedInterpreter();
  unlockIfAny(modules);
}

} // namespace

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
  if (stopWasMissed()) {
    interpreterStopped();
  }
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
  platform::makeVisible(gPythonPlace.file.text()); // to Python's extension modules
  if (EPy_IsInitialized()) {
    openGate(
        interpreterStopped); // somebody else's interpreter: used as it is, and not marked as ours
    return;
  }
  PythonCall starting;
  if (!startInterpreter()) {
    return;
  }
  keepWhatOutlivesIt(); // of an interpreter that somebody else has stopped
  initaview();
  gPythonInitialized = true;
  openGate(interpreterStopped);
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
    keepWhatOutlivesIt();
    EPy_Finalize();
    interpreterStopped();
  }
  if (stopWasMissed()) {
    interpreterStopped();
  }
  if (!interpreterRuns()) { // else somebody else is just taking it apart
    releaseWhatItKept();
  }
}
