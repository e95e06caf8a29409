// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
import PellixClient.Control
import PellixClient.Keyword 1.0
import Telemetry

/* The connection to the server: a WebSocket with a switch for it, or the text that there is none. */
Card {
    id: root

    required property PWebSocketKeywordClient webSocket
    required property bool connected

    title: qsTr("Connection")

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.dp(6)
        visible: root.webSocket === null

        PText {
            text: qsTr("In this process")
            font.pixelSize: Theme.dp(16)
        }
        PText {
            text: qsTr("The keyword server is part of this program, so the link cannot be lost. "
                       + "Start it with --url to watch another machine.")
            color: Theme.textSecondary
            wrapMode: Text.WordWrap
            verticalAlignment: Text.AlignTop
            Layout.fillWidth: true
            Layout.fillHeight: true
        }
    }
    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.dp(6)
        visible: root.webSocket !== null

        PText {
            text: root.connected ? qsTr("Connected") : qsTr("Not connected")
            color: root.connected ? Theme.accent : Theme.error
            font.pixelSize: Theme.dp(16)
        }
        PText {
            text: root.webSocket ? Addresses.shown(root.webSocket.url) : ""
            elide: Text.ElideMiddle
            color: Theme.textSecondary
            Layout.fillWidth: true
        }
        ToggleSwitch {
            text: qsTr("Reconnect automatically")
            switchedOn: root.webSocket !== null && root.webSocket.autoReconnect
            onClicked: root.webSocket.autoReconnect = !switchedOn
            Layout.fillWidth: true
        }
        Item { Layout.fillHeight: true }
        ActionButton {
            text: qsTr("Disconnect")
            enabled: root.connected
            onClicked: root.webSocket.disconnect()
            Layout.fillWidth: true
        }
    }
}
