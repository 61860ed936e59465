# Installs the build into a new prefix, then proves the package from the outside: the examples
# are configured and built against it with find_package(vq_corelog), one of them again with
# pkg-config, and the programs run with the installed library.
#
# cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DLIBDIR=... -DGENERATOR=... -P this
cmake_minimum_required(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
                    ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed (${result}): ${ARGN}\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect_output text)
    string(FIND "${output}" "${text}" found)
    if(found EQUAL -1)
        message(FATAL_ERROR "expected \"${text}\" in:\n${output}")
    endif()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

foreach(file include/vq/corelog.h include/vq/eod/io/engineoutputdatafilereader.h
             ${LIBDIR}/libvq_corelog.so ${LIBDIR}/libvq_corelog.so.0
             ${LIBDIR}/cmake/vq_corelog/vq_corelogConfig.cmake
             ${LIBDIR}/cmake/vq_corelog/vq_corelogConfigVersion.cmake
             ${LIBDIR}/pkgconfig/vq_corelog.pc bin/vqlog)
    if(NOT EXISTS "${prefix}/${file}")
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()
# The SONAME carries the major version.
run(objdump -p "${prefix}/${LIBDIR}/libvq_corelog.so")
expect_output("SONAME               libvq_corelog.so.0")

# find_package(vq_corelog CONFIG) from a project of its own.
run(${CMAKE_COMMAND} -S "${SOURCE_DIR}/examples" -B "${WORK_DIR}/examples" -G "${GENERATOR}"
    -DCMAKE_BUILD_TYPE=Release "-DCMAKE_PREFIX_PATH=${prefix}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/examples")
file(MAKE_DIRECTORY "${WORK_DIR}/logs")
run("${WORK_DIR}/examples/write_logs" "${WORK_DIR}/logs")
run("${WORK_DIR}/examples/read_logs" "${WORK_DIR}/logs")
expect_output("60 frames")

# pkg-config, from the .pc file alone, as the README shows: its paths are the prefix's, and the
# program finds the library through the rpath given beside them.
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
run(pkg-config --variable=libdir vq_corelog)
string(STRIP "${output}" libdir)
if(NOT libdir STREQUAL "${prefix}/${LIBDIR}")
    message(FATAL_ERROR "the .pc file's libdir is ${libdir}, not ${prefix}/${LIBDIR}")
endif()
run(pkg-config --cflags --libs vq_corelog)
string(STRIP "${output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(c++ -std=c++17 "${SOURCE_DIR}/examples/read_logs.cpp" ${flags} "-Wl,-rpath,${libdir}"
    -o "${WORK_DIR}/read_logs_pkgconfig")
run("${WORK_DIR}/read_logs_pkgconfig" "${WORK_DIR}/logs")
expect_output("60 frames")

# The installed vqlog finds the installed library.
run("${prefix}/bin/vqlog" check "${WORK_DIR}/logs")
expect_output("check: intact")
