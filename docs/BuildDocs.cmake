# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

# Runs QDoc and qhelpgenerator, and fails on warnings and on what is not documented.

set(html "${OUTPUT}/html")
set(qch "${OUTPUT}/pellixclient.qch")
file(REMOVE_RECURSE "${html}" "${qch}")
list(TRANSFORM INCLUDE_DIRS PREPEND "-I")
list(REMOVE_DUPLICATES INCLUDE_DIRS)

# QDoc's exit code is the number of warnings, which an operating system takes modulo 256.
set(ENV{PELLIX_VERSION} "${PROJECT_VERSION}")
execute_process(
    COMMAND "${QDOC}" "${CONFIGURATION}" -outputdir "${html}" ${INCLUDE_DIRS}
    OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result
)
string(REGEX MATCHALL "(warning|error|fatal): " problems "${output}")
list(LENGTH problems count)
if(count GREATER 0 OR NOT result EQUAL 0)
    message("${output}")
    message(FATAL_ERROR "qdoc ended with ${result}, and said ${count} times that something is wrong.")
endif()

# QDoc says nothing of members without documentation. Accessors and change signals are documented by
# their property.
set(undocumented "")
file(STRINGS "${html}/pellixclient.index" entries
    REGEX "<(class|enum|function|namespace|property|qmlclass|qmlproperty|struct|typedef|variable) name=\"[^\"]")
foreach(entry IN LISTS entries)
    if(NOT entry MATCHES "documented=\"true\"" AND NOT entry MATCHES "associated-property="
        AND NOT entry MATCHES "status=\"internal\"")
        string(REGEX MATCH "fullname=\"[^\"]*" name "${entry}")
        list(APPEND undocumented "${name}")
    endif()
endforeach()
if(undocumented)
    list(JOIN undocumented "\n" undocumented)
    message(FATAL_ERROR "Not documented:\n${undocumented}")
endif()

execute_process(
    COMMAND "${QHELPGENERATOR}" "${html}/pellixclient.qhp" -o "${qch}"
    OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result
)
if(NOT result EQUAL 0 OR NOT EXISTS "${qch}" OR output MATCHES "[Ww]arning|[Ee]rror")
    message(FATAL_ERROR "qhelpgenerator failed (${result}):\n${output}")
endif()
file(GLOB pages "${html}/*.html")
list(LENGTH pages count)
message(STATUS "${count} pages in ${html}, no warnings; ${qch}")
