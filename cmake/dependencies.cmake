# Third-party code, all of it from Debian packages. Header-only libraries are copied into the build tree, since the
# host's own include folder must never be on a cross compiler's path.
function(import_header_library target header)
    find_file(${target}_header ${header} PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    set(folder ${CMAKE_BINARY_DIR}/third_party/${target})
    configure_file(${${target}_header} ${folder}/${header} COPYONLY)
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${folder})
endfunction()

function(import_header_folder target folder header)
    find_file(${target}_header ${folder}/${header} PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    get_filename_component(source ${${target}_header} DIRECTORY)
    file(COPY ${source} DESTINATION ${CMAKE_BINARY_DIR}/third_party/${target})
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/third_party/${target})
endfunction()

import_header_library(picojson picojson.h)
import_header_folder(cli11 CLI CLI.hpp)

if(BUILD_TESTING)
    set(INSTALL_GTEST OFF)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/third_party/googletest EXCLUDE_FROM_ALL)
    foreach(target gtest gtest_main gmock gmock_main)
        set_target_properties(${target} PROPERTIES ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/third_party/lib)
    endforeach()
endif()
