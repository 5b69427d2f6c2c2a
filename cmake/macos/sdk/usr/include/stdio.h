#pragma once
#include <stdarg.h>
#include <sys/types.h>

#define EOF (-1)
#define SEEK_SET 0
#define SEEK_CUR 1
#define SEEK_END 2

#if defined(__cplusplus)
extern "C" {
#endif
typedef struct __sFILE FILE;
typedef off_t fpos_t;
int remove(const char *);
int puts(const char *);
#if defined(__cplusplus)
}
#endif
