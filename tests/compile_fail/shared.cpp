// expect: the declaration does not fit its function
#include "boundary/declare.h"

static void start(REALobject) {}

#ifdef CONTROL
REALmethodDefinition row = declare::method<"Start()", start>();
#else
REALmethodDefinition row = declare::sharedMethod<"Start()", start>();
#endif
