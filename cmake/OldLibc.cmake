# quillix-host linked with the C library of an older Debian release, to run the plug-in file, as it
# is, on that library. The C++ library goes into the program: its shared one needs a newer C library.

execute_process(
  COMMAND "${PROJECT_SOURCE_DIR}/tools/python27" --libc
  OUTPUT_VARIABLE sysroot OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
file(GLOB old_libc "${sysroot}/usr/lib/*/libc.so.6")
get_filename_component(old_libc "${old_libc}" DIRECTORY)
file(GLOB old_loader "${old_libc}/ld-linux*.so.*")

add_executable(quillix-host-old-libc "${PROJECT_SOURCE_DIR}/cmake/newer_libc.c"
  $<TARGET_OBJECTS:quillix-host> $<TARGET_OBJECTS:quillix_host>)
set_target_properties(quillix-host-old-libc PROPERTIES EXPORT_COMPILE_COMMANDS OFF)
# -B and -L too, because Debian's compiler looks into the system's own folder before the sysroot.
target_link_options(quillix-host-old-libc PRIVATE
  "--sysroot=${sysroot}" "-B${old_libc}" "-L${old_libc}" -static-libstdc++)
target_link_libraries(quillix-host-old-libc PRIVATE -Wl,--no-as-needed pthread dl)

# The command that runs it with the older release's own loader, and the environment for that, in
# which nothing else must name a library folder.
set(QUILLIX_OLD_LIBC_COMMAND "${old_loader}"
  --library-path "${old_libc}:${QUILLIX_PYTHON_LIBRARY_DIR}" $<TARGET_FILE:quillix-host-old-libc>)
set(QUILLIX_OLD_LIBC_ENVIRONMENT ${QUILLIX_PYTHON_ENVIRONMENT})
list(FILTER QUILLIX_OLD_LIBC_ENVIRONMENT EXCLUDE REGEX "^LD_LIBRARY_PATH=")
