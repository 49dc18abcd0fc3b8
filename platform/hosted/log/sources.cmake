# The log and the bounds-checked memory functions of the hosted platform, as parts of
# ownerlink_hosted.
target_sources(ownerlink_hosted PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/config.cpp
    ${CMAKE_CURRENT_LIST_DIR}/dlog.cpp
    ${CMAKE_CURRENT_LIST_DIR}/file_sink.cpp
    ${CMAKE_CURRENT_LIST_DIR}/journal_sink.cpp
    ${CMAKE_CURRENT_LIST_DIR}/journal_socket.cpp
    ${CMAKE_CURRENT_LIST_DIR}/journal_stream.cpp
    ${CMAKE_CURRENT_LIST_DIR}/levels.cpp
    ${CMAKE_CURRENT_LIST_DIR}/line.cpp
    ${CMAKE_CURRENT_LIST_DIR}/router.cpp
    ${CMAKE_CURRENT_LIST_DIR}/signal_guard.cpp
    ${CMAKE_CURRENT_LIST_DIR}/sink.cpp
    ${CMAKE_CURRENT_LIST_DIR}/stderr_sink.cpp
    ${CMAKE_CURRENT_LIST_DIR}/syslog_sink.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../securec.cpp)

# The headers alone: the library is loaded when the sink is first asked for.
if(OWNERLINK_DLT_FOUND)
    target_sources(ownerlink_hosted PRIVATE
        ${CMAKE_CURRENT_LIST_DIR}/dlt_library.cpp
        ${CMAKE_CURRENT_LIST_DIR}/dlt_sink.cpp)
else()
    target_sources(ownerlink_hosted PRIVATE ${CMAKE_CURRENT_LIST_DIR}/no_dlt_sink.cpp)
endif()

# Headers alone: the packaged target would make libownerlink.so need libfmt. The third definition
# keeps the log file from the programs that the host starts.
find_package(spdlog REQUIRED)
target_include_directories(ownerlink_hosted SYSTEM PRIVATE
    $<TARGET_PROPERTY:spdlog::spdlog_header_only,INTERFACE_INCLUDE_DIRECTORIES>)
set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/file_sink.cpp
    TARGET_DIRECTORY ownerlink_hosted PROPERTIES
    COMPILE_DEFINITIONS "SPDLOG_FMT_EXTERNAL;FMT_HEADER_ONLY;SPDLOG_PREVENT_CHILD_FD")
