// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control

/* States across the window that the values are not live, the reason, and when the next attempt is made. */
Rectangle {
    id: root

    required property Session session
    required property date now

    readonly property bool hadConnection: !isNaN(session.lostAt.getTime())

    readonly property string next: {
        if (session.unusable)
            return qsTr("These settings do not allow a connection.");
        if (!session.autoReconnect)
            return qsTr("Automatic reconnection is off.");
        if (session.retryIn > 0)
            return qsTr("Next attempt in %1 s.").arg(Math.ceil(session.retryIn / 1000));
        return qsTr("Trying again.");
    }

    implicitHeight: Math.max(Theme.dp(34), lostText.implicitHeight + Theme.dp(10))
    color: Theme.error

    RowLayout {
        anchors {
            fill: parent
            leftMargin: Theme.gap
            rightMargin: Theme.gap
        }
        spacing: Theme.dp(8)

        PText {
            id: lostText

            objectName: "lostText"
            color: Theme.window
            font.bold: true
            wrapMode: Text.Wrap
            Layout.fillWidth: true
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
            text: {
                const what = root.hadConnection
                    ? qsTr("Connection lost %1: these are the last known values.")
                          .arg(Format.ago((root.now - root.session.lostAt) / 1000))
                    : qsTr("Not connected: no value is known.");
                const why = root.session.reason !== "" ? "  " + qsTr("Reason: %1.").arg(root.session.reason) : "";
                return what + why + "  " + root.next;
            }
        }
        PushButton {
            objectName: "tryNowButton"
            text: qsTr("Try now")
            visible: root.session.retryIn > 0
            onClicked: root.session.tryNow()
        }
    }
}
