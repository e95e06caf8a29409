// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import CompiledExtras

// A property of any type, read in the same ways as in applications.
Item {
    id: root

    property alias any: any

    readonly property real asReal: any.value
    readonly property bool asBool: any.value
    readonly property var asVar: any.value
    readonly property real realOr: any.value ?? -1
    readonly property var varOr: any.value ?? "none"
    readonly property var sameOr: any.same ?? "none"
    readonly property var memberOr: any.value?.x ?? "none"
    readonly property var elementOr: any.value?.[1] ?? "none"
    readonly property bool isAbove: any.value > 1000
    readonly property bool isAtLeast: any.value >= 1200
    readonly property bool isNumber: any.value === 1200
    readonly property bool isUndefined: any.value === undefined
    readonly property bool isNothing: any.value == null
    readonly property var sum: any.value + 1
    readonly property var doubled: (any.value ?? 0) * 2
    readonly property var negative: -any.value
    readonly property string text: "n=" + any.value
    readonly property string kind: typeof any.value
    readonly property string chosen: any.value ? "yes" : "no"
    readonly property string named: any.typeName(any.value)
    readonly property real byFunction: twice(any)
    readonly property var literal: fixed.value ?? "none"
    readonly property var assigned: written.value ?? "none"
    readonly property var bound: follower.value ?? "none"
    property var returned
    property var returnedOr
    property bool returnedAbove
    property string handled
    property string carried
    property string heard

    function twice(other: AnyValue): real {
        return (other.value ?? 0) * 2;
    }

    AnyValue {
        id: any

        onValueChanged: root.handled = root.handled + "|" + (value ?? "none") + (value >= 1000 ? "!" : "")
        onArrived: (value) => root.carried = root.carried + "|" + (value ?? "none")
    }
    Connections {
        target: any

        function onValueChanged() {
            root.returned = any.current() ?? "none";
            root.returnedOr = any.currentOr(5) ?? "none";
            root.returnedAbove = any.current() > 1000;
        }
        function onArrived(value) {
            root.heard = root.heard + "|" + (value ?? "none");
        }
    }
    AnyValue {
        id: fixed

        value: 5
    }
    AnyValue {
        id: written

        Component.onCompleted: written.value = root.width + 2
    }
    AnyValue {
        id: follower

        value: root.width + 1
    }
}
