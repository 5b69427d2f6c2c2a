# Where CPython 2.7 is. Only its headers are used to build; the library is opened at run time.
#
#   QUILLIX_PYTHON_ROOT         root folder with usr/include/python2.7 and usr/lib, or a prefix with
#                               include/python2.7 and lib, or for Windows a folder as its installer
#                               makes it; left out, tools/python27 provides one
#   QUILLIX_PYTHON_ENVIRONMENT  (result) NAME=VALUE entries for a program that runs Python from there
#   quillix_python_headers      (result) the include directories, as a target

if(CMAKE_HOST_APPLE AND NOT QUILLIX_PYTHON_ROOT)
  # Where python.org's installer and MacPorts put it.
  find_path(QUILLIX_PYTHON_ROOT include/python2.7/Python.h PATHS
    /Library/Frameworks/Python.framework/Versions/2.7
    /opt/local/Library/Frameworks/Python.framework/Versions/2.7
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
endif()
if(NOT QUILLIX_PYTHON_ROOT)
  if(CMAKE_HOST_APPLE OR NOT QUILLIX_ARCH)
    message(FATAL_ERROR "Set QUILLIX_PYTHON_ROOT to a folder that holds Python 2.7.")
  endif()
  execute_process(
    COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/tools/python27" ${QUILLIX_PYTHON_ARCH}
    OUTPUT_VARIABLE python_root OUTPUT_STRIP_TRAILING_WHITESPACE
    RESULT_VARIABLE python_status)
  if(NOT python_status EQUAL 0)
    message(FATAL_ERROR "Python 2.7 is missing; set QUILLIX_PYTHON_ROOT to a folder that holds it.")
  endif()
  set(QUILLIX_PYTHON_ROOT "${python_root}" CACHE PATH "Root folder that holds Python 2.7" FORCE)
endif()

find_path(QUILLIX_PYTHON_INCLUDE Python.h
  PATHS "${QUILLIX_PYTHON_ROOT}/usr/include/python2.7" "${QUILLIX_PYTHON_ROOT}/include/python2.7"
        "${QUILLIX_PYTHON_ROOT}/include"
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
if(NOT QUILLIX_PYTHON_INCLUDE)
  message(FATAL_ERROR "No Python 2.7 headers below ${QUILLIX_PYTHON_ROOT}.")
endif()

add_library(quillix_python_headers INTERFACE)
# Debian's pyconfig.h includes the architecture's own by a path from the folder above.
get_filename_component(python_prefix "${QUILLIX_PYTHON_INCLUDE}/../.." ABSOLUTE)
set(python_headers "${QUILLIX_PYTHON_INCLUDE}" "${python_prefix}/include")
target_include_directories(quillix_python_headers SYSTEM INTERFACE ${python_headers})

# Python's own variables are fixed, so that a run does not depend on the user's settings. An embedded
# Python does not read PYTHONNOUSERSITE; a folder that does not exist keeps the user's packages out.
set(QUILLIX_PYTHON_ENVIRONMENT PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=
  "PYTHONUSERBASE=${CMAKE_CURRENT_BINARY_DIR}/no-user-packages")
if(WIN32)
  list(APPEND QUILLIX_PYTHON_ENVIRONMENT "${QUILLIX_LIBRARY_PATH_PREFIX}${QUILLIX_PYTHON_ROOT}"
    "PYTHONHOME=${QUILLIX_ROOT_PREFIX}${QUILLIX_PYTHON_ROOT}")
elseif(NOT APPLE AND NOT QUILLIX_PYTHON_ROOT STREQUAL "/")
  file(GLOB python_library
    "${python_prefix}/lib/*/libpython2.7.so.1.0" "${python_prefix}/lib/libpython2.7.so.1.0")
  if(python_library)
    list(GET python_library 0 python_library)
    get_filename_component(QUILLIX_PYTHON_LIBRARY_DIR "${python_library}" DIRECTORY)
    list(APPEND QUILLIX_PYTHON_ENVIRONMENT
      "LD_LIBRARY_PATH=${QUILLIX_PYTHON_LIBRARY_DIR}" "PYTHONHOME=${python_prefix}")
  else()
    message(WARNING "No libpython2.7.so.1.0 below ${QUILLIX_PYTHON_ROOT}: tests will not find it.")
  endif()
endif()
