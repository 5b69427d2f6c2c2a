# Checks that SOURCE does not compile, with the diagnostic that its first line names:
#
#   // expect: setter must take
#   #include "boundary/declare.h"
#   #ifdef CONTROL
#   ... the nearest code that does compile, so that the failure is about nothing else
#   #else
#   ... the code that must not
#   #endif
#
# The text after "expect:" is a CMake regular expression, looked for in the compiler's output.
# Keep to the words of a static_assert: compilers phrase the rest in their own ways.
#
#   cmake -DCOMPILER=... -DFLAGS=... -DFLAGS_FILE=... -DSOURCE=... -P CheckCompileFailure.cmake

file(STRINGS "${SOURCE}" first_line LIMIT_COUNT 1)
if(NOT first_line MATCHES "^// expect: (.+)$")
  message(FATAL_ERROR "${SOURCE}: the first line must be '// expect: REGEX'")
endif()
set(expected "${CMAKE_MATCH_1}")

separate_arguments(flags UNIX_COMMAND "${FLAGS}")
function(compile status_result output_result)
  execute_process(
    COMMAND "${COMPILER}" ${flags} "@${FLAGS_FILE}" ${ARGN} -fsyntax-only "${SOURCE}"
    RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  set(${status_result} "${status}" PARENT_SCOPE)
  set(${output_result} "${output}" PARENT_SCOPE)
endfunction()

compile(status output -DCONTROL)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${SOURCE}: the control does not compile:\n${output}")
endif()

compile(status output)
if(status EQUAL 0)
  message(FATAL_ERROR "${SOURCE}: compiles, but must not")
endif()
if(NOT output MATCHES "${expected}")
  message(FATAL_ERROR "${SOURCE}: fails without the expected '${expected}':\n${output}")
endif()
