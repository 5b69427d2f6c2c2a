// The load entry, and the one file that knows every class.

#include "plugin/plugin.h"

// Every class of the plug-in, in the order of registration: a super class before its subclasses,
// and Quillix last, after every class that its declarations name.
#define QUILLIX_CLASSES(CLASS)                                                                     \
  CLASS(PythonEntityBaseClass)                                                                     \
  CLASS(PythonEntityClass)                                                                         \
  CLASS(PythonListClass)                                                                           \
  CLASS(QuillixConsoleOutputClass)                                                                 \
  CLASS(PythonObjectClass)                                                                         \
  CLASS(PythonResultClass)                                                                         \
  CLASS(PythonParametersClass)                                                                     \
  CLASS(PythonDictionaryClass)                                                                     \
  CLASS(PythonFunctionClass)                                                                       \
  CLASS(PythonClassClass)                                                                          \
  CLASS(PythonInstanceClass)                                                                       \
  CLASS(PythonModuleClass)                                                                         \
  CLASS(PythonXojoClassClass)                                                                      \
  CLASS(PythonXojoModuleClass)                                                                     \
  CLASS(QuillixClass)

#define DECLARE_CLASS(record) extern REALclassDefinition record;
QUILLIX_CLASSES(DECLARE_CLASS)

extern REALmoduleDefinition PythonErrorTypesModule;

namespace {

#define CLASS_RECORD(record) &record,
REALclassDefinition *const kClasses[] = {QUILLIX_CLASSES(CLASS_RECORD)};

void SetClassConsoleSafe(REALclassDefinition &definition) { definition.flags |= kConsoleSafe; }

// Puts every global in its start state, whatever an earlier load left behind. Python comes first:
// everything after needs to know whether it is there.
void PluginEntry() {
  gPythonFound = false;
  PythonDictionary_Init();
  PythonList_InitAPI();
  PythonDLLHandle = LoadPythonLibrary();
  IArray_Append = nullptr;
  IArray_Count = nullptr;
  IArray_GetAt = nullptr;
  LoadEntryPoints();
  consoleOutputInstance = nullptr;

  for (HostClass *hostClass :
       {&PythonModuleClassRef, &PythonFunctionClassRef, &PythonResultClassRef, &PythonClassClassRef,
        &PythonPythonInstanceClassRef, &ObjectArrayRef, &PythonParametersClassRef,
        &PythonEntityClassRef}) {
    hostClass->forget();
  }

  gPythonInitialized = false;
  gInterpreter = kNoInterpreter;
  gRegisteredModules = nullptr;

  for (REALclassDefinition *definition : kClasses) {
    SetClassConsoleSafe(*definition);
  }
  ObjectArrayRef.get();
  for (REALclassDefinition *definition : kClasses) {
    REALRegisterClass(definition);
  }
  REALRegisterModule(&PythonErrorTypesModule);
}

// What an earlier call of REALPluginMain has brought about and nobody has put away: an interpreter
// in use, or locks that only the resolver of that time can give back.
bool isInUse() {
  return interpreterRuns() || gPythonCalls > 0 || consoleOutputInstance || gRegisteredModules ||
         CapsulesAreAlive();
}

} // namespace

// Called by the host, once, when it loads the plug-in. The file stays in memory when the host
// closes it, so that it may be called again, to begin anew; but not while something is in use.
QUILLIX_EXPORT void REALPluginMain(HostResolver resolver) {
  if (!resolver) {
    return;
  }
  if (isInUse()) {
    platform::log("Quillix is in use and was not loaded again\n");
    return;
  }
  gResolver = resolver;
  auto *announceVersion =
      reinterpret_cast<void (*)(std::int32_t)>(HCallResolver("RegisterPluginVersion"));
  if (announceVersion) {
    announceVersion(static_cast<std::int32_t>(kInterfaceVersion));
  }
  PluginEntry();
}
