#pragma once
#if defined(__cplusplus)
extern "C" {
#endif
typedef struct dl_info {
  const char *dli_fname;
  void *dli_fbase;
  const char *dli_sname;
  void *dli_saddr;
} Dl_info;
int dladdr(const void *, Dl_info *);
int dlclose(void *);
void *dlopen(const char *, int);
void *dlsym(void *, const char *);
#if defined(__cplusplus)
}
#endif

#define RTLD_LAZY 0x1
#define RTLD_NOW 0x2
#define RTLD_LOCAL 0x4
#define RTLD_GLOBAL 0x8
#define RTLD_NOLOAD 0x10
#define RTLD_NODELETE 0x80
#define RTLD_DEFAULT ((void *)-2)
