/* What Python's headers ask about the C compiler, for MinGW-w64. The plug-in takes only types and
   declarations from those headers, so this need not say more; python27.dll is found at run time. */
#define MS_WINDOWS 1
#define HAVE_DECLSPEC_DLL 1

#define STDC_HEADERS 1
#define HAVE_LIMITS_H 1
#define HAVE_STDINT_H 1
#define HAVE_SYS_STAT_H 1
#define HAVE_SYS_TYPES_H 1
#define HAVE_PROTOTYPES 1
#define HAVE_STDARG_PROTOTYPES 1
#define HAVE_LONG_LONG 1
#define HAVE_SSIZE_T 1

#define SIZEOF_SHORT 2
#define SIZEOF_INT 4
#define SIZEOF_LONG 4
#define SIZEOF_LONG_LONG 8
#define SIZEOF_SIZE_T __SIZEOF_POINTER__
#define SIZEOF_VOID_P __SIZEOF_POINTER__

/* How python.org's Windows builds are made. */
#define WITH_THREAD 1
#define Py_USING_UNICODE 1
#define Py_UNICODE_SIZE 2
#define PY_UNICODE_TYPE wchar_t
