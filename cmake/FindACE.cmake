# Finds ACE and gives the target ACE::ACE. Installed beside zanConfig.cmake, which uses it too.

find_path(ACE_INCLUDE_DIR ace/ACE.h)
find_library(ACE_LIBRARY ACE)
mark_as_advanced(ACE_INCLUDE_DIR ACE_LIBRARY)

set(ACE_VERSION "")
if(ACE_INCLUDE_DIR AND EXISTS "${ACE_INCLUDE_DIR}/ace/Version.h")
    file(STRINGS "${ACE_INCLUDE_DIR}/ace/Version.h" ace_version
         REGEX "^#define ACE_VERSION \"[0-9.]+\"")
    string(REGEX REPLACE ".*\"([0-9.]+)\".*" "\\1" ACE_VERSION "${ace_version}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(ACE REQUIRED_VARS ACE_LIBRARY ACE_INCLUDE_DIR
                                  VERSION_VAR ACE_VERSION)

if(ACE_FOUND AND NOT TARGET ACE::ACE)
    add_library(ACE::ACE UNKNOWN IMPORTED)
    set_target_properties(ACE::ACE PROPERTIES
        IMPORTED_LOCATION "${ACE_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${ACE_INCLUDE_DIR}")
endif()
