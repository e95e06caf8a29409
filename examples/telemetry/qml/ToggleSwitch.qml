// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Control

/* A switch that reports the wish in toggled() and shows what the server says in checked. */
AbstractButton {
    id: root

    implicitHeight: Theme.dp(28)
    implicitWidth: label.implicitWidth + Theme.dp(54)
    checkable: true
    opacity: enabled ? 1 : 0.45

    contentItem: PText {
        id: label

        text: root.text
        color: Theme.textSecondary
        rightPadding: Theme.dp(54)
    }
    indicator: Rectangle {
        x: root.width - width
        y: (root.height - height) / 2
        width: Theme.dp(38)
        height: Theme.dp(20)
        radius: height / 2
        color: root.checked ? Theme.accent : Theme.groove
        border.width: root.visualFocus ? 2 : 0
        border.color: Theme.text

        Rectangle {
            x: root.checked ? parent.width - width - Theme.dp(3) : Theme.dp(3)
            anchors.verticalCenter: parent.verticalCenter
            width: Theme.dp(14)
            height: width
            radius: width / 2
            color: root.checked ? Theme.window : Theme.textSecondary

            Behavior on x { NumberAnimation { duration: 120; easing.type: Easing.OutCubic } }
        }
    }
}
