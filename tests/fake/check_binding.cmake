# Fails when the bound core still needs a name that binding should have taken away, or another call
# that sleeps, waits for a time or reaches the system past the double.
execute_process(COMMAND ${NM} --undefined-only ${ARCHIVE}
    OUTPUT_VARIABLE needed ERROR_QUIET RESULT_VARIABLE failed)
if(failed)
    message(FATAL_ERROR "${NM} cannot read ${ARCHIVE}")
endif()

file(STRINGS ${SYMBOLS} lines)
set(escapes open64 openat openat64 __open_2 __open64_2 __read_chk pread fopen64 freopen stat fstat
    opendir readlink socket connect send recv poll select epoll_wait mmap fork system popen
    sleep clock_nanosleep gettimeofday time openlog closelog vsyslog __vsyslog_chk
    pthread_create pthread_setname_np pthread_cond_timedwait pthread_cond_clockwait
    _ZNSt6chrono3_V212system_clock3nowEv)
foreach(line IN LISTS lines)
    string(REGEX REPLACE " .*" "" symbol "${line}")
    list(APPEND escapes ${symbol})
endforeach()

foreach(symbol IN LISTS escapes)
    if(needed MATCHES "[ \t]U ${symbol}\n")
        message(SEND_ERROR "the core's call of ${symbol} escapes the platform double")
    endif()
endforeach()
