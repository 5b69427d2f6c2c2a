# Building for macOS. On a Mac, with what Xcode brings; elsewhere with Debian's clang and lld, and a
# stand-in for Apple's SDK that declares what the plug-in uses of the system, and no more.
if(CMAKE_HOST_APPLE)
  return()
endif()
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_OSX_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/sdk")

find_program(CMAKE_C_COMPILER NAMES clang-14 clang REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES clang++-14 clang++ REQUIRED)

# Headers of C++ of the compiler's own version, and the tools by the names that Apple's have.
execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/../../tools/macos-tools" "${CMAKE_CXX_COMPILER}"
  OUTPUT_VARIABLE macos_tools OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
foreach(tool AR NM RANLIB STRIP LIPO OTOOL INSTALL_NAME_TOOL)
  string(TOLOWER ${tool} name)
  set(CMAKE_${tool} "${macos_tools}/bin/${name}" CACHE FILEPATH "")
endforeach()

# clang finds the linker and lipo there.
set(target "-target x86_64-apple-macos -B${macos_tools}/bin")
set(CMAKE_C_FLAGS_INIT "${target}")
# What of libc++ would need more of a C library than the stand-in declares.
string(CONCAT CMAKE_CXX_FLAGS_INIT "${target} -nostdinc++ -isystem ${macos_tools}/include/c++/v1"
  " -D_LIBCPP_HAS_NO_THREADS -D_LIBCPP_HAS_NO_MONOTONIC_CLOCK -D_LIBCPP_HAS_NO_WIDE_CHARACTERS"
  " -D_LIBCPP_HAS_NO_LOCALIZATION -D_LIBCPP_HAS_NO_FILESYSTEM")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-fuse-ld=lld")
# No program can be linked: the stand-in has nothing to start one.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
