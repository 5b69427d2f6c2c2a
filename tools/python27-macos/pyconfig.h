/* What configure finds on macOS, for both processors, as far as the headers of Python ask for it.
   pymacconfig.h adds the sizes that depend on the processor. */
#ifndef Py_PYCONFIG_H
#define Py_PYCONFIG_H

#define HAVE_LONG_LONG 1
#define HAVE_PROTOTYPES 1
#define HAVE_SSIZE_T 1
#define HAVE_STDARG_PROTOTYPES 1
#define HAVE_STDINT_H 1
#define HAVE_INTPTR_T 1
#define HAVE_UINTPTR_T 1
#define HAVE_UNISTD_H 1
#define HAVE_SYS_TIME_H 1
#define HAVE_SYS_TYPES_H 1
#define HAVE_COPYSIGN 1
#define HAVE_HYPOT 1
#define HAVE_ROUND 1
#define HAVE_DECL_ISINF 1
#define HAVE_DECL_ISNAN 1
#define HAVE_DECL_ISFINITE 1
#define PY_FORMAT_LONG_LONG "ll"
#define Py_UNICODE_SIZE 2
#define PY_UNICODE_TYPE unsigned short
#define SIZEOF_DOUBLE 8
#define SIZEOF_FLOAT 4
#define SIZEOF_INT 4
#define SIZEOF_LONG_LONG 8
#define SIZEOF_OFF_T 8
#define SIZEOF_SHORT 2
#define WITH_DOC_STRINGS 1
#define WITH_THREAD 1
#define WITH_PYMALLOC 1

#endif
