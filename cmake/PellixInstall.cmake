# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

include(CMakePackageConfigHelpers)

# The headers keep their places below a folder of their own, so that an installed library is
# included exactly like one in the build tree: #include "client/keywordclient.h".
set(pellix_include_dir "${CMAKE_INSTALL_INCLUDEDIR}/pellixclient")
set(pellix_config_dir "${CMAKE_INSTALL_LIBDIR}/cmake/PellixClient")

foreach(target IN ITEMS pellixclient-pubsub pellixclient-keyword)
    target_include_directories(${target} INTERFACE "$<INSTALL_INTERFACE:${pellix_include_dir}>")
    install(TARGETS ${target}
        EXPORT PellixClientTargets
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        FILE_SET HEADERS DESTINATION "${pellix_include_dir}"
    )
endforeach()

install(EXPORT PellixClientTargets
    NAMESPACE PellixClient::
    DESTINATION "${pellix_config_dir}"
)
configure_package_config_file(
    "${PROJECT_SOURCE_DIR}/cmake/PellixClientConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/PellixClientConfig.cmake"
    INSTALL_DESTINATION "${pellix_config_dir}"
)
write_basic_package_version_file(
    "${PROJECT_BINARY_DIR}/PellixClientConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion
)
install(FILES
    "${PROJECT_BINARY_DIR}/PellixClientConfig.cmake"
    "${PROJECT_BINARY_DIR}/PellixClientConfigVersion.cmake"
    DESTINATION "${pellix_config_dir}"
)
