// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [test]
import QtQuick
import QtTest

TestCase {
    id: root

    name: "Tank"

    // The program puts both into the context, where qmllint does not see them.
    readonly property var client: keywordClient // qmllint disable unqualified
    readonly property var server: plant // qmllint disable unqualified

    Tank {
        id: tank

        client: root.client
    }

    function init() {
        root.server.setLevel(41.5)
        tryCompare(tank, "text", "41.5")
    }

    function test_highLevelIsRed() {
        compare(tank.color, "#000000")
        root.server.setLevel(90)
        tryCompare(tank, "text", "90.0")
        compare(tank.color, "#ff0000")
    }

    function test_withoutTheKeywordThereIsNoValue() {
        root.server.removeLevel()
        tryCompare(tank, "text", "no value")
    }
}
//! [test]
