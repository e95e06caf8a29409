// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma Singleton

import QtQuick

/*
    Colours and sizes. The program makes this object known as "theme", too: the components of the
    keyword library look for theme.dp() in their context.
*/
QtObject {
    property real scale: 1

    readonly property color window: "#0e1318"
    readonly property color card: "#161d24"
    readonly property color cardBorder: "#222c36"
    readonly property color groove: "#26313c"
    readonly property color control: "#202a34"
    readonly property color controlHover: "#2a3641"

    readonly property color text: "#e4eaf0"
    readonly property color textSecondary: "#93a1af"
    readonly property color textFaint: "#5d6b79"

    readonly property color accent: "#4cc2ae"
    readonly property color blue: "#6ea8fe"
    readonly property color violet: "#a78bfa"
    readonly property color warning: "#e3a73f"
    readonly property color error: "#ec6a6f"
    readonly property color unknown: "#5d6b79"

    readonly property real gap: dp(12)
    readonly property real padding: dp(16)
    readonly property real radius: dp(10)

    function dp(units: real): real {
        return Math.round(units * scale);
    }
}
