#pragma once
#if defined(__cplusplus)
extern "C"
#endif
    int *
    __error(void);

#define errno (*__error())
#define ERANGE 34
