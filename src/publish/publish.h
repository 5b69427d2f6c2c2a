// What the publishing room shares: the descriptions of host modules and classes, as tables of host
// functions that Python reads.
#pragma once

#include "objects/objects.h"

extern REALclassDefinition PythonXojoModuleClass;
extern REALclassDefinition PythonXojoClassClass;

// The functions of one module or class, in Python's own layout. Python is given copies, because it
// keeps pointers into them; the names live as long as the table.
struct FunctionTable {
  std::uint32_t methodCount;     // slots, fixed by the constructor
  PyMethodDef *methods;          // methodCount + 1 entries, ended by a null name; null for no slots
  REALstring *names;             // methodCount strings, each locked once
  std::uint32_t registeredCount; // filled slots
};

struct PythonXojoClassData {
  FunctionTable functions;
};

struct PythonXojoModuleData {
  FunctionTable functions;
  REALobject classes; // an ObjectArray, locked once, or nil
};

inline PythonXojoClassData &xojoClassData(REALobject self) {
  return classData<PythonXojoClassData>(self, PythonXojoClassClass);
}

inline PythonXojoModuleData &xojoModuleData(REALobject self) {
  return classData<PythonXojoModuleData>(self, PythonXojoModuleClass);
}

// --- Published modules ---

// Publishes a described module to the interpreter that runs.
void Python_RegisterXojoModule(REALobject xojoModule);

// The list that keeps every published host module alive, with one lock, or nil.
extern REALobject gRegisteredModules;

// Makes every function harmless that was published: its interpreter has stopped.
void RetirePublishedFunctions();
