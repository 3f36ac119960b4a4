# Started beside a NamedMutex that holds "torch": waits for it, however the two start, and is told so.
foreach(try RANGE 1000)
    execute_process(COMMAND ${PROGRAM} wait torch OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
    if(output MATCHES "opened: another program has it too.*waiting.*held.*released")
        return()
    endif()
endforeach()
message(FATAL_ERROR "NamedMutex never had to wait: ${output}")
