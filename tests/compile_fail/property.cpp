// expect: the property's type does not fit its getter
#include "boundary/declare.h"

#ifdef CONTROL
static std::intptr_t count(REALobject) { return 0; }
#else
static double count(REALobject) { return 0; }
#endif

REALproperty row = declare::property<"Count", "Integer", count>();
