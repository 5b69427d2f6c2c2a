# What is built for:
#
#   QUILLIX_ARCH              the processor, as Debian calls it; empty for one that is not known
#   QUILLIX_PLUGIN_SUFFIX     of the plug-in's file name
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

if(APPLE)
  set(QUILLIX_PLUGIN_SUFFIX .dylib)
  set(QUILLIX_PLATFORM_FOLDER "Mac Universal")
elseif(WIN32)
  set(QUILLIX_PLUGIN_SUFFIX .dll)
  set(QUILLIX_PLATFORM_FOLDER "Windows ${${QUILLIX_ARCH}_name}")
else()
  set(QUILLIX_PLUGIN_SUFFIX .so)
  set(QUILLIX_PLATFORM_FOLDER "Linux ${${QUILLIX_ARCH}_name}")
endif()
