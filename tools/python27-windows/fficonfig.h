/* What GNU's libffi asks its configure script. */
#define STDC_HEADERS 1
#define HAVE_ALLOCA 1
#define HAVE_MEMCPY 1
#define HAVE_AS_X86_PCREL 1
#define EH_FRAME_FLAGS "aw"
#ifndef _WIN64
#define SYMBOL_UNDERSCORE 1
#endif
#ifdef LIBFFI_ASM
#define FFI_HIDDEN(name)
#else
#define FFI_HIDDEN
#endif
