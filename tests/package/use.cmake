# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

# Configures, builds, and runs the consumer project with the library in one WAY:
#   installed     find_package() on an installed tree that has been moved; includes the companions
#   components    the components that find_package() finds, and its messages about the others
#   pkgconfig     only pkg-config and the compiler, on an installed tree that has been moved
#   subdirectory  add_subdirectory()
#   fetchcontent  FetchContent as the documentation shows it, from a folder instead of a repository
#   static        find_package() and pkg-config on an installed tree of static libraries; includes the
#                 companions and "compiled"
#   compiled      a program whose QML is compiled, on an installed tree that has been moved
#   typed         a program whose QML is converted to classes by qmltc, on an installed tree that has been
#                 moved
#   runtime       qml, and Python if it has PySide6, with the required parts of an installed tree that has
#                 been moved
#   guides        the projects quoted in the guides of the documentation, on an installed tree that has been
#                 moved; and the statements of the guides about such a tree

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect pattern)
    if(NOT output MATCHES "${pattern}")
        message(FATAL_ERROR "this does not have \"${pattern}\":\n${output}")
    endif()
endfunction()

set(common -G ${GENERATOR} -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})
set(prefix "${WORK_DIR}/moved")
# Not for "subdirectory", which uses the default options.
set(precompile -D PELLIX_PRECOMPILE_HEADERS=${PRECOMPILE})

# Compiles most of the code that Qt generates at once, because its files are small and have many includes.
set(at_once -D CMAKE_UNITY_BUILD=ON)

# Installs everything, or some components, with a prefix that is moved afterwards, so that nothing can depend
# on the original location.
function(install_and_move build_dir)
    set(components ${ARGN})
    if(NOT components)
        run(${CMAKE_COMMAND} --install ${build_dir} --prefix ${WORK_DIR}/prefix)
    endif()
    foreach(component IN LISTS components)
        run(${CMAKE_COMMAND} --install ${build_dir} --prefix ${WORK_DIR}/prefix --component ${component})
    endforeach()
    file(RENAME ${WORK_DIR}/prefix ${prefix})
endfunction()

# The program registers the types, and also finds the installed plugin.
function(check_consumer program)
    set(ENV{QML_IMPORT_PATH} "${prefix}/${QMLDIR}")
    run(${program} ${SOURCE_DIR}/tests/support/qml)
    expect("sent keyDestroy, received 42")
    expect("qrc:/PKeywordPath.qml loads")
    unset(ENV{QML_IMPORT_PATH})
endfunction()

# use_runtimes(): runs the same test as for the modules in the build tree.
function(use_runtimes)
    set(ENV{PELLIX_IMPORTS} "${prefix}/${QMLDIR}")
    set(ENV{QT_QUICK_BACKEND} software)
    foreach(command IN ITEMS "${QML_RUNTIME}" "${PYTHON_RUNTIME}")
        if(command)
            set(ENV{PELLIX_RUNTIME} "${command}")
            run(${RUNTIME_TEST})
            expect(" 0 failed, 1 skipped") # the preview, which is tested in the build tree
        endif()
    endforeach()
endfunction()

# check_plugin(<whether it exists>): checks the files below the prefix and the content of qmldir.
function(check_plugin wanted)
    set(folder "${prefix}/${QMLDIR}/PellixClient/Keyword")
    file(READ "${folder}/qmldir" text)
    file(GLOB files "${folder}/*keywordplugin*")
    list(LENGTH files count)
    if((wanted AND NOT (count EQUAL 1 AND text MATCHES "\noptional plugin "))
        OR (NOT wanted AND NOT (count EQUAL 0 AND NOT text MATCHES "plugin ")))
        message(FATAL_ERROR "there are ${count} plugins in ${folder}, where qmldir says:\n${text}")
    endif()
endfunction()

# expect_compiled(<build folder> <target>_<file> <count>): the file has at least this number of compiled
# functions.
function(expect_compiled build file count)
    file(READ ${build}/.rcc/qmlcache/${file}_qml.cpp code)
    string(REPLACE "[]" "" code "${code}")
    string(REGEX MATCHALL "\n    \\(const QQmlPrivate::AOTCompiledContext" functions "${code}")
    list(LENGTH functions compiled)
    if(compiled LESS count)
        message(FATAL_ERROR "only ${compiled} functions of ${file} are compiled, not ${count}")
    endif()
endfunction()

# use_cmake([options...])
function(use_cmake)
    run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/consumer -B ${WORK_DIR}/build ${common} ${ARGN})
    if(WAY STREQUAL "subdirectory")
        # Builds only this target from scratch: the types are described during the build, before QML is
        # compiled.
        run(${CMAKE_COMMAND} --build ${WORK_DIR}/build --target screen)
        expect_compiled(${WORK_DIR}/build screen_Level 1)
    endif()
    run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
    check_consumer(${WORK_DIR}/build/consumer)
    run(${WORK_DIR}/build/resource)
    expect("resource found")
endfunction()

# use_compiled(): the comparison in the program is only meaningful if its QML was compiled.
function(use_compiled)
    foreach(name IN ITEMS QML_DISABLE_DISK_CACHE QML_DISK_CACHE QV4_FORCE_INTERPRETER)
        unset(ENV{${name}})
    endforeach()
    set(build ${WORK_DIR}/compiled)
    run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/compiled -B ${build} ${common} ${at_once}
        -D CMAKE_PREFIX_PATH=${prefix})
    run(${CMAKE_COMMAND} --build ${build} --target all app_qmllint)
    if(output MATCHES "Warning: ")
        message(FATAL_ERROR "${output}")
    endif()
    run(${build}/app)
    message("${output}")
    expect(" 0 failed, 0 skipped")

    # Qt 6.4 must interpret only the code that reads a value.
    set(files Values Handlers Main)
    if(output MATCHES "Qt 6\\.4\\.")
        set(least 12 2 20)
    else()
        set(least 50 4 20)
    endif()
    foreach(file count IN ZIP_LISTS files least)
        expect_compiled(${build} app_${file} ${count})
    endforeach()
endfunction()

# use_typed()
function(use_typed)
    set(build ${WORK_DIR}/typed)
    run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/typed -B ${build} ${common} ${at_once}
        -D CMAKE_PREFIX_PATH=${prefix})
    run(${CMAKE_COMMAND} --build ${build})
    run(${build}/typed)
    expect("42.0, an int, after 1 change")
    expect("/setpoint = 1200, and 7 others")
endfunction()

# use_extras(): uses the companions
function(use_extras)
    run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/extras -B ${WORK_DIR}/extras ${common}
        -D CMAKE_PREFIX_PATH=${prefix})
    run(${CMAKE_COMMAND} --build ${WORK_DIR}/extras)
    set(ENV{QT_QUICK_BACKEND} software)
    run(${WORK_DIR}/extras/extras)
    expect("taken, the last value is 42, 1 alarm")
    unset(ENV{QT_QUICK_BACKEND})
endfunction()

# use_pkgconfig(): Qt Quick is required by the consumer itself.
function(use_pkgconfig)
    file(GLOB_RECURSE file "${prefix}/pellixclient-keyword.pc")
    cmake_path(GET file PARENT_PATH folder)
    set(ENV{PKG_CONFIG_PATH} "${folder}")
    foreach(package IN ITEMS pellixclient-pubsub pellixclient-keyword pellixclient-server
        pellixclient-simulator)
        run(pkg-config --validate ${package})
    endforeach()
    run(pkg-config --cflags --libs pellixclient-keyword Qt6Quick)
    separate_arguments(flags UNIX_COMMAND "${output}")
    run(pkg-config --variable=libdir pellixclient-keyword)
    string(STRIP "${output}" libdir)
    cmake_path(NORMAL_PATH libdir)
    file(MAKE_DIRECTORY ${WORK_DIR}/plain)
    run(${COMPILER} -std=c++17 -fPIC ${SOURCE_DIR}/tests/package/consumer/main.cpp
        -o ${WORK_DIR}/plain/consumer ${flags} -Wl,-rpath,${libdir})
    check_consumer(${WORK_DIR}/plain/consumer)
endfunction()

# check_components(<expected> <components> [options...])
function(check_components expected components)
    file(REMOVE_RECURSE ${WORK_DIR}/build)
    execute_process(
        COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/components -B ${WORK_DIR}/build
            ${common} -D CMAKE_PREFIX_PATH=${prefix} -D COMPONENTS=${components} ${ARGN}
        OUTPUT_VARIABLE output
        ERROR_VARIABLE output
    )
    string(REGEX REPLACE "[ \n]+" " " output "${output}")
    expect("${expected}")
    if(output MATCHES "is not described")
        message(FATAL_ERROR "${output}")
    endif()
endfunction()

# build_guide(<folder> [<parent folder>]): builds a copy, because readers have no other files. The default
# parent folder is that of the snippets.
function(build_guide name)
    set(parent docs/snippets ${ARGN})
    list(GET parent -1 parent)
    file(COPY ${SOURCE_DIR}/${parent}/${name} DESTINATION ${WORK_DIR})
    run(${CMAKE_COMMAND} -S ${WORK_DIR}/${name} -B ${WORK_DIR}/${name}/build ${common}
        -D CMAKE_PREFIX_PATH=${prefix})
    run(${CMAKE_COMMAND} --build ${WORK_DIR}/${name}/build)
endfunction()

# check_scene(<scene> <expected output>): uses an option that is refused after the scene has been loaded.
function(check_scene scene pattern)
    execute_process(
        COMMAND ${prefix}/bin/keyword-simulator --scene ${scene} --generate x
        WORKING_DIRECTORY ${WORK_DIR}
        OUTPUT_VARIABLE output
        ERROR_VARIABLE output
        TIMEOUT 60
    )
    expect("${pattern}")
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
if(WAY STREQUAL "installed")
    install_and_move(${BUILD_DIR})
    check_plugin(ON)
    use_cmake(-D CMAKE_PREFIX_PATH=${prefix})
    use_extras()
elseif(WAY STREQUAL "components")
    install_and_move(${BUILD_DIR})
    check_components("targets: PubSub Keyword;" "")
    check_components("targets: PubSub;" PubSub)
    check_components("targets: PubSub Keyword;" Keyword)
    check_components("targets: Server Simulator;" Simulator)
    check_components("targets: Server;" Server)
    check_components("targets: PubSub Keyword Server;" Keyword -D OPTIONAL=Server)
    check_components("has no component Keywords. The components are PubSub, Keyword, KeywordExtrasCore, KeywordExtras, Server and Simulator" Keywords)
    check_components("targets: PubSub Keyword; not found: Gauges;" Keyword -D OPTIONAL=Gauges)
    check_components("compatible with requested version \"9\"" Keyword -D VERSION=9)
    file(GLOB_RECURSE simulator "${prefix}/*PellixClientSimulatorTargets.cmake")
    file(REMOVE ${simulator})
    check_components("Its component Simulator is not installed" Simulator)
    check_components("targets: PubSub Keyword; not found: Simulator;" Keyword -D OPTIONAL=Simulator)
elseif(WAY STREQUAL "pkgconfig")
    install_and_move(${BUILD_DIR})
    use_pkgconfig()
elseif(WAY STREQUAL "subdirectory")
    use_cmake(-D PELLIX_SUBDIRECTORY=${SOURCE_DIR})
elseif(WAY STREQUAL "fetchcontent")
    use_cmake(-D FETCHCONTENT_SOURCE_DIR_PELLIXCLIENT=${SOURCE_DIR} ${precompile})
elseif(WAY STREQUAL "static")
    run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/library ${common}
        -D BUILD_SHARED_LIBS=OFF -D PELLIX_BUILD_TESTS=OFF
        -D PELLIX_BUILD_PROGRAMS=OFF -D PELLIX_BUILD_EXAMPLES=OFF ${precompile})
    run(${CMAKE_COMMAND} --build ${WORK_DIR}/library)
    install_and_move(${WORK_DIR}/library)
    check_plugin(OFF)
    use_cmake(-D CMAKE_PREFIX_PATH=${prefix})
    use_extras()
    use_pkgconfig()
    use_compiled()
elseif(WAY STREQUAL "compiled")
    install_and_move(${BUILD_DIR})
    use_compiled()
elseif(WAY STREQUAL "typed")
    install_and_move(${BUILD_DIR})
    use_typed()
elseif(WAY STREQUAL "runtime")
    install_and_move(${BUILD_DIR} runtime module extrasmodule control)
    use_runtimes()
elseif(WAY STREQUAL "guides")
    install_and_move(${BUILD_DIR})
    check_scene(plant.json "--generate: ")
    check_scene(nowhere.json "nowhere.json: ")
    build_guide(firstscreen)
    build_guide(serving)
    build_guide(testing)
    build_guide(1-window examples/tutorial)
    build_guide(7-browsing examples/tutorial)
    expect_compiled(${WORK_DIR}/1-window/build tutorial-1_Main 1)
    expect_compiled(${WORK_DIR}/7-browsing/build tutorial-7_Tank 1)
    run(${WORK_DIR}/testing/build/tst_tank)
    expect("PASS +: tank::Tank::test_highLevelIsRed")
    expect(" 0 failed, 0 skipped")
else()
    message(FATAL_ERROR "there is no way \"${WAY}\"")
endif()
