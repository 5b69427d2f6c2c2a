// expect: the declaration does not fit its function
#include "boundary/declare.h"

static REALboolean test(REALobject) { return 1; }

#ifdef CONTROL
REALmethodDefinition row = declare::method<"Test() as Boolean", test>();
#else
REALmethodDefinition row = declare::method<"Test() as Int32", test>();
#endif
