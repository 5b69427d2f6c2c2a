// expect: the declaration does not fit its setter
#include "boundary/declare.h"

// A declared Integer is as wide as the machine word as a result, but 32 bits wide when assigned.
static std::intptr_t get(REALobject, REALstring) { return 0; }
#ifdef CONTROL
static void set(REALobject, REALstring, std::int32_t) {}
#else
static void set(REALobject, REALstring, std::uint32_t) {}
#endif

REALmethodDefinition row = declare::method<"Field(name as String) as Integer", get, set>();
