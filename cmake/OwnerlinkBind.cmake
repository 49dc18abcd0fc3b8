# Binds the core's calls of the platform and the operating system to other names.
#
# The core calls `open`, `read`, `ioctl` and `close` on resource names. A symbol list ("old new" on
# each line) renames those references in a copy of the core's archive and nowhere else, so that the
# process that loads the library keeps its own four calls.

# Makes `target`, a static library that is the core with the references of `symbols` renamed.
function(ownerlink_bind_core target symbols)
    set(archive ${CMAKE_CURRENT_BINARY_DIR}/lib${target}.a)
    add_custom_command(OUTPUT ${archive}
        COMMAND ${CMAKE_OBJCOPY} --redefine-syms=${symbols} $<TARGET_FILE:ownerlink_core> ${archive}
        DEPENDS ownerlink_core ${symbols}
        COMMENT "Binding the core as ${target}"
        VERBATIM)
    add_custom_target(${target}_archive DEPENDS ${archive})
    add_library(${target} STATIC IMPORTED GLOBAL)
    set_target_properties(${target} PROPERTIES
        IMPORTED_LOCATION ${archive}
        INTERFACE_INCLUDE_DIRECTORIES
            "${CMAKE_SOURCE_DIR}/include;${CMAKE_SOURCE_DIR}"
        INTERFACE_LINK_LIBRARIES "PkgConfig::YAML;Threads::Threads")
    add_dependencies(${target} ${target}_archive)
endfunction()

# Fails the build when an object of `core` reaches one of the four calls under another spelling:
# large-file and fortified forms would slip past the binding in silence.
function(ownerlink_add_symbol_check core)
    add_custom_command(TARGET ${core} POST_BUILD
        COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DARCHIVE=$<TARGET_FILE:${core}>
            -P ${CMAKE_SOURCE_DIR}/cmake/CheckCoreSymbols.cmake
        VERBATIM)
endfunction()
