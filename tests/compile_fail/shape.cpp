// expect: the declaration is not well formed
#include "boundary/declare.h"

static void start(REALobject, REALstring) {}

#ifdef CONTROL
REALmethodDefinition row = declare::method<"Start(name as String)", start>();
#else
REALmethodDefinition row = declare::method<"Start(name as String", start>();
#endif
