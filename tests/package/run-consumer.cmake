# Installs the built project into WORK_DIR/prefix and builds and runs the
# consumer program against it, through find_package and through pkg-config.
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

# find_package
run(${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/cmake-build" -G "${GENERATOR}"
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/cmake-build")
run("${WORK_DIR}/cmake-build/consumer")
if(NOT last_output MATCHES "crc 29b1")
  message(FATAL_ERROR "the find_package consumer printed: ${last_output}")
endif()

# pkg-config
file(GLOB pcdir "${prefix}/lib*/pkgconfig" "${prefix}/lib/*/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "${pcdir}")
run(pkg-config --cflags --libs fibertest)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} -std=c++17 "${CONSUMER_DIR}/main.cpp" ${flags} -o "${WORK_DIR}/pc-consumer")
# The scratch prefix is not on the loader's path; name the library folder.
string(REGEX MATCH "-L[^;]+" libflag "${flags}")
string(SUBSTRING "${libflag}" 2 -1 libdir)
set(ENV{LD_LIBRARY_PATH} "${libdir}")
run("${WORK_DIR}/pc-consumer")
if(NOT last_output MATCHES "crc 29b1")
  message(FATAL_ERROR "the pkg-config consumer printed: ${last_output}")
endif()
message(STATUS "both consumers built and ran against ${prefix}")
