# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

include(CMakePackageConfigHelpers)

# The headers keep their relative paths below a separate folder, so that an installed library is included
# exactly as in the build tree: #include "client/keywordclient.h".
set(PELLIX_INSTALL_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}/pellixclient")
set(PELLIX_INSTALL_DATADIR "${CMAKE_INSTALL_DATADIR}/pellixclient")
set(PELLIX_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/PellixClient")
set(PELLIX_INSTALL_PKGCONFIGDIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# The same relative path as for the modules of Qt itself. If both have the same prefix, Qt finds our modules.
set(qmldir "${QT6_INSTALL_QML}")
if(IS_ABSOLUTE "${qmldir}")
    cmake_path(RELATIVE_PATH qmldir BASE_DIRECTORY "${QT6_INSTALL_PREFIX}")
endif()
cmake_path(NORMAL_PATH qmldir)
set(PELLIX_INSTALL_QMLDIR "${qmldir}" CACHE STRING "Where the QML modules are installed, below the prefix")

# The parts of an installation, for cmake --install --component and for the packages.
set(PELLIX_RUNTIME runtime)
set(PELLIX_MODULE module)
set(PELLIX_EXTRAS_MODULE extrasmodule)
set(PELLIX_CONTROL control)
set(PELLIX_DEVELOPMENT dev)
set(PELLIX_TOOLS tools)
set(PELLIX_GATEWAY gateway)
set(PELLIX_DOCUMENTATION doc)

# Installs the library with its headers, its exported target, and its pkg-config file. The libraries find each
# other in any installation folder.
function(pellix_install_library target)
    get_target_property(name ${target} EXPORT_NAME)
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
    target_include_directories(${target} INTERFACE "$<INSTALL_INTERFACE:${PELLIX_INSTALL_INCLUDEDIR}>")
    install(TARGETS ${target}
        EXPORT PellixClient${name}Targets
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT ${PELLIX_RUNTIME}
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${PELLIX_RUNTIME}
            NAMELINK_COMPONENT ${PELLIX_DEVELOPMENT}
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${PELLIX_DEVELOPMENT}
        FILE_SET HEADERS DESTINATION "${PELLIX_INSTALL_INCLUDEDIR}" COMPONENT ${PELLIX_DEVELOPMENT}
    )
    install(EXPORT PellixClient${name}Targets
        NAMESPACE PellixClient::
        DESTINATION "${PELLIX_INSTALL_CMAKEDIR}"
        COMPONENT ${PELLIX_DEVELOPMENT}
    )
    pellix_install_pkgconfig(${target})
endfunction()

# Creates a pkg-config file from the libraries that the target links. Its prefix is determined from its own
# location.
function(pellix_install_pkgconfig target)
    get_target_property(type ${target} TYPE)
    get_target_property(public ${target} INTERFACE_LINK_LIBRARIES)
    get_target_property(private ${target} LINK_LIBRARIES)
    set(requires "")
    set(cflags "")
    set(libraries ${public})
    if(type STREQUAL "STATIC_LIBRARY") # users also link what the library itself needs
        set(libraries ${private})
        set(cflags " -DPELLIXCLIENT_STATIC")
    endif()
    foreach(library IN LISTS libraries)
        if(library MATCHES "^Qt6::([A-Za-z0-9]+)$")
            list(APPEND requires "Qt6${CMAKE_MATCH_1} >= 6.4")
        elseif(library MATCHES "^PellixClient::([A-Za-z0-9]+)$")
            get_target_property(name ${library} ALIASED_TARGET)
            list(APPEND requires "${name} = ${PROJECT_VERSION}")
        endif()
    endforeach()
    list(JOIN requires ", " requires)

    cmake_path(SET here NORMALIZE "/prefix/${PELLIX_INSTALL_PKGCONFIGDIR}")
    cmake_path(RELATIVE_PATH here BASE_DIRECTORY /prefix)
    file(RELATIVE_PATH up "/prefix/${here}" "/prefix")
    string(REGEX REPLACE "/$" "" up "${up}")
    file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/${target}.pc" @ONLY CONTENT
[[prefix=${pcfiledir}/@up@
libdir=${prefix}/@CMAKE_INSTALL_LIBDIR@
includedir=${prefix}/@PELLIX_INSTALL_INCLUDEDIR@

Name: @target@
Description: @PROJECT_DESCRIPTION@
Version: @PROJECT_VERSION@
Requires: @requires@
Libs: -L${libdir} -l@target@
Cflags: -I${includedir}@cflags@
]])
    install(FILES "${PROJECT_BINARY_DIR}/${target}.pc"
        DESTINATION "${PELLIX_INSTALL_PKGCONFIGDIR}"
        COMPONENT ${PELLIX_DEVELOPMENT}
    )
endfunction()

# pellix_install_program(<target> <manual page> [component]): installs the program as a part of the tools, or
# of the given component. The program finds the libraries of the same installation. A test checks that the
# manual page describes all options.
function(pellix_install_program target page)
    set(component ${ARGN} ${PELLIX_TOOLS})
    list(GET component 0 component)
    file(RELATIVE_PATH libraries
        "/prefix/${CMAKE_INSTALL_BINDIR}" "/prefix/${CMAKE_INSTALL_LIBDIR}")
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
    install(TARGETS ${target}
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT ${component})

    cmake_path(ABSOLUTE_PATH page OUTPUT_VARIABLE source)
    set_property(TARGET ${target} PROPERTY PELLIX_MANUAL_PAGE "${source}")
    find_program(PELLIX_GZIP gzip)
    if(PELLIX_GZIP)
        set(page "${CMAKE_CURRENT_BINARY_DIR}/${target}.1")
        configure_file("${source}" "${page}" COPYONLY)
        execute_process(COMMAND ${PELLIX_GZIP} -9nkf "${page}" COMMAND_ERROR_IS_FATAL ANY)
        set(source "${page}.gz")
    endif()
    install(FILES "${source}"
        DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT ${component})
endfunction()

# pellix_install_plugin(<target> <folder of its module> <component>): installs the plugin next to the qmldir
# file. The plugin finds the libraries of the same installation.
function(pellix_install_plugin target module component)
    set(folder "${PELLIX_INSTALL_QMLDIR}/${module}")
    cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY "/prefix" NORMALIZE OUTPUT_VARIABLE here)
    cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY "/prefix" NORMALIZE OUTPUT_VARIABLE there)
    file(RELATIVE_PATH libraries "${here}" "${there}")
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
    install(TARGETS ${target} LIBRARY DESTINATION "${folder}" COMPONENT ${component})
endfunction()

# Installs the libraries that were built, and the files for find_package(PellixClient).
function(pellix_install_package)
    foreach(part IN ITEMS pubsub keyword keyword-extras-core keyword-extras server simulator)
        set(target pellixclient-${part})
        if(TARGET ${target})
            pellix_install_library(${target})
        endif()
    endforeach()

    set(PELLIX_LINKED_STATICALLY OFF)
    if(NOT BUILD_SHARED_LIBS)
        set(PELLIX_LINKED_STATICALLY ON)
    endif()
    configure_package_config_file(
        "${PROJECT_SOURCE_DIR}/cmake/PellixClientConfig.cmake.in"
        "${PROJECT_BINARY_DIR}/PellixClientConfig.cmake"
        INSTALL_DESTINATION "${PELLIX_INSTALL_CMAKEDIR}"
        PATH_VARS PELLIX_INSTALL_QMLDIR
    )
    write_basic_package_version_file(
        "${PROJECT_BINARY_DIR}/PellixClientConfigVersion.cmake"
        COMPATIBILITY SameMajorVersion
    )
    install(FILES
        "${PROJECT_BINARY_DIR}/PellixClientConfig.cmake"
        "${PROJECT_BINARY_DIR}/PellixClientConfigVersion.cmake"
        DESTINATION "${PELLIX_INSTALL_CMAKEDIR}"
        COMPONENT ${PELLIX_DEVELOPMENT}
    )
    # docs/ installs the pages of the repository as a part of the site. In Debian, the license of a package is
    # a separate file.
    if(NOT PELLIX_DEBIAN_PACKAGES)
        install(FILES "${PROJECT_SOURCE_DIR}/LICENSE"
            DESTINATION "${CMAKE_INSTALL_DOCDIR}"
            COMPONENT ${PELLIX_DOCUMENTATION}
        )
    endif()
endfunction()
