# How the plug-in is compiled and linked so that one file loads in any host process: two exported
# symbols, no Python and no C++ run-time library among what it needs, and of the C library nothing
# newer than glibc 2.17.
include(CheckIPOSupported)

# glibc 2.34 moved dlopen and its kin into libc.so.6 under a new symbol version, so a file linked on
# a new system would not load on an old one. Linking against a stand-in libdl.so.2 with the old
# versions binds to those, which every glibc since offers. The stand-in is never loaded.
function(quillix_add_libdl_versions target)
  if(QUILLIX_ARCH STREQUAL "amd64")
    set(versions "GLIBC_2.2.5 { global: dlopen; dlsym; dlclose; dlerror; dladdr; };")
  elseif(QUILLIX_ARCH STREQUAL "i386")
    string(CONCAT versions "GLIBC_2.0 { global: dlsym; dlclose; dlerror; dladdr; };\n"
                           "GLIBC_2.1 { global: dlopen; } GLIBC_2.0;")
  elseif(QUILLIX_ARCH STREQUAL "arm64")
    set(versions "GLIBC_2.17 { global: dlopen; dlsym; dlclose; dlerror; dladdr; };")
  elseif(QUILLIX_ARCH STREQUAL "armhf")
    set(versions "GLIBC_2.4 { global: dlopen; dlsym; dlclose; dlerror; dladdr; };")
  else()
    target_link_libraries(${target} PRIVATE ${CMAKE_DL_LIBS})
    return()
  endif()
  set(folder "${CMAKE_CURRENT_BINARY_DIR}/libdl")
  file(CONFIGURE OUTPUT "${folder}/libdl.map" CONTENT "${versions}" @ONLY)
  add_library(quillix_libdl SHARED "${CMAKE_CURRENT_SOURCE_DIR}/cmake/libdl.c")
  set_target_properties(quillix_libdl PROPERTIES
    OUTPUT_NAME dl SOVERSION 2 LIBRARY_OUTPUT_DIRECTORY "${folder}"
    LINK_DEPENDS "${folder}/libdl.map")
  target_link_options(quillix_libdl PRIVATE
    -nostdlib "LINKER:--version-script=${folder}/libdl.map")
  target_link_libraries(${target} PRIVATE quillix_libdl)
endfunction()

function(quillix_link_plugin target)
  set_target_properties(${target} PROPERTIES
    PREFIX "" SUFFIX "${QUILLIX_PLUGIN_SUFFIX}"
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    SKIP_BUILD_RPATH ON)
  target_compile_options(${target} PRIVATE
    -fno-exceptions -fno-rtti -fno-threadsafe-statics -ffunction-sections -fdata-sections)
  if(APPLE)
    set(exports "${CMAKE_CURRENT_SOURCE_DIR}/cmake/macos/Quillix.exp")
    set_target_properties(${target} PROPERTIES LINK_DEPENDS "${exports}"
      INSTALL_NAME_DIR "@rpath" BUILD_WITH_INSTALL_NAME_DIR ON)
    target_link_options(${target} PRIVATE
      "LINKER:-exported_symbols_list,${exports}" LINKER:-dead_strip LINKER:-adhoc_codesign
      -nodefaultlibs)
    target_link_libraries(${target} PRIVATE System)
    find_program(QUILLIX_PYTHON3 python3 REQUIRED NO_CMAKE_FIND_ROOT_PATH)
    add_custom_command(TARGET ${target} POST_BUILD VERBATIM
      COMMAND "${QUILLIX_PYTHON3}" -E "${CMAKE_CURRENT_SOURCE_DIR}/tests/macho/check_file.py"
              "$<TARGET_FILE:${target}>")
    return()
  elseif(WIN32)
    # Exported is what the code marks so. The C library that is part of every Windows; GCC's
    # unwinder only because its start-up code for 32 bits names it.
    target_link_options(${target} PRIVATE -nodefaultlibs LINKER:--no-insert-timestamp)
    target_link_libraries(${target} PRIVATE
      mingw32 gcc gcc_eh moldname mingwex msvcrt kernel32)
    return()
  endif()
  set(exports "${CMAKE_CURRENT_SOURCE_DIR}/cmake/Quillix.map")
  set_target_properties(${target} PROPERTIES LINK_DEPENDS "${exports}")
  target_link_options(${target} PRIVATE
    "LINKER:--version-script=${exports}" LINKER:--as-needed LINKER:--gc-sections)
  # Python keeps pointers to functions of the file, whoever closes it.
  target_link_options(${target} PRIVATE LINKER:-z,nodelete)

  if(QUILLIX_COVERAGE)
    set(coverage -fprofile-instr-generate -fcoverage-mapping)
    target_compile_options(${target} PRIVATE ${coverage})
    target_link_options(${target} PRIVATE ${coverage})
  endif()
  if(QUILLIX_SANITIZE OR QUILLIX_COVERAGE)
    # These bring run-time libraries of their own; clang leaves the sanitizers' symbols to the program.
    target_link_libraries(${target} PRIVATE ${CMAKE_DL_LIBS})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_link_options(${target} PRIVATE LINKER:-z,defs)
    endif()
    return()
  endif()

  # Only the C library and the compiler's own helper functions: a use of the C++ run-time library,
  # or a direct call into Python, is an undefined symbol here and now.
  target_link_options(${target} PRIVATE LINKER:-z,defs -nodefaultlibs)
  quillix_add_libdl_versions(${target})
  target_link_libraries(${target} PRIVATE c gcc)

  # clang would need another linker for it. An operation is a chain of small inline functions, which
  # GCC would stop inlining half-way: it bounds the growth of code, of which there is little here.
  if(QUILLIX_LTO AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    check_ipo_supported(RESULT across_files LANGUAGES CXX)
    set_target_properties(${target} PROPERTIES
      INTERPROCEDURAL_OPTIMIZATION_RELEASE ${across_files})
    # And it would split each count of the calls under way into a load and stores on every path.
    string(CONCAT tuning "$<$<CONFIG:Release>:-fno-tree-pre;--param=max-inline-insns-single=300;"
                         "--param=inline-unit-growth=200>")
    target_compile_options(${target} PRIVATE "${tuning}")
    target_link_options(${target} PRIVATE "${tuning}")
  endif()
endfunction()
