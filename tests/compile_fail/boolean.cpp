// expect: the declaration does not fit its function
#include "boundary/declare.h"

#ifdef CONTROL
static void test(REALobject, HostBoolean) {}
#else
static void test(REALobject, REALboolean) {}
#endif

REALmethodDefinition row = declare::method<"Test(value as Boolean)", test>();
