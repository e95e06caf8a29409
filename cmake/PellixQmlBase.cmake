# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT
#
# Run with -P: adds to a description of QML types (FILE) that the type TYPE is derived from the class BASE of
# another library. The Qt tool omits the base class if it does not know it.

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
