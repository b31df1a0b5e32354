# Debian packages, made by cpack out of the preset `package`:
#
#   libzan2      what programs need to run
#   libzan-dev   headers, CMake package, zan.pc
#   zan-tools    the program `zan`
#   libzan-doc   the documents and, where doxygen is there, the reference
#
# and a -dbgsym package beside each that has code, found by gdb, valgrind and the crash reports.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "The zan developers <zan@packages.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL runtime development documentation)
if(TARGET zan_tool)
    list(APPEND CPACK_COMPONENTS_ALL tools)
endif()

set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "libzan${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Shared library for programs made with zan.")
# Names and lines in crash reports come through it; without it they have addresses.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS libdw1)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzan-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
# The public headers include ACE's.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libzan${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}-1), libace-dev, libstdc++-dev | g++")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libzan-doc)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers and build files for programs made with zan.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zan-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
# What is private to the build is in no package's list of libraries.
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libzan${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_DEBUGINFO_PACKAGE ON)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "Command-line program for the logs, encodings and digests of zan.")

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME libzan-doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DOCUMENTATION_DESCRIPTION "Guides, formats and reference of zan.")

include(CPack)
