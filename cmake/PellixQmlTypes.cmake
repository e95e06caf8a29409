# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

# Rewrites what qmltyperegistrar of Qt 6.4 wrote to FILE: each property that holds any type, QVariant, is
# described as a list of nothing, and a function that returns any is without a type. The QML compiler of that
# version then leaves what reads them to the interpreter, and qmllint does not object. Described as they are,
# a whole number of 64 bits, a list or a map silently becomes undefined in compiled QML: "x ?? 0" is 0.

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
