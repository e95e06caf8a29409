// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Control

/* A text field. If it has a problem, its frame indicates it, and its tool tip describes it. */
TextField {
    id: root

    property string problem

    implicitHeight: Theme.dp(30)
    topPadding: 0
    bottomPadding: 0
    leftPadding: Theme.dp(8)
    rightPadding: Theme.dp(8)
    font.pixelSize: Theme.dp(13)
    verticalAlignment: TextInput.AlignVCenter
    color: Theme.text
    placeholderTextColor: Theme.textFaint
    selectByMouse: true
    selectionColor: Theme.accent
    selectedTextColor: Theme.window
    opacity: enabled ? 1 : 0.5
    Accessible.name: placeholderText

    background: Rectangle {
        radius: Theme.dp(5)
        color: Theme.window
        border.width: root.activeFocus ? 2 : 1
        border.color: root.problem !== "" ? Theme.error
                                          : root.activeFocus ? Theme.accent : Theme.groove
    }

    ToolTip.visible: problem !== "" && (hovered || activeFocus)
    ToolTip.text: problem
}
