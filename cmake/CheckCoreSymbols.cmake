# Fails when ARCHIVE needs a spelling of open, read, ioctl or close that binding does not know.
execute_process(COMMAND ${NM} --undefined-only ${ARCHIVE}
    OUTPUT_VARIABLE needed ERROR_QUIET RESULT_VARIABLE failed)
if(failed)
    message(FATAL_ERROR "${NM} cannot read ${ARCHIVE}")
endif()
foreach(symbol open64 __open_2 __open64_2 __read_chk)
    if(needed MATCHES "[ \t]U ${symbol}\n")
        message(FATAL_ERROR "an object of the core needs ${symbol}: call open and read with constant "
            "flags and sizes, and without large-file macros")
    endif()
endforeach()
