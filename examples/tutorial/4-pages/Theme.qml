// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma Singleton

import QtQuick

// The sizes and colors of all pages, with colors for a dark and a light desktop.
QtObject {
    id: root

    readonly property SystemPalette system: SystemPalette { }
    readonly property bool dark: system.window.hslLightness < system.windowText.hslLightness

    readonly property color window: dark ? "#0e1318" : "#eef1f4"
    readonly property color card: dark ? "#161d24" : "#ffffff"
    readonly property color control: dark ? "#26313c" : "#e3e8ed"
    readonly property color outline: dark ? "#35424f" : "#c9d1d9"
    readonly property color text: dark ? "#e4eaf0" : "#1b242d"
    readonly property color secondary: dark ? "#9aa8b6" : "#54626f"
    readonly property color accent: dark ? "#4cc2ae" : "#0b7a6a"
    readonly property color liquid: dark ? "#2c6f86" : "#8cc4d6"
    readonly property color warning: dark ? "#e3a73f" : "#8f5200"
    readonly property color alarm: dark ? "#ff8080" : "#b3202a"

    readonly property int gap: 8
    readonly property int small: 13
    readonly property int normal: 15
    readonly property int large: 20
    readonly property int huge: 40
}
