// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import PellixClient.Keyword.Extras

// Shows the state of the connection, and the reason if there is none.
Pane {
    id: root

    required property PKeywordConnection server

    //! [state]
    readonly property string description: {
        switch (server.state) {
        case PKeywordConnection.Connected:
            return qsTr("Connected to %1").arg(server.address)
        case PKeywordConnection.Connecting:
            return qsTr("Connecting to %1").arg(server.address)
        case PKeywordConnection.Waiting:
            return qsTr("%1: %2. Next attempt in %3 s")
                .arg(server.address).arg(server.reason).arg(Math.ceil(server.retryIn / 1000))
        default:
            return qsTr("Not connected. %1").arg(server.reason)
        }
    }
    //! [state]

    padding: Theme.gap
    leftPadding: 2 * Theme.gap
    rightPadding: 2 * Theme.gap

    background: Rectangle {
        color: Theme.card

        Rectangle {
            width: parent.width
            height: 1
            color: Theme.outline
        }
    }

    RowLayout {
        anchors.fill: parent
        spacing: Theme.gap

        Rectangle {
            implicitWidth: Theme.gap + 4
            implicitHeight: implicitWidth
            radius: implicitWidth / 2
            color: root.server.connected ? Theme.accent : Theme.alarm
        }
        Label {
            Layout.fillWidth: true
            text: root.description
            textFormat: Text.PlainText // the reason may contain text from the server
            elide: Text.ElideRight
            font.pixelSize: Theme.small
        }
        //! [retry]
        ActionButton {
            id: retry

            // Transparent instead of invisible, so that the height of the line does not change.
            opacity: enabled ? 1 : 0
            enabled: root.server.state === PKeywordConnection.Waiting
            text: qsTr("Try Now")
            Accessible.ignored: !enabled
            onClicked: root.server.open()
        }
        //! [retry]
    }
}
