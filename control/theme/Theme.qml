// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma Singleton

import QtQuick

/*!
    \qmltype Theme
    \inqmlmodule PellixClient.Theme
    \inherits QtObject
    \brief The colours and sizes of PText.

    It is a singleton, which \c {import PellixClient.Control} brings as well:

    \code
    Window {
        color: Theme.window
        PText { text: "Tank 1"; font.pixelSize: Theme.dp(20) }
    }
    \endcode
*/
QtObject {
    id: root

    readonly property SystemPalette system: SystemPalette { }
    /*! Whether the colours are dark; those of the system say so as long as nothing else does. */
    property bool dark: system.window.hslLightness < system.windowText.hslLightness
    /*! How many pixels a design unit has; 1 by default. */
    property real scale: 1

    readonly property color window: dark ? "#0e1318" : "#eef1f4"
    readonly property color card: dark ? "#161d24" : "#ffffff"
    readonly property color cardBorder: dark ? "#222c36" : "#d5dce3"
    readonly property color groove: dark ? "#26313c" : "#d3dae1"
    readonly property color control: dark ? "#202a34" : "#f1f4f7"
    readonly property color controlHover: dark ? "#2a3641" : "#e4e9ee"

    readonly property color text: dark ? "#e4eaf0" : "#1b242d"
    readonly property color textSecondary: dark ? "#93a1af" : "#54626f"
    readonly property color textFaint: dark ? "#6d7c8b" : "#788795"

    readonly property color accent: dark ? "#4cc2ae" : "#0b7a6a"
    readonly property color blue: dark ? "#6ea8fe" : "#1a62c9"
    readonly property color violet: dark ? "#a78bfa" : "#6d4bd8"
    readonly property color warning: dark ? "#e3a73f" : "#955f00"
    readonly property color error: dark ? "#ec6a6f" : "#bf2830"
    readonly property color unknown: dark ? "#5d6b79" : "#8b98a5"

    readonly property real gap: dp(12)
    readonly property real padding: dp(16)
    readonly property real radius: dp(10)

    function dp(units: real): real {
        return Math.round(units * scale);
    }
}
