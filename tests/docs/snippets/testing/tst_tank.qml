// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [test]
import QtQuick
import QtTest

TestCase {
    id: root

    name: "Tank"

    Tank {
        id: tank

        client: keywordClient // of the program
    }

    function init() {
        plant.setLevel(41.5)
        tryCompare(tank, "text", "41.5")
    }

    function test_highLevelIsRed() {
        compare(tank.color, "#000000")
        plant.setLevel(90)
        tryCompare(tank, "text", "90.0")
        compare(tank.color, "#ff0000")
    }

    function test_withoutTheKeywordThereIsNoValue() {
        plant.removeLevel()
        tryCompare(tank, "text", "no value")
    }
}
//! [test]
