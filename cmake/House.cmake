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
add_compile_options("-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")

find_program(ZAN_CCACHE ccache)
mark_as_advanced(ZAN_CCACHE)
if(ZAN_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${ZAN_CCACHE}")
endif()
