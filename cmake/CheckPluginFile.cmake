# Checks the plug-in file: exactly two exported symbols, the C library alone among what it needs, of
# that nothing newer than glibc 2.17, and that it stays in memory.
#
#   cmake -DPLUGIN=.../Quillix.so -DREADELF=readelf -P CheckPluginFile.cmake

function(readelf option result)
  execute_process(COMMAND "${READELF}" ${option} -W "${PLUGIN}"
    OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  # Brackets and semicolons would upset CMake's lists.
  string(REGEX REPLACE "[][;]" " " output "${output}")
  string(REPLACE "\n" ";" output "${output}")
  set(${result} "${output}" PARENT_SCOPE)
endfunction()

set(exported)
readelf(--dyn-syms lines)
foreach(line IN LISTS lines)
  # Columns: number, value, size, type, binding, visibility, section index, name.
  if(line MATCHES "(GLOBAL|WEAK) +[A-Z]+ +([0-9]+|ABS) +([^ ]+)")
    list(APPEND exported "${CMAKE_MATCH_3}")
  endif()
  if(line MATCHES "@GLIBC_([0-9.]+)" AND CMAKE_MATCH_1 VERSION_GREATER 2.17)
    message(SEND_ERROR "needs a C library newer than 2.17:${line}")
  endif()
endforeach()
list(SORT exported)
if(NOT exported STREQUAL "REALPluginMain;initaview")
  message(SEND_ERROR "exports: ${exported}")
endif()

readelf(-d lines)
if(NOT lines MATCHES "NODELETE")
  message(SEND_ERROR "can be unloaded")
endif()
foreach(line IN LISTS lines)
  if(line MATCHES "Shared library: +([^ ]+)")
    set(needed "${CMAKE_MATCH_1}")
    if(NOT needed MATCHES "^(libc\\.so\\.6|libdl\\.so\\.2|ld-linux.*)$")
      message(SEND_ERROR "needs ${needed}")
    endif()
  elseif(line MATCHES "R(UN)?PATH")
    message(SEND_ERROR "has a library search path:${line}")
  endif()
endforeach()
