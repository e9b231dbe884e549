# What every target of the project is compiled with.
add_library(project_options INTERFACE)
target_compile_features(project_options INTERFACE cxx_std_20)
target_compile_definitions(
    project_options
    INTERFACE UNICODE
              _UNICODE
              _WIN32_WINNT=0x0602
              WIN32_LEAN_AND_MEAN
              NOMINMAX)

if(MSVC)
    target_compile_options(project_options INTERFACE /W4 /utf-8)
else()
    target_compile_options(project_options INTERFACE -Wall -Wextra -Wshadow -Wconversion -Wno-sign-conversion
                                                     -Werror=return-type -Werror)
    if(CMAKE_BUILD_TYPE STREQUAL "Debug")
        target_compile_options(project_options INTERFACE -fsanitize=undefined -fsanitize-undefined-trap-on-error)
        target_compile_definitions(project_options INTERFACE _GLIBCXX_ASSERTIONS)
    else()
        # Out of a precompiled header the system's inline functions are warned of like our own code, and GCC 12 misreads
        # copies of short literals in them when it optimises.
        target_compile_options(project_options INTERFACE -Wno-array-bounds -Wno-stringop-overread)
    endif()
endif()
