# A state of its own on Linux; on Windows the registry of the build's throw-away prefix, left without the instrument.
set(ENV{LUMBASE_HOME} ${WORK}/state)
set(ENV{LUMBASE_WINEPREFIX} ${WINEPREFIX})
file(REMOVE_RECURSE ${WORK}/state ${WORK}/client)
set(suffix)
if(TOOLCHAIN)
    set(suffix .exe)
endif()
set(lum ${EMULATOR} ${TREE}/${BINDIR}/lum${suffix})

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(expect_output expected)
    execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
    string(REPLACE "\r" "" output "${output}")
    string(STRIP "${output}" output)
    if(NOT output STREQUAL expected)
        message(FATAL_ERROR "expected '${expected}', found '${output}'")
    endif()
endfunction()

set(options -D CMAKE_PREFIX_PATH=${TREE} -D CMAKE_FIND_ROOT_PATH=${TREE} -D CMAKE_CXX_COMPILER=${COMPILER})
if(TOOLCHAIN)
    list(APPEND options -D CMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -D LumBase_DIR=${TREE}/${LIBDIR}/cmake/LumBase)
endif()
run(${CMAKE_COMMAND} -S ${EXAMPLES}/client -B ${WORK}/client -G Ninja ${options})
run(${CMAKE_COMMAND} --build ${WORK}/client)
set(client ${WORK}/client/PlasmaFlow${suffix})
set(mutex ${WORK}/client/NamedMutex${suffix})
if(TOOLCHAIN)
    file(COPY ${client} ${mutex} DESTINATION ${TREE}/${BINDIR}) # a program finds its libraries beside it
    set(client ${EMULATOR} ${TREE}/${BINDIR}/PlasmaFlow${suffix})
    set(mutex ${EMULATOR} ${TREE}/${BINDIR}/NamedMutex${suffix})
endif()

run(${lum} reg import ${EXAMPLES}/cedar.reg)
run(${lum} params set torch run PlasmaFlow 14.5)
expect_output("Plasma flow of the run phase: 14.50" ${client})
run(${lum} reg delete HKLM/Software/Tarvek --recursive)
expect_output("Plasma flow of the run phase: 15.00" ${client})

# Two programs and one lock: the one that was started second finds the other one's mutex.
expect_output("torch: made\ntorch: held\ntorch: released" ${mutex} wait torch)
# Longer and longer, for a machine on which one of them takes seconds to start. The waiter comes first in the pipe: it writes
# nothing there, while a holder before it would write its last word to nobody whenever the waiter has ended by then.
foreach(seconds 2 10 50)
    execute_process(
        COMMAND ${CMAKE_COMMAND} -D "PROGRAM=${mutex}" -D SECONDS=${seconds} -P ${CMAKE_CURRENT_LIST_DIR}/WaitForHolder.cmake
        COMMAND ${mutex} hold torch ${seconds}
        OUTPUT_VARIABLE held RESULTS_VARIABLE results)
    if(results STREQUAL "0;0")
        break()
    endif()
endforeach()
if(NOT results STREQUAL "0;0")
    message(FATAL_ERROR "waiter and holder ended with ${results}; the holder said: ${held}")
endif()

# Without CMake.
find_program(pkg_config pkg-config)
if(NOT TOOLCHAIN AND pkg_config)
    set(ENV{PKG_CONFIG_PATH} ${TREE}/${LIBDIR}/pkgconfig)
    execute_process(COMMAND ${pkg_config} --cflags --libs lumbase OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY)
    separate_arguments(flags UNIX_COMMAND "${flags}")
    run(${COMPILER} ${EXAMPLES}/client/PlasmaFlow.cpp -o ${WORK}/PlasmaFlow ${flags} -Wl,-rpath,${TREE}/${LIBDIR})
    expect_output("Plasma flow of the run phase: 15.00" ${WORK}/PlasmaFlow)
endif()
