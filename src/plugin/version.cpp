// The version, for whoever has nothing but the file: `strings Quillix.so | grep Quillix`.

#include "boundary/platform.h"

// Nothing refers to it.
QUILLIX_KEEP static const char kVersion[] = "Quillix " QUILLIX_VERSION;
