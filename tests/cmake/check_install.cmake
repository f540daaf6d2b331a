# Installs the built library into a scratch prefix and builds a host against
# it twice: through find_package(CorvelAlg) and through pkg-config.
#   cmake -DBUILD_DIR=... -DWORK_DIR=... -DCONSUMER_DIR=... -DPKG_CONFIG=...
#         -DC_COMPILER=... -DGENERATOR=... -P check_install.cmake

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "failed (${result}): ${command}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

set(prefix "${WORK_DIR}/prefix")
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")

run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
foreach(file include/CorvelAlg.h)
  if(NOT EXISTS "${prefix}/${file}")
    message(FATAL_ERROR "${file} was not installed")
  endif()
endforeach()

# find_package()
run(${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/cmake-host" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_C_COMPILER=${C_COMPILER}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/cmake-host")
run("${WORK_DIR}/cmake-host/consumer")
message(STATUS "find_package host: ${last_output}")

# pkg-config
if(NOT PKG_CONFIG)
  message(FATAL_ERROR "pkg-config is needed for this check")
endif()
file(GLOB_RECURSE pc_files "${prefix}/*/CorvelAlg.pc")
list(GET pc_files 0 pc_file)
get_filename_component(pc_dir "${pc_file}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
run("${PKG_CONFIG}" --cflags --libs CorvelAlg)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run("${PKG_CONFIG}" --variable=libdir CorvelAlg)
string(STRIP "${last_output}" libdir)
run("${C_COMPILER}" -std=c99 -Wall -Wextra -pedantic -Werror "${CONSUMER_DIR}/consumer.c"
    ${flags} "-Wl,-rpath,${libdir}" -o "${WORK_DIR}/pkg-config-host")
run("${WORK_DIR}/pkg-config-host")
message(STATUS "pkg-config host: ${last_output}")
