# Makes a shared library of the core and one platform.

# ownerlink_add_library(name CORE <bound core> [PLATFORM <object or static library>]
#                       [EXPORTS <file with further lines for the version script's global part>])
function(ownerlink_add_library name)
    cmake_parse_arguments(arg "" "CORE;PLATFORM;EXPORTS" "" ${ARGN})
    set(OWNERLINK_PLATFORM_EXPORTS "")
    if(arg_PLATFORM)
        file(READ ${CMAKE_SOURCE_DIR}/cmake/platform.exports OWNERLINK_PLATFORM_EXPORTS)
    endif()
    if(arg_EXPORTS)
        file(READ ${arg_EXPORTS} further)
        string(APPEND OWNERLINK_PLATFORM_EXPORTS "${further}")
    endif()
    set(map ${CMAKE_CURRENT_BINARY_DIR}/lib${name}.map)
    configure_file(${CMAKE_SOURCE_DIR}/cmake/libownerlink.map.in ${map} @ONLY)

    # All code comes out of the archives; the target has no source of its own.
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/${name}_anchor.cpp "")
    add_library(${name} SHARED ${CMAKE_CURRENT_BINARY_DIR}/${name}_anchor.cpp)
    ownerlink_compile_options(${name})
    target_include_directories(${name} INTERFACE
        $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ownerlink-platform>)
    target_compile_features(${name} INTERFACE cxx_std_17)
    target_link_libraries(${name}
        PRIVATE "$<LINK_LIBRARY:WHOLE_ARCHIVE,${arg_CORE}>" ${arg_PLATFORM}
        PUBLIC $<BUILD_INTERFACE:PkgConfig::YAML> $<INSTALL_INTERFACE:PkgConfig::ownerlink_YAML>
        Threads::Threads)
    target_link_options(${name} PRIVATE
        -Wl,-Bsymbolic-functions -Wl,-z,nodelete -Wl,-z,relro -Wl,-z,now
        -Wl,--version-script=${map})
    if(arg_PLATFORM AND NOT OWNERLINK_SANITIZE)
        target_link_options(${name} PRIVATE -Wl,-z,defs)
    endif()
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS ${map})
endfunction()
