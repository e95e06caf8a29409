// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import PellixClient.Control
import PellixClient.Keyword 1.0

/*
    The dashboard of one machine. Its only input is the client, which the program creates: either an
    in-process one or one with a WebSocket. Every card below shows keywords of that client.
*/
ApplicationWindow {
    id: root

    required property PKeywordClient client
    readonly property PWebSocketKeywordClient webSocket: client as PWebSocketKeywordClient
    readonly property bool connected: webSocket ? webSocket.connected : true

    width: 1000
    height: 700
    minimumWidth: 800
    minimumHeight: 600
    visible: true
    title: qsTr("Telemetry")
    color: Theme.window

    ColumnLayout {
        anchors {
            fill: parent
            margins: Theme.gap
        }
        spacing: Theme.gap

        Header {
            client: root.client
            webSocket: root.webSocket
            connected: root.connected
            Layout.fillWidth: true
        }
        StaleBanner {
            visible: !root.connected
            retrying: root.webSocket !== null && root.webSocket.autoReconnect
            Layout.fillWidth: true
        }
        RowLayout {
            spacing: Theme.gap
            Layout.preferredHeight: 200

            CpuCard {
                client: root.client
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.preferredWidth: 640
            }
            MemoryCard {
                client: root.client
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.preferredWidth: 320
            }
        }
        RowLayout {
            spacing: Theme.gap
            Layout.preferredHeight: 150

            RateCard {
                title: qsTr("Disk")
                client: root.client
                base: "/machine/disk"
                inKeyword: "readRate"
                inLabel: qsTr("Read")
                outKeyword: "writeRate"
                outLabel: qsTr("Write")
                tone: Theme.violet
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.preferredWidth: 320
            }
            RateCard {
                title: qsTr("Network")
                client: root.client
                base: "/machine/network"
                inKeyword: "receiveRate"
                inLabel: qsTr("Receive")
                outKeyword: "sendRate"
                outLabel: qsTr("Send")
                tone: Theme.blue
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.preferredWidth: 320
            }
            SystemCard {
                client: root.client
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.preferredWidth: 320
            }
        }
        RowLayout {
            spacing: Theme.gap
            Layout.preferredHeight: 190

            SettingsCard {
                client: root.client
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.preferredWidth: 320
            }
            StatesCard {
                client: root.client
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.preferredWidth: 320
            }
            ConnectionCard {
                webSocket: root.webSocket
                connected: root.connected
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.preferredWidth: 320
            }
        }
    }
}
