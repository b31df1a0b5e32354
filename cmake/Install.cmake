include(CMakePackageConfigHelpers)

set(zan_package "${CMAKE_INSTALL_LIBDIR}/cmake/zan")

install(TARGETS zan EXPORT zanTargets
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)
if(TARGET zanmlc)
    # No version in its name: it is preloaded by that name, and belongs to this version of zan.
    install(TARGETS zanmlc EXPORT zanTargets LIBRARY COMPONENT runtime)
endif()
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/zan" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
        FILES_MATCHING PATTERN "*.h")
install(EXPORT zanTargets NAMESPACE zan:: DESTINATION "${zan_package}")

# gdb looks for printers below a folder that is named after that of the library, which is known when
# it is installed. What is packed by CPack lies in /usr at last.
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" AND NOT IS_ABSOLUTE "${CMAKE_INSTALL_DATADIR}")
    install(CODE "
        get_filename_component(prefix \"\${CMAKE_INSTALL_PREFIX}\" ABSOLUTE)
        set(final \"\${prefix}\")
        if(prefix MATCHES /_CPack_Packages/)
            set(final /usr)
        endif()
        file(INSTALL \"$<TARGET_FILE:zan>-gdb.py\"
             DESTINATION \"\${prefix}/${CMAKE_INSTALL_DATADIR}/gdb/auto-load\${final}/${CMAKE_INSTALL_LIBDIR}\")"
        COMPONENT development)
endif()

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/zanConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/zanConfig.cmake" INSTALL_DESTINATION "${zan_package}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zanConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/zanConfig.cmake"
    "${PROJECT_BINARY_DIR}/zanConfigVersion.cmake"
    "${PROJECT_SOURCE_DIR}/cmake/FindACE.cmake"
    DESTINATION "${zan_package}")

# zan.pc finds its prefix from where it lies, so that an installed tree can be moved.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    set(zan_pc_prefix "${CMAKE_INSTALL_PREFIX}")
    set(zan_pc_libdir "${CMAKE_INSTALL_FULL_LIBDIR}")
    set(zan_pc_includedir "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
else()
    file(RELATIVE_PATH zan_pc_up "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
    string(REGEX REPLACE "/$" "" zan_pc_up "${zan_pc_up}")
    set(zan_pc_prefix "\${pcfiledir}/${zan_pc_up}")
    set(zan_pc_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
    set(zan_pc_includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
list(TRANSFORM ZAN_SWITCHES PREPEND "-D" OUTPUT_VARIABLE zan_pc_switches)
list(JOIN zan_pc_switches " " zan_pc_switches)
configure_file("${PROJECT_SOURCE_DIR}/cmake/zan.pc.in" "${PROJECT_BINARY_DIR}/zan.pc.in" @ONLY)
file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/zan.pc" INPUT "${PROJECT_BINARY_DIR}/zan.pc.in")
install(FILES "${PROJECT_BINARY_DIR}/zan.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(FILES README.md CHANGELOG.md DESTINATION "${CMAKE_INSTALL_DOCDIR}"
        COMPONENT documentation)
install(DIRECTORY docs/ DESTINATION "${CMAKE_INSTALL_DOCDIR}/guides"
        COMPONENT documentation FILES_MATCHING PATTERN "reference" EXCLUDE PATTERN "*.md")
# Peers in another language, and syntax for editors: where the guides link to them.
foreach(folder IN ITEMS python textmate vim)
    install(DIRECTORY contrib/${folder} DESTINATION "${CMAKE_INSTALL_DOCDIR}/contrib"
            COMPONENT documentation PATTERN "__pycache__" EXCLUDE)
endforeach()
# What `./dev reference` has made last.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/build/reference/html/"
        DESTINATION "${CMAKE_INSTALL_DOCDIR}/reference" COMPONENT documentation OPTIONAL)

if(PROJECT_IS_TOP_LEVEL)
    include(Package)
endif()
