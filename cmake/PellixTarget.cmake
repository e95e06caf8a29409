# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

# pellix_configure_target(<target> [precompiled headers]): sets the common options of all targets in this
# project: warnings, strict Qt defines, and sanitizers.
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
            # The logging macros of Qt are such calls.
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
        # Libraries and programs use the same code model, because precompiled headers only fit one.
        target_compile_options(${target} PRIVATE -fPIC)
        if(NOT target STREQUAL precompiled)
            target_precompile_headers(${target} REUSE_FROM ${precompiled})
        endif()
    endif()
endfunction()

# pellix_precompile(<target> <headers>...): compiles headers that many files include only once. The compiler
# accepts the result only if every macro on which it depends has the same value as here.
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
    # The macros that indicate the linked Qt modules are excluded: they differ between targets, and no header
    # here uses them.
    target_link_libraries(pellix-precompiled PRIVATE Qt6::Platform)
    # The other definitions of Qt6::Core are required, because all macros must be the same.
    target_compile_definitions(pellix-precompiled PRIVATE $<$<NOT:$<CONFIG:Debug>>:QT_NO_DEBUG>)
    target_include_directories(pellix-precompiled SYSTEM PRIVATE
        "$<TARGET_PROPERTY:Qt6::Core,INTERFACE_INCLUDE_DIRECTORIES>")
endif()

# pellix_add_sources(<target> SOURCES ... HEADERS ...): adds files to a library, relative to the root of the
# repository. HEADERS are the public headers.
function(pellix_add_sources target)
    cmake_parse_arguments(arg "" "" "SOURCES;HEADERS" ${ARGN})
    list(TRANSFORM arg_HEADERS PREPEND "${PROJECT_SOURCE_DIR}/")
    list(TRANSFORM arg_SOURCES PREPEND "${PROJECT_SOURCE_DIR}/")
    target_sources(${target}
        PRIVATE ${arg_SOURCES}
        PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${arg_HEADERS}
    )
endfunction()

# pellix_measure_coverage(<target>): counts the lines of the target that run, with PELLIX_COVERAGE.
function(pellix_measure_coverage target)
    if(PELLIX_COVERAGE)
        # Built without exceptions, which the libraries do not use. Otherwise, lines whose only code is the
        # cleanup after an exception, such as initializer lists, would count as not covered.
        target_compile_options(${target} PRIVATE
            --coverage -fprofile-update=atomic -fno-exceptions)
        target_link_options(${target} PRIVATE --coverage)
    endif()
endfunction()

# pellix_add_library(<target> EXPORT_NAME <name> [SOURCES ...] [HEADERS ...]):
# adds a library with its include root (so that "client/keywordclient.h" is found), alias, version, and static
# define. EXPORT_NAME is also the component by which find_package() finds the library.
function(pellix_add_library target)
    cmake_parse_arguments(arg "" "EXPORT_NAME" "SOURCES;HEADERS" ${ARGN})

    add_library(${target})
    add_library(PellixClient::${arg_EXPORT_NAME} ALIAS ${target})
    pellix_configure_target(${target})
    pellix_measure_coverage(${target})

    pellix_add_sources(${target} SOURCES ${arg_SOURCES} HEADERS ${arg_HEADERS})
    target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "STATIC_LIBRARY")
        target_compile_definitions(${target} PUBLIC PELLIXCLIENT_STATIC)
    endif()
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${arg_EXPORT_NAME}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PELLIX_SOVERSION}
        VERIFY_INTERFACE_HEADER_SETS ON
    )
endfunction()

# pellix_add_plugin(<target> <folder of its module> <component>): adds a plugin that the engine loads from the
# folder of a QML module, both in the build tree and in an installation.
function(pellix_add_plugin target module component)
    add_library(${target} MODULE)
    pellix_configure_target(${target})
    set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY "${PELLIX_QML_DIR}/${module}")
    if(PELLIX_INSTALL)
        pellix_install_plugin(${target} ${module} ${component})
    endif()
endfunction()
