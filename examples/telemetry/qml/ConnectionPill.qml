// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/* Shows whether the client is connected to the server, as a dot and a short text. */
Rectangle {
    id: root

    required property bool connected
    required property string text

    readonly property color tone: connected ? Theme.accent : Theme.error

    implicitWidth: content.implicitWidth + Theme.dp(24)
    implicitHeight: Theme.dp(30)
    radius: height / 2
    color: Qt.alpha(tone, 0.12)
    border.width: 1
    border.color: Qt.alpha(tone, 0.4)

    Row {
        id: content

        anchors.centerIn: parent
        spacing: Theme.dp(8)

        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            width: Theme.dp(8)
            height: width
            radius: width / 2
            color: root.tone
        }
        PText {
            anchors.verticalCenter: parent.verticalCenter
            text: root.text
            color: root.tone
            font.pixelSize: Theme.dp(12)
        }
    }
}
