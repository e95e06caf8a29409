// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic

// Draws a vessel with its level and its setpoint, both from 0 to 100 %.
Item {
    id: root

    property real level: 0
    property real setpoint: NaN

    implicitWidth: 160
    implicitHeight: 160

    Repeater {
        model: [0, 25, 50, 75, 100]
        delegate: Label {
            required property int modelData

            anchors.right: shell.left
            anchors.rightMargin: Theme.gap
            y: shell.y + shell.height * (1 - modelData / 100) - height / 2
            text: modelData
            font.pixelSize: Theme.small
            color: Theme.secondary
            Accessible.ignored: true
        }
    }

    Rectangle {
        id: shell

        anchors.fill: parent
        anchors.leftMargin: 4 * Theme.gap
        anchors.rightMargin: 4 * Theme.gap
        anchors.topMargin: Theme.gap
        anchors.bottomMargin: Theme.gap
        radius: Theme.gap / 2
        color: Theme.window
        border.color: Theme.outline

        Rectangle {
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.bottom: parent.bottom
            anchors.margins: 1
            height: (parent.height - 2) * Math.max(0, Math.min(100, root.level)) / 100
            radius: Theme.gap / 2
            color: Theme.liquid
        }
        Rectangle {
            visible: !isNaN(root.setpoint)
            width: parent.width + Theme.gap
            height: 3
            radius: 1
            y: parent.height * (1 - root.setpoint / 100) - height / 2
            color: Theme.accent
        }
    }
}
