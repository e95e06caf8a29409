// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/* The letter of a type in the color of that type. */
Rectangle {
    id: root

    required property string letter

    implicitWidth: Theme.dp(20)
    implicitHeight: Theme.dp(20)
    radius: Theme.dp(4)

    PText {
        anchors.centerIn: parent
        text: root.letter
        color: "white"
        font.pixelSize: Theme.dp(12)
        font.bold: true
    }
}
