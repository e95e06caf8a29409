# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

# pellix_flatten_qml(<qml files>): places QML files next to their qmldir file, so that they can use one
# another, including singletons.
function(pellix_flatten_qml)
    foreach(file IN LISTS ARGN)
        cmake_path(GET file FILENAME name)
        set_source_files_properties(${file} PROPERTIES QT_RESOURCE_ALIAS ${name})
    endforeach()
endfunction()

# If the types are unknown, Qt 6.4 compiles the QML code to code that crashes.
set(pellix_no_cachegen "")
if(NOT TARGET pellixclient-tooling-types)
    set(pellix_no_cachegen NO_CACHEGEN)
endif()

# pellix_compile_qml(<target> [<sources>...]): compiles the QML files of a target after its types have been
# described. This generates one small C++ file with many includes for each QML file. Compiling all of them at
# once takes a tenth of the time. The target's own sources are excluded.
function(pellix_compile_qml target)
    if(TARGET pellixclient-tooling-types)
        add_dependencies(${target} pellixclient-tooling-types)
    endif()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# pellix_correct_qml_types(<target>): makes compiled QML read properties of type QVariant correctly. Call this
# function in the folder of qt_add_qml_module(), after it. It has no effect with Qt 6.5 and later.
function(pellix_correct_qml_types target)
    if(Qt6Qml_VERSION VERSION_GREATER_EQUAL 6.5)
        return()
    endif()
    get_target_property(file ${target} QT_QML_MODULE_PLUGIN_TYPES_FILE)
    set(script "${PROJECT_SOURCE_DIR}/cmake/PellixQmlTypes.cmake")
    add_custom_command(OUTPUT "${file}" APPEND
        COMMAND ${CMAKE_COMMAND} -D "FILE=${file}" -P "${script}"
        DEPENDS "${script}"
    )
endfunction()

# pellix_add_qml_library(<target> <uri> [IMPORTS <modules>...] [DEPENDENCIES <modules>...] [QML_FILES
# <files>...]):
# makes the types of a library a QML module, which is installed as such. Call this function when the target
# has all its sources.
function(pellix_add_qml_library target uri)
    cmake_parse_arguments(arg "" "" "IMPORTS;DEPENDENCIES;QML_FILES" ${ARGN})
    string(REPLACE "." "/" folder "${uri}")
    if(arg_QML_FILES)
        pellix_flatten_qml(${arg_QML_FILES})
    endif()
    qt_add_qml_module(${target}
        URI ${uri}
        VERSION 1.0
        ${pellix_no_cachegen}
        RESOURCE_PREFIX /qt-project.org/imports # an import path of every engine
        OUTPUT_DIRECTORY "${PELLIX_QML_DIR}/${folder}"
        IMPORT_PATH "${PELLIX_QML_DIR}"
        IMPORTS ${arg_IMPORTS}
        DEPENDENCIES PellixClient.Keyword/1.0 ${arg_DEPENDENCIES}
        QML_FILES ${arg_QML_FILES}
        OUTPUT_TARGETS resources # for a static library
    )
    pellix_correct_qml_types(${target})
    # The generated registration includes the headers by file name only.
    get_target_property(headers ${target} HEADER_SET)
    list(TRANSFORM headers REPLACE "/[^/]*$" "")
    list(REMOVE_DUPLICATES headers)
    target_include_directories(${target} PRIVATE ${headers})
    if(TARGET pellixclient-tooling-types)
        add_dependencies(${target} pellixclient-tooling-types)
    endif()
    if(PELLIX_INSTALL)
        if(BUILD_SHARED_LIBS)
            pellix_install_plugin(${target}plugin ${folder} ${PELLIX_EXTRAS_MODULE})
        else()
            list(FILTER resources EXCLUDE REGEX "plugin_init$")
            get_target_property(name ${target} EXPORT_NAME)
            install(TARGETS ${resources} EXPORT PellixClient${name}Targets
                OBJECTS DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${PELLIX_DEVELOPMENT})
        endif()
        install(FILES "${PELLIX_QML_DIR}/${folder}/qmldir" "${PELLIX_QML_DIR}/${folder}/${target}.qmltypes" ${arg_QML_FILES}
            DESTINATION "${PELLIX_INSTALL_QMLDIR}/${folder}"
            COMPONENT ${PELLIX_EXTRAS_MODULE}
        )
    endif()
endfunction()

# pellix_qml_base(<target> <type> <class>): sets the base class of a type in the QML module of a library to a
# class of another library, whose types are registered by a function. Call this function in the folder of
# pellix_add_qml_library(), after it.
function(pellix_qml_base target type class)
    get_target_property(file ${target} QT_QML_MODULE_PLUGIN_TYPES_FILE)
    set(script "${PROJECT_SOURCE_DIR}/cmake/PellixQmlBase.cmake")
    add_custom_command(OUTPUT "${file}" APPEND
        COMMAND ${CMAKE_COMMAND} -D "FILE=${file}" -D "TYPE=${type}" -D "BASE=${class}" -P "${script}"
        DEPENDS "${script}"
    )
endfunction()
