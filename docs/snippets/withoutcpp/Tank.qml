// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [screen]
import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword

Window {
    id: root

    property string address: "ws://127.0.0.1:8765"
    readonly property string text: level.value?.toFixed(1) ?? "no value"

    width: 320
    height: 160
    visible: true
    title: "Tank 1"

    PWebSocketKeywordClient {
        id: server
        urls: [root.address]
        autoReconnect: true
    }
    PKeywordProxy {
        id: level
        objectName: "level"
        client: server
        keyword: "/plant/tank1/level"
    }
    PKeywordProxy {
        id: setpoint
        objectName: "setpoint"
        client: server
        keyword: "/plant/tank1/setpoint"
    }

    Column {
        anchors.centerIn: parent
        spacing: 8

        Text { text: "level " + root.text }
        Slider {
            from: 0
            to: 100
            value: setpoint.value ?? 0
            onMoved: setpoint.update(value)
        }
    }
}
//! [screen]
