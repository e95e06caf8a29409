// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Control

Slider {
    id: root

    implicitWidth: Theme.dp(160)
    implicitHeight: Theme.dp(28)
    padding: 0
    opacity: enabled ? 1 : 0.45

    background: Bar {
        anchors.verticalCenter: parent.verticalCenter
        width: root.width
        height: Theme.dp(6)
        fraction: root.enabled ? (root.handle.x + root.handle.width / 2) / root.width : NaN
    }
    handle: Rectangle {
        x: root.visualPosition * (root.availableWidth - width)
        anchors.verticalCenter: parent.verticalCenter
        width: Theme.dp(18)
        height: width
        radius: width / 2
        color: root.pressed ? Theme.accent : Theme.text
        border.width: root.visualFocus ? Theme.dp(3) : 0
        border.color: Theme.accent
        visible: root.enabled
    }
}
