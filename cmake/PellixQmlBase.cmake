# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT
#
# Run with -P: has a description of QML types (FILE) say on which class of another library (BASE) a TYPE of
# its own is based. Qt's tool leaves that out where it does not know the class.

file(READ "${FILE}" text)
set(start "        name: \"${TYPE}\"\n        accessSemantics: \"reference\"\n")
string(FIND "${text}" "${start}" position)
if(position LESS 0)
    message(FATAL_ERROR "${FILE} does not describe ${TYPE}.")
endif()
string(FIND "${text}" "${start}        prototype: " described)
if(described LESS 0)
    string(REPLACE "${start}" "${start}        prototype: \"${BASE}\"\n" text "${text}")
    file(WRITE "${FILE}" "${text}")
endif()
