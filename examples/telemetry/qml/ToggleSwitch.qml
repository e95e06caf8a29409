// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Control

/*
    A switch that does not change its state when it is clicked. It shows the state that is assigned
    to it, and emits clicked(), which the owner handles, for example with a write.
*/
AbstractButton {
    id: root

    required property bool switchedOn

    implicitHeight: Theme.dp(28)
    implicitWidth: implicitContentWidth
    Accessible.role: Accessible.CheckBox
    Accessible.checkable: true
    Accessible.checked: switchedOn
    opacity: enabled ? 1 : 0.45

    contentItem: PText {
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
        color: root.switchedOn ? Theme.accent : Theme.groove
        border.width: root.visualFocus ? 2 : 0
        border.color: Theme.text

        Rectangle {
            x: root.switchedOn ? parent.width - width - Theme.dp(3) : Theme.dp(3)
            anchors.verticalCenter: parent.verticalCenter
            width: Theme.dp(14)
            height: width
            radius: width / 2
            color: root.switchedOn ? Theme.window : Theme.textSecondary

            Behavior on x { NumberAnimation { duration: 120; easing.type: Easing.OutCubic } }
        }
    }
}
