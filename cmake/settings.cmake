# How everything here is compiled.
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release)
endif()

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

function(velmora_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
    if(VELMORA_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

function(velmora_sanitize target)
    if(VELMORA_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${VELMORA_SANITIZE} -fno-omit-frame-pointer
                                                 -fno-sanitize-recover=all)
        target_link_options(${target} PUBLIC -fsanitize=${VELMORA_SANITIZE})
    endif()
endfunction()

# The library: C++20 inside, no exceptions, no run-time type information, and only what is marked is visible.
function(velmora_library_settings target)
    target_compile_features(${target} PRIVATE cxx_std_20)
    target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden
                                               VISIBILITY_INLINES_HIDDEN ON)
    velmora_warnings(${target})
    velmora_sanitize(${target})
endfunction()

# Programs: the host, the tests, the examples.
function(velmora_program_settings target)
    target_compile_features(${target} PRIVATE cxx_std_20)
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64)   # large files on 32 bits
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    velmora_warnings(${target})
    # gcc 12 takes the appending of short std::strings for an overlapping copy (its bug 105651).
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -Wno-restrict)
    endif()
    velmora_sanitize(${target})
endfunction()
