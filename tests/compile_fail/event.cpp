// expect: the declaration does not fit the event's handlers
#include "boundary/declare.h"

#ifdef CONTROL
using Handler = void(REALobject, REALstring);
#else
using Handler = void(REALstring);
#endif

REALevent row = declare::event<"Output(text as String)", Handler>();
