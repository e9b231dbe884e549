# The large headers that nearly every source includes are compiled once for the product and once for the tests. Sources
# still include what they use: the lint run reads them without this.
set(CMAKE_PCH_WARN_INVALID OFF) # a target with options of its own reads the headers as text

function(_make_precompiled name)
    # More headers may follow the name.
    set(source ${CMAKE_BINARY_DIR}/${name}.cpp)
    file(CONFIGURE OUTPUT ${source} CONTENT "")
    add_library(${name} STATIC ${source})
    target_link_libraries(${name} PRIVATE project_options)
    target_precompile_headers(
        ${name}
        PRIVATE
        <windows.h>
        <algorithm>
        <atomic>
        <map>
        <memory>
        <mutex>
        <string>
        <vector>
        ${ARGN})
endfunction()

# `pattern` chooses targets by their type and what they link.
function(_reuse_precompiled folder name pattern)
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target ${targets})
        get_target_property(type ${target} TYPE)
        get_target_property(libraries ${target} LINK_LIBRARIES)
        if("${type};${libraries}" MATCHES "${pattern}")
            target_precompile_headers(${target} REUSE_FROM ${name})
        endif()
    endforeach()
    get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    foreach(inner ${folders})
        _reuse_precompiled(${inner} ${name} "${pattern}")
    endforeach()
endfunction()

# Called when all targets are known.
function(use_precompiled_headers)
    _make_precompiled(precompiled)
    foreach(folder src host tools)
        _reuse_precompiled(${PROJECT_SOURCE_DIR}/${folder} precompiled "^(STATIC_LIBRARY|SHARED_LIBRARY|EXECUTABLE);")
    endforeach()
    if(BUILD_TESTING)
        _make_precompiled(precompiled_tests <gtest/gtest.h>)
        target_link_libraries(precompiled_tests PRIVATE gmock)
        _reuse_precompiled(${PROJECT_SOURCE_DIR}/tests precompiled_tests "^EXECUTABLE;.*gmock_main")
    endif()
endfunction()
