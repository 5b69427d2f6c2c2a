#pragma once
#if defined(__cplusplus)
extern "C"
#endif
    void
    syslog(int, const char *, ...) __attribute__((format(printf, 2, 3)));

#define LOG_ERR 3
