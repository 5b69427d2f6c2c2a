// expect: the declaration does not say the constant's value
#include "boundary/declare.h"

enum Code : long { kNilError = 3 };

#ifdef CONTROL
REALconstant row = declare::constant<"NIL_ERROR = 3", kNilError>();
#else
REALconstant row = declare::constant<"NIL_ERROR = 2", kNilError>();
#endif
