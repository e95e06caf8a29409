# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

# pellix_configure_target(<target> [precompiled headers]): what every target of this project has in common:
# warnings, strict Qt defines, sanitizers.
function(pellix_configure_target target)
    target_compile_features(${target} PUBLIC cxx_std_17)
    target_compile_definitions(${target} PRIVATE
        QT_NO_CAST_FROM_ASCII
        QT_NO_CAST_TO_ASCII
        QT_NO_FOREACH
        QT_NO_KEYWORDS
        QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
        QT_NO_URL_CAST_FROM_STRING
    )
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 $<$<BOOL:${PELLIX_WARNINGS_AS_ERRORS}>:/WX>)
    else()
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Wold-style-cast
            -Wcast-align -Woverloaded-virtual -Wformat=2
            $<$<BOOL:${PELLIX_WARNINGS_AS_ERRORS}>:-Werror>
            # Qt's logging macros are such calls.
            $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wno-gnu-zero-variadic-macro-arguments>
        )
    endif()
    if(PELLIX_SANITIZERS)
        target_compile_options(${target} PRIVATE
            -fsanitize=${PELLIX_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all)
        target_link_options(${target} PRIVATE -fsanitize=${PELLIX_SANITIZERS})
    endif()
    set(precompiled ${ARGN} pellix-precompiled)
    list(GET precompiled 0 precompiled)
    if(TARGET ${precompiled})
        # One kind of code for libraries and programs: precompiled headers fit one alone.
        target_compile_options(${target} PRIVATE -fPIC)
        if(NOT target STREQUAL precompiled)
            target_precompile_headers(${target} REUSE_FROM ${precompiled})
        endif()
    endif()
endfunction()

# pellix_precompile(<target> <headers>...): compiles what many files include once. The compiler takes that
# only where every macro that it depends on is the same as here.
function(pellix_precompile target)
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp")
    file(CONFIGURE OUTPUT "${source}" CONTENT "")
    add_library(${target} OBJECT EXCLUDE_FROM_ALL "${source}")
    set_target_properties(${target} PROPERTIES AUTOMOC OFF)
    target_precompile_headers(${target} PRIVATE ${ARGN})
    pellix_configure_target(${target} ${target})
endfunction()

if(PELLIX_PRECOMPILE_HEADERS AND NOT PELLIX_COVERAGE)
    pellix_precompile(pellix-precompiled
        <QtCore/QFile>
        <QtCore/QJsonArray>
        <QtCore/QJsonDocument>
        <QtCore/QJsonObject>
        <QtCore/QLoggingCategory>
        <QtCore/QMetaMethod>
        <QtCore/QPointer>
        <QtCore/QRegularExpression>
        <QtCore/QStringList>
        <QtCore/QTimer>
        <QtCore/QUrl>
        <QtCore/QVariant>
        <algorithm>
        <chrono>
        <functional>
        <memory>
        <vector>
    )
    # Without the macros that tell which of Qt's modules are linked: they differ, and nothing of this asks.
    target_link_libraries(pellix-precompiled PRIVATE Qt6::Platform)
    # What Qt6::Core says besides: macros must be the same.
    target_compile_definitions(pellix-precompiled PRIVATE $<$<NOT:$<CONFIG:Debug>>:QT_NO_DEBUG>)
    target_include_directories(pellix-precompiled SYSTEM PRIVATE
        "$<TARGET_PROPERTY:Qt6::Core,INTERFACE_INCLUDE_DIRECTORIES>")
endif()

# pellix_add_sources(<target> SOURCES ... HEADERS ...): files for a library, relative to the root of the
# repository. HEADERS are the public ones.
function(pellix_add_sources target)
    cmake_parse_arguments(arg "" "" "SOURCES;HEADERS" ${ARGN})
    list(TRANSFORM arg_HEADERS PREPEND "${PROJECT_SOURCE_DIR}/")
    list(TRANSFORM arg_SOURCES PREPEND "${PROJECT_SOURCE_DIR}/")
    target_sources(${target}
        PRIVATE ${arg_SOURCES}
        PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${arg_HEADERS}
    )
endfunction()

# A library: include root (so that "client/keywordclient.h" is found), alias, version, static define.
#   pellix_add_library(<target> EXPORT_NAME <name> [SOURCES ...] [HEADERS ...])
# EXPORT_NAME is also the component by which find_package() finds the library.
function(pellix_add_library target)
    cmake_parse_arguments(arg "" "EXPORT_NAME" "SOURCES;HEADERS" ${ARGN})

    add_library(${target})
    add_library(PellixClient::${arg_EXPORT_NAME} ALIAS ${target})
    pellix_configure_target(${target})
    if(PELLIX_COVERAGE)
        # Without exceptions, which are not used: else lines of which only the clean-up after one
        # has code, as in lists of initialisers, count as lines that never run.
        target_compile_options(${target} PRIVATE
            --coverage -fprofile-update=atomic -fno-exceptions)
        target_link_options(${target} PRIVATE --coverage)
    endif()

    pellix_add_sources(${target} SOURCES ${arg_SOURCES} HEADERS ${arg_HEADERS})
    target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "STATIC_LIBRARY")
        target_compile_definitions(${target} PUBLIC PELLIXCLIENT_STATIC)
    endif()
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${arg_EXPORT_NAME}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        VERIFY_INTERFACE_HEADER_SETS ON
    )
endfunction()

# pellix_add_plugin(<target> <folder of its module> <component>): what the engine loads from the folder of a
# QML module, here and where it is installed.
function(pellix_add_plugin target module component)
    add_library(${target} MODULE)
    pellix_configure_target(${target})
    set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY "${PELLIX_QML_DIR}/${module}")
    if(PELLIX_INSTALL)
        pellix_install_plugin(${target} ${module} ${component})
    endif()
endfunction()
