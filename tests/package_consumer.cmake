# Installs the build tree into WORK_DIR/prefix, builds CONSUMER_DIR against it
# and runs the consumer. Fails on the first step that fails.
#
# By default the consumer is built with its CMake project (find_package).
# With -DPKGCONFIG=ON it is built with the compiler CXX and the flags that
# pkg-config gives for ConfigDialogs.pc, which must name the Qt modules of
# QT_MAJOR_VERSION; LIBDIR is the install's library folder below the prefix.
# With -DPLUGIN_FILE=<path below the prefix> the consumer also loads the
# installed Designer plugin.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "failed (${rc}): ${ARGV}\n${out}\n${err}")
    endif()
    message(STATUS "${out}")
    set(run_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
set(consumer_args)
if(PLUGIN_FILE)
    set(consumer_args ${prefix}/${PLUGIN_FILE})
    # A plugin host has none of the libraries loaded: every one must be
    # found from the plugin itself.
    find_program(LDD ldd)
    if(LDD)
        run(${LDD} ${prefix}/${PLUGIN_FILE})
        if(run_output MATCHES "not found")
            message(FATAL_ERROR "the installed Designer plugin misses libraries:\n${run_output}")
        endif()
    endif()
endif()

if(NOT PKGCONFIG)
    run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/build -DCMAKE_PREFIX_PATH=${prefix})
    run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
    run(${WORK_DIR}/build/consumer ${consumer_args})
    return()
endif()

find_program(PKG_CONFIG_EXECUTABLE pkg-config REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(${PKG_CONFIG_EXECUTABLE} --modversion ConfigDialogs)
string(STRIP "${run_output}" version)
if(NOT version MATCHES "^[0-9]+\\.[0-9]+\\.[0-9]+$")
    message(FATAL_ERROR "pkg-config reports version '${version}'")
endif()
run(${PKG_CONFIG_EXECUTABLE} --print-requires ConfigDialogs)
foreach(module Core Gui Widgets)
    if(NOT run_output MATCHES "(^|\n)Qt${QT_MAJOR_VERSION}${module}(\n|$)")
        message(FATAL_ERROR "ConfigDialogs.pc does not require Qt${QT_MAJOR_VERSION}${module}:\n${run_output}")
    endif()
endforeach()
run(${PKG_CONFIG_EXECUTABLE} --cflags --libs ConfigDialogs)
separate_arguments(flags UNIX_COMMAND "${run_output}")
file(MAKE_DIRECTORY ${WORK_DIR}/build)
run(${CXX} -std=c++17 -o ${WORK_DIR}/build/consumer ${CONSUMER_DIR}/main.cpp ${flags}
    -Wl,-rpath,${prefix}/${LIBDIR})
run(${WORK_DIR}/build/consumer ${consumer_args})
