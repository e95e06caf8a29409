# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

# Fails if PAGE lacks an option of PROGRAM, or contains one that PROGRAM lacks.
execute_process(COMMAND ${PROGRAM} --help OUTPUT_VARIABLE help COMMAND_ERROR_IS_FATAL ANY)
file(READ ${PAGE} page)
string(REGEX REPLACE "\\.SH EXAMPLES.*" "" page "${page}")
string(REPLACE "\\-" "-" page "${page}")

string(REGEX MATCHALL "--[a-z][a-z-]*" has "${help}")
string(REGEX MATCHALL "--[a-z][a-z-]*" described "${page}")
foreach(list IN ITEMS has described)
    list(REMOVE_DUPLICATES ${list})
    list(SORT ${list})
endforeach()
list(LENGTH has count)
if(count LESS 5 OR NOT has STREQUAL described)
    message(FATAL_ERROR "${PROGRAM} has ${has}\n${PAGE} has ${described}")
endif()
