// What the top room's files share: every room below, and the functions of the class Quillix that
// start and stop the interpreter.
#pragma once

#include "bridge/bridge.h"
#include "objects/objects.h"
#include "publish/publish.h"

void Python_InitWithName(REALstring applicationName);
void Python_Init();
void Python_Finalize();
