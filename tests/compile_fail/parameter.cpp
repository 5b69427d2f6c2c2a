// expect: the declaration does not fit its function
#include "boundary/declare.h"

#ifdef CONTROL
using Index = std::int32_t;
#else
using Index = std::int64_t;
#endif

static REALstring textAt(REALobject, Index) { return nullptr; }

REALmethodDefinition row = declare::method<"Text(index as Integer) as String", textAt>();
