#pragma once
#include <sys/types.h>

#if defined(__cplusplus)
extern "C" {
#endif
typedef struct {
  int quot, rem;
} div_t;
typedef struct {
  long quot, rem;
} ldiv_t;
typedef struct {
  long long quot, rem;
} lldiv_t;
int abs(int);
void abort(void) __attribute__((noreturn));
long labs(long);
long long llabs(long long);
int posix_memalign(void **, size_t, size_t);
char *realpath(const char *, char *) __asm("_realpath$DARWIN_EXTSN");
void *realloc(void *, size_t);
void *calloc(size_t, size_t);
void *malloc(size_t);
void free(void *);
ldiv_t ldiv(long, long);
lldiv_t lldiv(long long, long long);
#if defined(__cplusplus)
}
#endif
