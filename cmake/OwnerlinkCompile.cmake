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

# Gives `target` the project's options, as position-independent code.
function(ownerlink_compile_options target)
    target_link_libraries(${target} PRIVATE ownerlink_options)
    set_target_properties(${target} PROPERTIES
        POSITION_INDEPENDENT_CODE ON CXX_EXTENSIONS OFF C_STANDARD 11)
endfunction()
