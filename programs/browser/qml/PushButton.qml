// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Control

/* A button with a text, or with a symbol and a tool tip that describes it. */
AbstractButton {
    id: root

    property string tip
    property color tone: Theme.text

    implicitWidth: Math.max(Theme.dp(30), implicitContentWidth + Theme.dp(20))
    implicitHeight: Theme.dp(30)
    opacity: enabled ? 1 : 0.4
    focusPolicy: Qt.StrongFocus
    Accessible.name: tip !== "" ? tip : text

    // Return and Enter also click the button, as users expect. The tools of Qt 6.4 do not know click().
    Keys.onReturnPressed: root.click() // qmllint disable
    Keys.onEnterPressed: root.click() // qmllint disable

    background: Rectangle {
        radius: Theme.dp(5)
        color: root.down || root.checked ? Theme.groove
                                         : root.hovered ? Theme.controlHover : Theme.control
        border.width: root.visualFocus ? 2 : 1
        border.color: root.visualFocus ? Theme.accent : Theme.groove
    }
    contentItem: PText {
        text: root.text
        color: root.tone
        horizontalAlignment: Text.AlignHCenter
    }

    ToolTip.visible: tip !== "" && hovered
    ToolTip.delay: 600
    ToolTip.text: tip
}
