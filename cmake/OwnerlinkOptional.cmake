# What the build takes where it finds it, and can do without.
include(CheckIncludeFile)

# ownerlink_optional(OPTION header package purpose)
#
# Makes the cache variable OPTION (AUTO, ON or OFF) and sets ${OPTION}_FOUND to whether `purpose` is
# built, which needs `header` of the Debian package `package`. ON without the header is an error.
function(ownerlink_optional option header package purpose)
    set(${option} AUTO CACHE STRING "${purpose}: AUTO (where ${header} is found), ON or OFF")
    set_property(CACHE ${option} PROPERTY STRINGS AUTO ON OFF)
    set(found OFF)
    if(${option} STREQUAL AUTO OR ${option})
        check_include_file(${header} ${option}_HEADER)
        if(${option}_HEADER)
            set(found ON)
            message(STATUS "${purpose}: built")
        elseif(${option} STREQUAL AUTO)
            message(STATUS "${purpose}: not built, ${header} is missing (${package})")
        else()
            message(FATAL_ERROR "${option} is ON, but ${header} is missing (${package})")
        endif()
    else()
        message(STATUS "${purpose}: not built, ${option} is OFF")
    endif()
    set(${option}_FOUND ${found} PARENT_SCOPE)
endfunction()
