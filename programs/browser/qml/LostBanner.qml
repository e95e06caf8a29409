// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import KeywordBrowser
import PellixClient.Control

/* Says across the window that nothing shown is live, and what is done about it. */
Rectangle {
    id: root

    required property Session session
    required property date now

    readonly property bool hadConnection: !isNaN(session.lostAt.getTime())

    implicitHeight: Theme.dp(34)
    color: Theme.error

    PText {
        anchors {
            fill: parent
            leftMargin: Theme.gap
            rightMargin: Theme.gap
        }
        objectName: "lostText"
        color: Theme.window
        font.bold: true
        text: {
            const what = root.hadConnection
                ? qsTr("Connection lost %1: values are the last known.")
                      .arg(Format.ago((root.now - root.session.lostAt) / 1000))
                : qsTr("Not connected: no value is known.");
            const next = root.session.autoReconnect
                ? qsTr("Trying again every second.")
                : qsTr("Automatic reconnection is off.");
            return what + "  " + next;
        }
    }
}
