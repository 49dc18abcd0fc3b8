# Compiler options that every target of the project shares.

add_library(ownerlink_options INTERFACE)
target_compile_features(ownerlink_options INTERFACE cxx_std_20)
target_compile_options(ownerlink_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    $<$<BOOL:${OWNERLINK_WERROR}>:-Werror>
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    -fvisibility=hidden
    $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>)

if(OWNERLINK_SANITIZE)
    set(ownerlink_sanitize_flags -fsanitize=${OWNERLINK_SANITIZE} -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    target_compile_options(ownerlink_options INTERFACE ${ownerlink_sanitize_flags})
    target_link_options(ownerlink_options INTERFACE ${ownerlink_sanitize_flags})
endif()

# What a mistake of ours, or of a peer that finds one, is to meet. The sanitizers look closer and do not
# go together with it; without optimisation there is nothing to fortify.
option(OWNERLINK_HARDEN "Protect stacks and check calls of the C library in optimised builds" ON)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
if(OWNERLINK_HARDEN AND NOT OWNERLINK_SANITIZE)
    set(ownerlink_fortify 2)
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 12)
        set(ownerlink_fortify 3)
    endif()
    set(ownerlink_is_optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
    target_compile_options(ownerlink_options INTERFACE
        $<${ownerlink_is_optimised}:-fstack-protector-strong>
        $<${ownerlink_is_optimised}:-U_FORTIFY_SOURCE>
        $<${ownerlink_is_optimised}:-D_FORTIFY_SOURCE=${ownerlink_fortify}>)
    target_link_options(ownerlink_options INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()

# Gives `target` the project's options, as position-independent code.
function(ownerlink_compile_options target)
    target_link_libraries(${target} PRIVATE ownerlink_options)
    set_target_properties(${target} PROPERTIES
        POSITION_INDEPENDENT_CODE ON CXX_EXTENSIONS OFF C_STANDARD 11)
endfunction()
