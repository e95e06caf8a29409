# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

# Debian packages created by CPack, one per part of an installation. scripts/packages builds and tests them.

set(PELLIX_PACKAGE_MAINTAINER "The pellixclient-keyword authors <pellixclient-keyword@lists.invalid>"
    CACHE STRING "The maintainer of the packages")

set(soversion ${PELLIX_SOVERSION})
set(package_runtime libpellixclient-keyword${soversion})
set(package_module qml6-module-pellixclient-keyword)
set(package_extrasmodule qml6-module-pellixclient-keyword-extras)
set(package_control qml6-module-pellixclient-control)
set(package_dev libpellixclient-keyword-dev)
set(package_tools pellixclient-keyword-tools)
set(package_gateway keyword-gateway)
set(package_doc libpellixclient-keyword-doc)

# The files that each package must have in /usr/share/doc.
find_program(PELLIX_GZIP gzip REQUIRED)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/debian/changelog" @ONLY CONTENT
[[pellixclient-keyword (@PROJECT_VERSION@) unstable; urgency=medium

  * See html/changelog.html in libpellixclient-keyword-doc.

 -- @PELLIX_PACKAGE_MAINTAINER@  @date@
]])
execute_process(
    COMMAND ${PELLIX_GZIP} -9nf "${PROJECT_BINARY_DIR}/debian/changelog"
    COMMAND_ERROR_IS_FATAL ANY
)
file(WRITE "${PROJECT_BINARY_DIR}/debian/triggers" "activate-noawait ldconfig\n")
file(READ "${PROJECT_SOURCE_DIR}/LICENSE" license)
string(REGEX REPLACE "^MIT License\n+Copyright[^\n]*\n+" "" license "${license}")
string(STRIP "${license}" license)
string(REPLACE "\n\n" "\n.\n" license "${license}")
string(REPLACE "\n" "\n " license "${license}")
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/debian/copyright" @ONLY CONTENT
[[Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: pellixclient-keyword

Files: *
Copyright: 2026 The pellixclient-keyword authors
License: Expat

License: Expat
 @license@
]])

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME pellixclient-keyword)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The pellixclient-keyword authors")
set(CPACK_PACKAGE_CONTACT "${PELLIX_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime module extrasmodule control dev tools doc)
if(TARGET keyword-gateway)
    list(APPEND CPACK_COMPONENTS_ALL gateway)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# Read by CPack itself. Our own libraries are found in the build folder. The summary of each package is the
# first line of its description.
file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/debian/cpack.cmake" CONTENT
"set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    \"$<TARGET_FILE_DIR:pellixclient-pubsub>\"
    \"$<TARGET_FILE_DIR:pellixclient-keyword>\"
    \"$<TARGET_FILE_DIR:pellixclient-keyword-extras>\"
    \"$<TARGET_FILE_DIR:pellixclient-server>\"
    \"$<TARGET_FILE_DIR:pellixclient-simulator>\")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY \"\")
")
set(CPACK_PROJECT_CONFIG_FILE "${PROJECT_BINARY_DIR}/debian/cpack.cmake")

set(about
"Keywords are named, typed values of a keyword server, at paths such as
/plant/tank1/level. The library binds them to QML properties, writes them
back, and lists them in item models.")

set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "live values of a keyword server in Qt Quick
${about}
.
This package has the shared libraries.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${package_runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/triggers")
# The modules that its QML components import.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS
    "qml6-module-qtquick, qml6-module-qtquick-controls, qml6-module-qtquick-templates, qml6-module-qtqml-workerscript")

set(CPACK_COMPONENT_MODULE_DESCRIPTION "live values of a keyword server in Qt Quick - QML module
${about}
.
This package has the QML module PellixClient.Keyword, for programs that do
not register it themselves, such as qml and those in Python, and its
description for qmllint and editors.")
set(CPACK_COMPONENT_MODULE_DEPENDS runtime)
set(CPACK_DEBIAN_MODULE_PACKAGE_NAME ${package_module})
set(CPACK_DEBIAN_MODULE_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_MODULE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_MODULE_PACKAGE_DEPENDS "qml6-module-qtqml")
set(CPACK_DEBIAN_MODULE_PACKAGE_RECOMMENDS ${package_control})

set(CPACK_COMPONENT_EXTRASMODULE_DESCRIPTION "live values of a keyword server in Qt Quick - companions
${about}
.
This package has the QML module PellixClient.Keyword.Extras: writes with an
outcome, connections, tables, alarms, trees, histories and plots.")
set(CPACK_COMPONENT_EXTRASMODULE_DEPENDS module)
set(CPACK_DEBIAN_EXTRASMODULE_PACKAGE_NAME ${package_extrasmodule})
set(CPACK_DEBIAN_EXTRASMODULE_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_EXTRASMODULE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_EXTRASMODULE_PACKAGE_DEPENDS "qml6-module-qtquick, qml6-module-qtquick-templates")

set(CPACK_COMPONENT_CONTROL_DESCRIPTION "live values of a keyword server in Qt Quick - text and theme
${about}
.
This package has the QML modules PellixClient.Control and
PellixClient.Theme. The components PKeywordPath and PKeywordPathList use
them in programs that have no PellixClient.Control of their own.")
set(CPACK_DEBIAN_CONTROL_PACKAGE_NAME ${package_control})
set(CPACK_DEBIAN_CONTROL_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_CONTROL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_CONTROL_PACKAGE_DEPENDS "qml6-module-qtqml, qml6-module-qtquick")

set(CPACK_COMPONENT_DEV_DESCRIPTION "live values of a keyword server in Qt Quick - development files
${about}
.
This package has the headers, and what CMake and pkg-config read.")
set(CPACK_COMPONENT_DEV_DEPENDS runtime module)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME ${package_dev})
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "qt6-base-dev (>= 6.4), qt6-declarative-dev (>= 6.4), qt6-websockets-dev (>= 6.4)")

set(CPACK_COMPONENT_TOOLS_DESCRIPTION "browser, simulator and command line of keyword servers
${about}
.
This package has the programs keyword-browser, which shows and writes the
keywords of a server, keyword, which does so on the command line and also
records and replays them, and keyword-simulator, a server to develop against.")
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${package_tools})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
    "qml6-module-qtqml, qml6-module-qtquick, qml6-module-qtquick-controls, qml6-module-qtquick-layouts, qml6-module-qtquick-templates, qml6-module-qtquick-window, qml6-module-qtqml-models, qml6-module-qtqml-workerscript")

set(CPACK_COMPONENT_GATEWAY_DESCRIPTION "serve the topics of MQTT brokers as keywords
${about}
.
This package has the program keyword-gateway, which makes the topics of MQTT
brokers live, writable keywords, its service for systemd, and the schema of
its configuration.")
set(CPACK_COMPONENT_GATEWAY_DEPENDS runtime)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_NAME ${package_gateway})
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SECTION net)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SUGGESTS "mosquitto, ${package_tools}")

set(CPACK_COMPONENT_DOC_DESCRIPTION "live values of a keyword server in Qt Quick - documentation
${about}
.
This package has the documentation as HTML and for Qt's help viewer.")
set(CPACK_DEBIAN_DOC_PACKAGE_NAME ${package_doc})
set(CPACK_DEBIAN_DOC_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)

foreach(part IN LISTS CPACK_COMPONENTS_ALL)
    install(
        FILES "${PROJECT_BINARY_DIR}/debian/copyright" "${PROJECT_BINARY_DIR}/debian/changelog.gz"
        DESTINATION "share/doc/${package_${part}}"
        COMPONENT ${part}
    )
endforeach()

include(CPack)
