// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Control

AbstractButton {
    id: root

    implicitWidth: Math.max(Theme.dp(36), implicitContentWidth + Theme.dp(20))
    implicitHeight: Theme.dp(28)
    opacity: enabled ? 1 : 0.45

    background: Rectangle {
        radius: Theme.dp(6)
        color: root.down ? Theme.groove : root.hovered ? Theme.controlHover : Theme.control
        border.width: 1
        border.color: root.visualFocus ? Theme.accent : Theme.groove
    }
    contentItem: PText {
        text: root.text
        horizontalAlignment: Text.AlignHCenter
    }
}
