// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/* One state flag of a keyword: its name, and the meaning of its current state. */
Item {
    id: root

    required property string name
    required property bool known
    required property bool good
    required property string goodText
    required property string badText
    property color badColor: Theme.warning

    readonly property color tone: !known ? Theme.unknown : good ? Theme.accent : badColor
    readonly property string meaning: !known ? qsTr("unknown") : good ? goodText : badText

    implicitHeight: Theme.dp(34)
    Accessible.role: Accessible.StaticText
    Accessible.name: name + ": " + meaning

    Rectangle {
        id: dot

        x: Theme.dp(1)
        y: Theme.dp(5)
        width: Theme.dp(8)
        height: width
        radius: width / 2
        color: root.known ? root.tone : "transparent"
        border.width: 1
        border.color: root.tone
    }
    PText {
        id: nameText

        anchors {
            left: dot.right
            leftMargin: Theme.dp(7)
            right: parent.right
        }
        height: Theme.dp(18)
        text: root.name
        font.pixelSize: Theme.dp(12)
    }
    PText {
        anchors {
            left: nameText.left
            right: parent.right
            top: nameText.bottom
        }
        height: Theme.dp(15)
        text: root.meaning
        color: root.known && !root.good ? root.tone : Theme.textSecondary
        font.pixelSize: Theme.dp(11)
    }
}
