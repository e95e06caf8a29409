// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/* Shows a fraction from 0 to 1 as a horizontal or vertical bar. NaN is shown as an empty outline. */
Rectangle {
    id: root

    property real fraction: NaN
    property bool upright: false
    property color tone: Theme.accent

    readonly property bool known: !isNaN(fraction)
    readonly property real filled: known ? Math.max(0, Math.min(1, fraction)) : 0

    implicitWidth: upright ? Theme.dp(16) : Theme.dp(120)
    implicitHeight: upright ? Theme.dp(80) : Theme.dp(8)
    radius: Math.min(width, height) / 2
    color: known ? Theme.groove : "transparent"
    border.width: known ? 0 : 1
    border.color: Theme.groove

    Rectangle {
        anchors {
            left: parent.left
            bottom: parent.bottom
        }
        visible: root.filled > 0
        // At least as long as its round ends, so that a small load is visible.
        width: root.upright ? parent.width : Math.max(parent.height, root.filled * parent.width)
        height: root.upright ? Math.max(parent.width, root.filled * parent.height) : parent.height
        radius: parent.radius
        color: root.tone

        Behavior on width { NumberAnimation { duration: 200; easing.type: Easing.OutCubic } }
        Behavior on height { NumberAnimation { duration: 200; easing.type: Easing.OutCubic } }
    }
}
