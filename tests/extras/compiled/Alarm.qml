// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import CompiledExtras
import PellixClient.Keyword.Extras

// The limits of an alarm, which can be of any type.
Item {
    id: root

    property alias any: any
    property alias alarm: alarm

    readonly property real equalOr: alarm.equalTo ?? -1
    readonly property var varOr: alarm.equalTo ?? "none"
    readonly property var memberOr: alarm.equalTo?.x ?? "none"
    readonly property var elementOr: alarm.equalTo?.[1] ?? "none"
    readonly property bool isAtLeast: alarm.equalTo >= 1200
    readonly property bool isNumber: alarm.equalTo === 1200
    readonly property bool isUndefined: alarm.equalTo === undefined
    readonly property var doubled: (alarm.equalTo ?? 0) * 2
    readonly property string text: "n=" + alarm.equalTo
    readonly property string chosen: alarm.equalTo ? "yes" : "no"
    readonly property var literal: fixed.equalTo ?? "none"
    readonly property var assigned: written.equalTo ?? "none"
    property string handled

    AnyValue {
        id: any
    }
    PKeywordAlarm {
        id: alarm

        equalTo: any.value
        onEqualToChanged: root.handled = root.handled + "|" + (equalTo ?? "none") + (equalTo >= 1000 ? "!" : "")
    }
    PKeywordAlarm {
        id: fixed

        equalTo: 3
    }
    PKeywordAlarm {
        id: written

        Component.onCompleted: written.equalTo = root.width + 2
    }
}
