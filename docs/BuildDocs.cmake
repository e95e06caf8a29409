# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

# Runs QDoc, makes the site of its pages and of the Markdown pages by site.py, and runs qhelpgenerator. Fails
# on warnings, on what is not documented, and on broken links.

cmake_policy(VERSION 3.25)

set(pages "${OUTPUT}/pages")
set(html "${OUTPUT}/html")
set(qch "${OUTPUT}/pellixclient.qch")
file(REMOVE_RECURSE "${pages}" "${html}" "${qch}")
list(TRANSFORM INCLUDE_DIRS PREPEND "-I")
list(REMOVE_DUPLICATES INCLUDE_DIRS)

# QDoc's exit code is the number of warnings, which an operating system takes modulo 256.
set(ENV{PELLIX_VERSION} "${PROJECT_VERSION}")
execute_process(
    COMMAND "${QDOC}" "${CONFIGURATION}" -outputdir "${pages}" ${INCLUDE_DIRS}
    OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result
)
string(REGEX MATCHALL "(warning|error|fatal): " problems "${output}")
list(LENGTH problems count)
if(count GREATER 0 OR NOT result EQUAL 0)
    message("${output}")
    message(FATAL_ERROR "qdoc ended with ${result}, and said ${count} times that something is wrong.")
endif()

# QDoc says nothing of members without documentation: it takes them for internal, as it takes private
# ones. The header tells the two apart. Accessors and change signals are documented by their property,
# and what is overridden by its base class.
execute_process(
    COMMAND "${QDOC}" "${CONFIGURATION}" -showinternal -outputdir "${OUTPUT}/internal" ${INCLUDE_DIRS}
    OUTPUT_QUIET ERROR_QUIET
)
set(kinds "class|enum|function|namespace|property|qmlclass|qmlmethod|qmlproperty|qmlsignal|struct|typedef|variable")
file(STRINGS "${OUTPUT}/internal/pellixclient.index" entries REGEX "<(${kinds}) name=\"[^\"]")
list(LENGTH entries count)
if(count LESS 300)
    message(FATAL_ERROR "The index lists ${count} entries only: it is not in the form that is read here.")
endif()
set(undocumented "")
foreach(entry IN LISTS entries)
    if(entry MATCHES "documented=\"true\"|associated-property=|override=\"true\"|_p\\.h\""
        OR entry MATCHES "name=\"(QPrivateSignal|QtGadgetHelper|staticMetaObject|tr|qt_[A-Za-z_]*)\"|name=\"QMetaTypeId") # of Qt's macros
        continue()
    endif()
    string(REGEX REPLACE ".* (fullname|name)=\"([^\"]*)\".*" "\\2" name "${entry}")
    if(entry MATCHES " filepath=\"([^\"]*\\.h)\" lineno=\"([0-9]+)\"")
        set(header "${CMAKE_MATCH_1}")
        set(line "${CMAKE_MATCH_2}")
        execute_process(COMMAND "${CMAKE_COMMAND}" -E cat "${header}" OUTPUT_VARIABLE text)
        string(REGEX REPLACE "[][;\\]" "" text "${text}")
        string(REPLACE "\n" ";" lines "${text}")
        list(SUBLIST lines 0 ${line} lines)
        list(FILTER lines INCLUDE REGEX "^ *(public|protected|private|Q_SIGNALS)( Q_SLOTS)?:|^(class|struct) ")
        list(POP_BACK lines section)
        if(section MATCHES "private:|^class ")
            continue()
        endif()
    endif()
    list(APPEND undocumented "${name}")
endforeach()
if(undocumented)
    list(JOIN undocumented "\n" undocumented)
    message(FATAL_ERROR "Not documented:\n${undocumented}")
endif()
file(REMOVE_RECURSE "${OUTPUT}/internal")

cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH source)
execute_process(
    COMMAND "${PYTHON}" "${CMAKE_CURRENT_LIST_DIR}/site.py" --cmark "${CMARK}" --version "${PROJECT_VERSION}"
        "${source}" "${pages}" "${html}"
    OUTPUT_VARIABLE summary ERROR_VARIABLE output RESULT_VARIABLE result
    OUTPUT_STRIP_TRAILING_WHITESPACE
)
if(NOT result EQUAL 0)
    message("${output}")
    message(FATAL_ERROR "The site has errors.")
endif()

# The help viewer has a navigation of its own.
execute_process(
    COMMAND "${QHELPGENERATOR}" "${pages}/pellixclient.qhp" -o "${qch}"
    OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result
)
if(NOT result EQUAL 0 OR NOT EXISTS "${qch}" OR output MATCHES "[Ww]arning|[Ee]rror")
    message(FATAL_ERROR "qhelpgenerator failed (${result}):\n${output}")
endif()
message(STATUS "${html}: ${summary}, no warnings; ${qch}")
