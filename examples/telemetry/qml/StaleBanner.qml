// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/* Explains why every value is a dash while there is no connection. */
Rectangle {
    id: root

    required property bool retrying

    implicitHeight: Theme.dp(36)
    radius: Theme.dp(8)
    color: Qt.alpha(Theme.error, 0.14)
    border.width: 1
    border.color: Qt.alpha(Theme.error, 0.45)

    PText {
        anchors {
            fill: parent
            leftMargin: Theme.padding
            rightMargin: Theme.padding
        }
        text: root.retrying
            ? qsTr("The server cannot be reached: no value is known. A new attempt is made every second.")
            : qsTr("The server cannot be reached: no value is known. Automatic reconnection is off.")
        color: Theme.error
        font.pixelSize: Theme.dp(12)
        wrapMode: Text.WordWrap
    }
}
