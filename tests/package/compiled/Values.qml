// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0

// The value of one keyword, read in the same ways as in applications.
Item {
    id: root

    property alias client: proxy.client
    property alias keyword: proxy.keyword
    property alias expression: proxy.keywordExpression
    readonly property PKeywordProxy follower: proxy

    // Since Qt 6.5, compiled code converts a list, a map, null, or a large number to a string differently than
    // interpreted code; see limits_areQtsOwn().
    property bool isPlain: true
    // The same applies to null that replaces a number of the type int.
    property bool becomesNull: false

    // Converted to the types of properties
    readonly property real asReal: proxy.value
    readonly property int asInt: becomesNull ? -1 : proxy.value
    readonly property bool asBool: proxy.value
    readonly property string asString: isPlain ? proxy.value : "-"
    readonly property color asColor: isPlain ? proxy.value : "red"
    readonly property var asVar: proxy.value

    // With a default if there is no value
    readonly property real realOr: proxy.value ?? -1
    readonly property int intOr: proxy.value ?? -1
    readonly property string stringOr: isPlain ? proxy.value ?? "none" : "-"
    readonly property var varOr: proxy.value ?? "none"
    readonly property string fixedOr: proxy.value?.toFixed?.(1) ?? "none"
    readonly property var memberOr: proxy.value?.x ?? "none"
    readonly property var elementOr: proxy.value?.[1] ?? "none"
    readonly property int lengthOr: proxy.value?.length ?? -1

    // In comparisons
    readonly property bool isAbove: proxy.value > 1000
    readonly property bool isAtLeast: proxy.value >= 1200
    readonly property bool isBelow: proxy.value < 1000
    readonly property bool isAtMost: proxy.value <= 1200
    readonly property bool isNumber: proxy.value === 1200
    readonly property bool isOther: proxy.value !== 1200
    readonly property bool isText: proxy.value === "open"
    readonly property bool isTrue: proxy.value === true
    readonly property bool isUndefined: proxy.value === undefined
    readonly property bool isNull: proxy.value !== undefined && proxy.value === null
    readonly property bool equalsNumber: proxy.value == 1200
    readonly property bool equalsText: proxy.value != "open"
    readonly property bool isNothing: proxy.value == null

    // In calculations
    readonly property var sum: proxy.value + 1
    readonly property var difference: proxy.value - 1
    readonly property var doubled: (proxy.value ?? 0) * 2
    readonly property var half: proxy.value / 2
    readonly property var rest: proxy.value % 7
    readonly property var negative: -proxy.value
    readonly property var number: +proxy.value
    readonly property var bits: proxy.value | 0
    readonly property real greater: Math.max(proxy.value, 10)
    readonly property real rounded: Math.round(proxy.value)
    readonly property string text: "n=" + proxy.value
    readonly property string template: `n=${proxy.value}`
    readonly property string kind: typeof proxy.value
    readonly property string json: JSON.stringify(proxy.value) ?? "none"

    // As a condition
    readonly property bool isFalse: !proxy.value
    readonly property string chosen: proxy.value ? "yes" : "no"
    readonly property var both: proxy.value && 5
    readonly property var either: proxy.value || 5
    readonly property string switched: {
        switch (proxy.value) {
        case true: return "on"
        case 1200: return "nominal"
        case "open": return "is open"
        default: return "other"
        }
    }
    readonly property string branched: {
        const value = proxy.value
        if (value === undefined)
            return "waiting"
        if (value >= 1000)
            return "high"
        return "low"
    }

    // The other properties of a proxy
    readonly property bool validAsBool: proxy.valueValid
    readonly property var validOr: proxy.valueValid ?? "none"
    readonly property string validChosen: proxy.valueValid ? "valid" : "invalid"
    readonly property bool validIsTrue: proxy.valueValid === true
    readonly property bool labelLookedUp: proxy.valueLabelValid
    readonly property var labelOr: proxy.labelValue ?? "none"
    readonly property int type: proxy.valueType
    readonly property bool isInt: proxy.valueType === PKeyword.KVT_INT
    readonly property bool isLive: proxy.connected && proxy.online && !proxy.error

    // Through another property
    readonly property var followedOr: follower.value ?? "none"
    readonly property bool followedAbove: root.follower.value > 1000

    // Through a function
    function scaled(proxy: PKeywordProxy, factor: real): real {
        return (proxy.value ?? 0) * factor
    }
    readonly property real byFunction: scaled(proxy, 1.5)

    // Through items
    readonly property string shown: label.text
    readonly property real barWidth: bar.width
    readonly property bool barVisible: bar.visible
    readonly property int rows: rows.count

    // Expressions that the QML compilers handle differently for all types; see limits_areQtsOwn().
    property var kept: proxy.value
    readonly property var limitedOr: root.kept ?? "none"
    readonly property bool limitedNull: proxy.value === null
    readonly property string limitedString: proxy.value
    readonly property int limitedInt: proxy.value

    PKeywordProxy {
        id: proxy
    }

    Text {
        id: label

        text: root.isPlain ? proxy.value ?? "–" : ""
    }

    Rectangle {
        id: bar

        width: Math.min(300, proxy.value)
        visible: proxy.value !== undefined && proxy.value >= 5
    }

    Repeater {
        id: rows

        model: proxy.value?.length ?? 0
        delegate: Item { }
    }
}
