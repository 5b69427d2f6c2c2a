# What is built for:
#
#   QUILLIX_ARCH              the processor, as Debian calls it; empty for one that is not known
#   QUILLIX_PLUGIN_SUFFIX     of the plug-in's file name
#   QUILLIX_PLUGIN_KIND       of library that the host loads, as CMake calls it
#   QUILLIX_PYTHON_LIBRARY_NAME  of the system's Python
#   QUILLIX_PLUGIN_ASKS_FOR   the name of Python's library that the plug-in has: another one only where
#                             one for macOS is made to run
#   QUILLIX_LIBRARY_PATH_PREFIX  "VARIABLE=" of the environment variable that names a folder of
#                             libraries to programs run here, and what stands before the folder
#   QUILLIX_ROOT_PREFIX       what stands before a path here for a program that an emulator runs
#   QUILLIX_PYTHON_ARCH       the Python that goes with it, as tools/python27 calls it
#   QUILLIX_PLATFORM_FOLDER   where the plug-in lies in the package, below "Build Resources"

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(QUILLIX_ARCH amd64)
  else()
    set(QUILLIX_ARCH i386)
  endif()
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(QUILLIX_ARCH arm64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  set(QUILLIX_ARCH armhf)
else()
  set(QUILLIX_ARCH "")
endif()

# The names by which the host knows the processors.
set(amd64_name "x86-64")
set(i386_name "X86")
set(arm64_name "arm64")
set(armhf_name "ARM")

set(QUILLIX_PLUGIN_KIND MODULE)
set(QUILLIX_PYTHON_ARCH "${QUILLIX_ARCH}")
if(APPLE)
  set(QUILLIX_PLUGIN_KIND SHARED)
  set(QUILLIX_PYTHON_ARCH macos)
  set(QUILLIX_PLUGIN_SUFFIX .dylib)
  set(QUILLIX_PYTHON_LIBRARY_NAME libpython2.7.dylib)
  set(QUILLIX_LIBRARY_PATH_PREFIX DYLD_LIBRARY_PATH=)
  set(QUILLIX_PLATFORM_FOLDER "Mac Universal")
elseif(WIN32)
  set(i386_name "x86")
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(QUILLIX_PYTHON_ARCH windows)
  else()
    set(QUILLIX_PYTHON_ARCH windows-x86)
  endif()
  set(QUILLIX_PLUGIN_SUFFIX .dll)
  set(QUILLIX_PYTHON_LIBRARY_NAME python27.dll)
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    set(QUILLIX_ROOT_PREFIX Z:)
    set(QUILLIX_LIBRARY_PATH_PREFIX WINEPATH=Z:)
  else()
    set(QUILLIX_LIBRARY_PATH_PREFIX PATH=)
  endif()
  set(QUILLIX_PLATFORM_FOLDER "Windows ${${QUILLIX_ARCH}_name}")
else()
  set(QUILLIX_PLUGIN_SUFFIX .so)
  set(QUILLIX_PYTHON_LIBRARY_NAME libpython2.7.so.1.0)
  set(QUILLIX_LIBRARY_PATH_PREFIX LD_LIBRARY_PATH=)
  set(QUILLIX_PLATFORM_FOLDER "Linux ${${QUILLIX_ARCH}_name}")
endif()

set(QUILLIX_PLUGIN_ASKS_FOR "${QUILLIX_PYTHON_LIBRARY_NAME}")
if(QUILLIX_MACHO)
  set(QUILLIX_PLUGIN_ASKS_FOR libpython2.7.dylib)
  set(QUILLIX_PLATFORM_FOLDER "Mac Universal")
endif()
