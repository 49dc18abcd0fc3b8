# What is installed, as three components: runtime (the library), development (headers, both
# libraries' link names, the double, the CMake package, pkg-config files, documents, examples) and
# tools (the programs with all that runs, completes and documents them; their folders say which).
#
# Names and versions come from the target and from project(VERSION) alone.
include(CMakePackageConfigHelpers)

set(OWNERLINK_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ownerlink)
# A folder of its own, so that "platform/ezcom.h" is found as in the source tree and nothing else is.
set(OWNERLINK_PLATFORM_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/ownerlink-platform)

# Installs a library made by ownerlink_add_library; its file goes to `component`.
function(ownerlink_install_library name component)
    install(TARGETS ${name} EXPORT ownerlinkTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
        NAMELINK_COMPONENT development)
endfunction()

# Writes lib<name>'s pkg-config file. It finds the prefix from where it lies itself, so that
# `cmake --install --prefix` and a tree that is moved as a whole are right.
function(ownerlink_install_pkg_config name platform description)
    set(OWNERLINK_PC_NAME ${name})
    set(OWNERLINK_PC_PLATFORM ${platform})
    set(OWNERLINK_PC_DESCRIPTION "${description}")
    file(RELATIVE_PATH OWNERLINK_PC_PREFIX
        ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
    string(REGEX REPLACE "/$" "" OWNERLINK_PC_PREFIX "${OWNERLINK_PC_PREFIX}")
    file(RELATIVE_PATH OWNERLINK_PC_LIBDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
    file(RELATIVE_PATH OWNERLINK_PC_INCLUDEDIR
        ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
    configure_file(${CMAKE_SOURCE_DIR}/cmake/library.pc.in ${CMAKE_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/${name}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()

function(ownerlink_install_headers)
    install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/ownerlink COMPONENT development
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
    file(GLOB platform CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/platform/*.h)
    install(FILES ${platform} COMPONENT development
        DESTINATION ${OWNERLINK_PLATFORM_INCLUDEDIR}/platform)
    if(TARGET ownerlink-fake)
        install(FILES ${CMAKE_SOURCE_DIR}/platform/fake/fake_platform.h COMPONENT development
            DESTINATION ${OWNERLINK_PLATFORM_INCLUDEDIR}/platform/fake)
    endif()
endfunction()

function(ownerlink_install_cmake_package)
    configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/ownerlinkConfig.cmake.in
        ${CMAKE_BINARY_DIR}/ownerlinkConfig.cmake INSTALL_DESTINATION ${OWNERLINK_PACKAGE_DIR})
    write_basic_package_version_file(${CMAKE_BINARY_DIR}/ownerlinkConfigVersion.cmake
        COMPATIBILITY SameMajorVersion)
    install(FILES ${CMAKE_BINARY_DIR}/ownerlinkConfig.cmake
        ${CMAKE_BINARY_DIR}/ownerlinkConfigVersion.cmake
        DESTINATION ${OWNERLINK_PACKAGE_DIR} COMPONENT development)
    install(EXPORT ownerlinkTargets NAMESPACE ownerlink:: COMPONENT development
        DESTINATION ${OWNERLINK_PACKAGE_DIR})
endfunction()

function(ownerlink_install_documents)
    install(DIRECTORY ${CMAKE_SOURCE_DIR}/docs/ COMPONENT development
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN man EXCLUDE)
    file(GLOB pages CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/*.md)
    install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
    install(FILES ${CMAKE_SOURCE_DIR}/examples/manager.cpp ${CMAKE_SOURCE_DIR}/examples/owner.cpp
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development)
    install(FILES ${CMAKE_SOURCE_DIR}/examples/installed.cmake RENAME CMakeLists.txt
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development)
    install(PROGRAMS ${CMAKE_SOURCE_DIR}/tools/trace/latency.bt
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development)
    if(TARGET ownerlinkctl)
        install(FILES ${CMAKE_SOURCE_DIR}/examples/appmgr.yaml
            ${CMAKE_SOURCE_DIR}/examples/owners.yaml
            DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT tools)
    endif()
endfunction()

# A program in the prefix finds the library in the prefix. A package for the system's own folders
# says -DCMAKE_SKIP_INSTALL_RPATH=ON.
function(ownerlink_find_library_beside program bindir)
    file(RELATIVE_PATH to_library ${bindir} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/${to_library}")
endfunction()
