// What the compiler's static C++ library takes from a C library newer than the one that a program
// is linked with here; see OldLibc.cmake.
#include <stdlib.h>

char __libc_single_threaded; // 2.32; false is always right

// 2.36. Only for std::random_device, which nothing uses here.
unsigned arc4random(void) { abort(); }
