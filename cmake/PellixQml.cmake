# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

# pellix_flatten_qml(<qml files>): gives QML files a place beside their qmldir, so that they see one
# another, singletons included.
function(pellix_flatten_qml)
    foreach(file IN LISTS ARGN)
        cmake_path(GET file FILENAME name)
        set_source_files_properties(${file} PROPERTIES QT_RESOURCE_ALIAS ${name})
    endforeach()
endfunction()

# Qt 6.4 compiles code that crashes where it does not know the types.
set(pellix_no_cachegen "")
if(NOT TARGET pellixclient-tooling-types)
    set(pellix_no_cachegen NO_CACHEGEN)
endif()

# pellix_compile_qml(<target> [<sources>...]): QML is compiled once the types are described. Of each file, it
# makes one of C++, small and with many includes: one run of the compiler takes them all, in a tenth of the
# time. The target's own sources are left out.
function(pellix_compile_qml target)
    if(TARGET pellixclient-tooling-types)
        add_dependencies(${target} pellixclient-tooling-types)
    endif()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# pellix_correct_qml_types(<target>): properties of any type are read correctly by compiled QML. Called in the
# folder of qt_add_qml_module(), after it. Qt 6.5 and later need nothing.
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

# pellix_add_qml_library(<target> <uri> [IMPORTS <modules>...] [QML_FILES <files>...]): the types of a library
# are a QML module, installed as such. Called when the target has all its sources.
function(pellix_add_qml_library target uri)
    cmake_parse_arguments(arg "" "" "IMPORTS;QML_FILES" ${ARGN})
    string(REPLACE "." "/" folder "${uri}")
    if(arg_QML_FILES)
        pellix_flatten_qml(${arg_QML_FILES})
    endif()
    qt_add_qml_module(${target}
        URI ${uri}
        VERSION 1.0
        ${pellix_no_cachegen}
        RESOURCE_PREFIX /qt-project.org/imports # where every engine looks
        OUTPUT_DIRECTORY "${PELLIX_QML_DIR}/${folder}"
        IMPORT_PATH "${PELLIX_QML_DIR}"
        IMPORTS ${arg_IMPORTS}
        DEPENDENCIES PellixClient.Keyword/1.0
        QML_FILES ${arg_QML_FILES}
        OUTPUT_TARGETS resources # of a static library
    )
    pellix_correct_qml_types(${target})
    # The generated registration includes the headers by their bare names.
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
