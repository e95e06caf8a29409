// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Control

/* A choice between a few entries { text, value }. */
ComboBox {
    id: root

    implicitHeight: Theme.dp(30)
    textRole: "text"
    valueRole: "value"
    font.pixelSize: Theme.dp(12)
    opacity: enabled ? 1 : 0.5

    background: Rectangle {
        implicitWidth: Theme.dp(96)
        radius: Theme.dp(5)
        color: root.hovered ? Theme.controlHover : Theme.control
        border.width: root.visualFocus ? 2 : 1
        border.color: root.visualFocus ? Theme.accent : Theme.groove
    }
    contentItem: PText {
        leftPadding: Theme.dp(8)
        text: root.displayText
        font: root.font
    }
    indicator: PText {
        x: root.width - width - Theme.dp(8)
        y: (root.height - height) / 2
        text: "\u25be"
        color: Theme.textSecondary
    }
}
