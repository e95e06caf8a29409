// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/* Shows a condition as a dot, a color, and a word, never only by its color. */
Rectangle {
    id: root

    required property int condition

    readonly property color tone: Format.conditionColor(condition)

    implicitWidth: content.implicitWidth + Theme.dp(16)
    implicitHeight: Theme.dp(20)
    radius: height / 2
    color: Qt.alpha(tone, 0.14)

    Row {
        id: content

        anchors.centerIn: parent
        spacing: Theme.dp(6)

        Rectangle {
            readonly property bool hollow: root.condition === LiveValue.NotConnected

            anchors.verticalCenter: parent.verticalCenter
            width: Theme.dp(7)
            height: width
            radius: width / 2
            color: hollow ? "transparent" : root.tone
            border.width: Theme.dp(1)
            border.color: hollow ? Theme.textSecondary : root.tone
        }
        PText {
            anchors.verticalCenter: parent.verticalCenter
            text: Format.conditionText(root.condition)
            color: root.condition === LiveValue.NotConnected ? Theme.textSecondary : root.tone
            font.pixelSize: Theme.dp(11)
        }
    }
}
