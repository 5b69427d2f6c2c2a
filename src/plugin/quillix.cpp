// The class Quillix: what host code calls without an instance.

#include "plugin/plugin.h"

using declare::constant;
using declare::sharedMethod;

// What went wrong in the last failed setter of a PythonParameters.
static REALconstant QuillixConstants[] = {
    constant<"PY_NO_ERROR = 0", PY_NO_ERROR>(),
    constant<"PY_ERROR_COULD_NOT_CONVERT = 1", PY_ERROR_COULD_NOT_CONVERT>(),
    constant<"PY_ERROR_INDEX_OUT_OF_BOUNDS = 2", PY_ERROR_INDEX_OUT_OF_BOUNDS>(),
    constant<"PY_NIL_PARAM_ERROR = 3", PY_NIL_PARAM_ERROR>(),
};

static REALmethodDefinition QuillixMethods[] = {
    sharedMethod<"Init(applicationName as String)", Python_InitWithName>(),
    sharedMethod<"Init()", Python_Init>(),
    sharedMethod<"Finalize()", Python_Finalize>(),
    sharedMethod<"SetConsoleOutput(output as QuillixConsoleOutput)", Python_SetConsoleOutput>(),
    sharedMethod<"AddSearchPath(f as FolderItem)", Python_AddSearchPath>(),
    sharedMethod<"GetModule(name as String) as PythonModule", Python_GetModule>(),
    sharedMethod<"ErrorOccurred() as Boolean", Python_ErrorOccurred>(),
    sharedMethod<"GetError() as String", Python_GetError>(),
    sharedMethod<"ClearError()", Python_ClearError>(),
    sharedMethod<"RegisterXojoModule(xojoModule as PythonXojoModule)", Python_RegisterXojoModule>(),
    sharedMethod<"SetError(errorType as Integer, message as String)", Python_SetTypeError>(),
    sharedMethod<"PythonIsFound() as Boolean", Python_IsFound>(),
};

REALclassDefinition QuillixClass = {
    .name = "Quillix",
    .constants = QuillixConstants,
    .sharedMethods = QuillixMethods,
};
