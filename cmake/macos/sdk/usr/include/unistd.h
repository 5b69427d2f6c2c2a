#pragma once
#include <sys/types.h>

#if defined(__cplusplus)
extern "C"
#endif
    int
    access(const char *, int);

#define F_OK 0
