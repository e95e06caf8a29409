// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import PellixClient.Control
import PellixClient.Keyword 1.0

/*
    The dashboard of one machine. Its only input is the client, which the program creates: an
    in-process client or a WebSocket client. Each card shows keywords of this client.
*/
ApplicationWindow {
    id: root

    required property PKeywordClient client
    readonly property PWebSocketKeywordClient webSocket: client as PWebSocketKeywordClient
    readonly property bool connected: webSocket ? webSocket.connected : true

    readonly property real columnWidth: Math.floor((contentItem.width - 4 * Theme.gap) / 3)

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
        RowLayout {
            spacing: Theme.gap
            Layout.minimumHeight: Theme.dp(166)
            Layout.preferredHeight: Theme.dp(220)

            CpuCard {
                client: root.client
                Layout.fillHeight: true
                Layout.preferredWidth: 2 * root.columnWidth + Theme.gap
            }
            MemoryCard {
                client: root.client
                Layout.fillHeight: true
                Layout.preferredWidth: root.columnWidth
            }
        }
        RowLayout {
            spacing: Theme.gap
            Layout.minimumHeight: Theme.dp(146)
            Layout.preferredHeight: Theme.dp(164)

            RateCard {
                title: qsTr("Disk")
                client: root.client
                base: "/machine/disk"
                inKeyword: "readRate"
                inLabel: qsTr("Read")
                outKeyword: "writeRate"
                outLabel: qsTr("Write")
                tone: Theme.violet
                Layout.fillHeight: true
                Layout.preferredWidth: root.columnWidth
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
                Layout.fillHeight: true
                Layout.preferredWidth: root.columnWidth
            }
            SystemCard {
                client: root.client
                Layout.fillHeight: true
                Layout.preferredWidth: root.columnWidth
            }
        }
        RowLayout {
            spacing: Theme.gap
            Layout.minimumHeight: Theme.dp(184)
            Layout.preferredHeight: Theme.dp(212)

            SettingsCard {
                client: root.client
                Layout.fillHeight: true
                Layout.preferredWidth: root.columnWidth
            }
            StatesCard {
                client: root.client
                connected: root.connected
                Layout.fillHeight: true
                Layout.preferredWidth: root.columnWidth
            }
            ConnectionCard {
                webSocket: root.webSocket
                connected: root.connected
                Layout.fillHeight: true
                Layout.preferredWidth: root.columnWidth
            }
        }
    }
}
