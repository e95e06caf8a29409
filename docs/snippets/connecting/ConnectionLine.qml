// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [line]
import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

Row {
    id: root

    property alias urls: server.urls
    property alias caFile: server.caFile
    property alias token: server.token
    readonly property PKeywordClient client: server

    spacing: 8

    PKeywordConnection {
        id: server
    }

    Text {
        objectName: "stateText"
        textFormat: Text.PlainText // a reason may quote the server
        text: {
            switch (server.state) {
            case PKeywordConnection.Connected:
                return qsTr("connected to %1").arg(server.address)
            case PKeywordConnection.Waiting:
                return qsTr("%1: %2; next attempt in %3 s")
                    .arg(server.address).arg(server.reason).arg(Math.ceil(server.retryIn / 1000))
            case PKeywordConnection.Connecting:
                return qsTr("connecting to %1").arg(server.address)
            default:
                return qsTr("not connected. %1").arg(server.reason)
            }
        }
    }
    Button {
        objectName: "tryNow"
        text: qsTr("Try now")
        visible: server.state === PKeywordConnection.Waiting
        onClicked: server.open()
    }
}
//! [line]
