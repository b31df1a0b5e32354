# Settings of our own build. A project that takes zan in as a subfolder keeps its own.

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Release, Debug or RelWithDebInfo" FORCE)
endif()
if(CMAKE_CXX_FLAGS_RELEASE STREQUAL "-O3 -DNDEBUG")
    set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
endif()

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# __FILE__ stands in log lines and exceptions: it begins at the root of the tree on every machine.
# So do the names in the debug information; a debugger is started there. The second form of the
# root is the one that ccache makes of it.
file(REAL_PATH "${PROJECT_BINARY_DIR}" real_build)
file(REAL_PATH "${PROJECT_SOURCE_DIR}" real_source)
file(RELATIVE_PATH relative_source "${real_build}" "${real_source}")
string(REGEX REPLACE "/$" "" relative_source "${relative_source}")
add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}/="
                    "-ffile-prefix-map=${relative_source}/=")

find_program(ZAN_CCACHE ccache)
mark_as_advanced(ZAN_CCACHE)
if(ZAN_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # With paths made relative, a second clone of the tree finds what the first has compiled.
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env
        "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1 "${ZAN_CCACHE}")
endif()
