// Where Python is looked for. The plug-in opens what is found; quillix-host tells how it came to that.
#pragma once

#include "boundary/platform.h"

enum class Seen {
  Nothing,        // there is no such folder or file
  NoLibrary,      // a folder of a shipped Python without its library
  NoModules,      // one without its standard library
  CannotBeOpened, // a library that the system refuses, of another processor for instance
  IsTaken,
};

struct PythonPlace {
  void *library = nullptr;
  platform::Path file; // by which it was opened: a path, or the bare name
  platform::Path home; // of a Python that the application ships; else none
};

// Looks, in this order, for a Python that the application ships, in folders that are known from the
// path of the plug-in's file; for the bare name, by the system's own rules; and where installers put
// it. Opens the first library that is there, which the caller closes, or none. `tell` hears of every
// place in turn.
PythonPlace findPython(const platform::Path &plugin, void (*tell)(const platform::Path &, Seen));
