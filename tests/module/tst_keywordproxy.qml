// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtTest
import PellixClient.Keyword 1.0

TestCase {
    id: root
    name: "KeywordProxy"

    // The test program adds it to the context, which qmllint does not see.
    readonly property PKeywordClient server: keywordClient // qmllint disable unqualified

    PKeywordProxy {
        id: level
        client: root.server
        keyword: "/plant/level"
    }
    PKeywordProxy {
        id: on
        client: root.server
        keyword: "/plant/on"
    }
    PKeywordProxy {
        id: serial
        client: root.server
        keywordExpression: PPostfixKeywordExpression {
            id: serialExpression
            value: "/plant"
            postfix: "serial"
        }
    }
    PKeywordProxy {
        id: label
        client: root.server
    }
    Text {
        id: text
        text: level.value === undefined ? "-" : level.value.toFixed(1)
    }
    Component {
        id: shortLived
        PKeywordProxy {
            client: root.server
            keyword: "/plant/level"
        }
    }

    function test_1_bindingsShowTheValue() {
        tryCompare(text, "text", "41.5")
        compare(level.valueType, PKeyword.KVT_DOUBLE)
        verify(level.connected && level.online && level.consistent && !level.error)
        tryCompare(on, "value", false)
        tryCompare(serial, "value", "A-7")
    }

    function test_2_writesComeBack() {
        verify(level.update(50))
        tryCompare(text, "text", "50.0")
        verify(level.updateRelative(-8.5))
        tryCompare(text, "text", "41.5")
        verify(on.updateRelative(true))
        tryCompare(on, "value", true)
    }

    function test_3_refusedWriteShowsAsError() {
        verify(serial.update("B-8"))
        tryCompare(serial, "error", true)
        compare(serial.value, "A-7")
    }

    function test_4_expressionIsFollowed() {
        serialExpression.postfix = "level"
        compare(serial.keyword, "/plant/level")
        tryCompare(serial, "value", 41.5)
    }

    function test_5_labelIsLookedUp() {
        label.getKeywordLabel("/plant/level")
        tryCompare(label, "valueLabelValid", true)
        compare(label.value, "/plant/Level")
    }

    function test_6_clientIsTakenAway() {
        level.client = null
        compare(level.value, undefined)
        compare(text.text, "-")
        verify(!level.update(1))
        level.client = root.server
        tryCompare(text, "text", "41.5")
        level.client = undefined // resets the property
        compare(level.client, null)
        level.client = root.server
        tryCompare(text, "text", "41.5")
    }

    function test_7_objectsComeAndGo() {
        for (let i = 0; i < 100; ++i) {
            const proxy = shortLived.createObject(root)
            if (i % 2)
                tryVerify(() => proxy.value === 41.5)
            proxy.destroy()
        }
        tryCompare(text, "text", "41.5")
    }
}
