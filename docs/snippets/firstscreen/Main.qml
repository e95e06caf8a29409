// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [screen]
import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword 1.0

ApplicationWindow {
    id: root

    property string address: "ws://127.0.0.1:8765"

    width: 320
    height: 200
    visible: true
    title: "Tank 1"

    PWebSocketKeywordClient {
        id: server

        urls: [root.address]
        autoReconnect: true
    }

    PKeywordProxy {
        id: level

        client: server
        keyword: "/plant/tank1/level"
    }

    PKeywordProxy {
        id: setpoint

        client: server
        keyword: "/plant/tank1/setpoint"
    }

    Column {
        anchors.centerIn: parent
        spacing: 8

        Text {
            objectName: "levelText"
            font.pixelSize: 40
            text: level.value?.toFixed(1) ?? "–"
        }

        Row {
            spacing: 8

            Button {
                text: "−5"
                onClicked: setpoint.updateRelative(-5)
            }
            Text {
                objectName: "setpointText"
                text: "setpoint " + (setpoint.value ?? "–")
            }
            Button {
                objectName: "more"
                text: "+5"
                onClicked: setpoint.updateRelative(5)
            }
        }

        Text {
            objectName: "linkText"
            text: "no connection to " + root.address
            color: "red"
            visible: !server.connected
        }
    }
}
//! [screen]
