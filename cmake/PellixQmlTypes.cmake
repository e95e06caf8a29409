# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

# Corrects the FILE that qmltyperegistrar of Qt 6.4 has written: each property of type QVariant is described
# as a list of void, and the return type QVariant of a function as var. The QML compiler of Qt 6.4 then leaves
# code that reads them to the interpreter, and qmllint reports no problem. Without this correction, a 64-bit
# integer, a list, or a map silently becomes undefined in compiled QML: "x ?? 0" is 0.

file(READ "${FILE}" types)
string(REGEX REPLACE
    "(\n        Property {\n            name: \"[^\"]+\"\n(            revision: [0-9]+\n)?)            type: \"QVariant\"\n"
    "\\1            type: \"void\"\n            isList: true\n"
    types "${types}"
)
string(REGEX REPLACE
    "(\n        Method {[ \n]+name: \"[^\"]+\"(;|\n)([ \n]*revision: [0-9]+(;|\n))?[ ]+type: \")QVariant\""
    "\\1var\""
    types "${types}"
)
file(WRITE "${FILE}" "${types}")
