// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [window]
import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword 1.0

ApplicationWindow {
    id: root

    property alias addresses: server.urls

    readonly property string condition: !server.connected ? qsTr("No connection to the server")
                                        : level.error ? qsTr("Error")
                                        : !level.connected ? qsTr("No value")
                                        : !level.online ? qsTr("Out of date")
                                        : !level.consistent ? qsTr("Inconsistent")
                                        : qsTr("Good")

    width: 400
    height: 240
    visible: true
    title: qsTr("Tanks")

    PWebSocketKeywordClient {
        id: server

        urls: ["ws://127.0.0.1:8765"]
        autoReconnect: true
    }

    PKeywordProxy {
        id: level

        client: server
        keyword: "/plant/tank1/level"
    }

    Column {
        anchors.centerIn: parent
        spacing: 8

        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: qsTr("Level of tank 1")
            font.pixelSize: 15
        }
        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: level.value?.toFixed(1).concat(" %") ?? "–"
            font.pixelSize: 56
        }
        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: root.condition
            font.pixelSize: 15
        }
    }
}
//! [window]
