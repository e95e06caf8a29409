// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control
import PellixClient.Keyword 1.0

Item {
    id: root

    required property PKeywordClient client
    required property PWebSocketKeywordClient webSocket
    required property bool connected

    implicitHeight: Theme.dp(44)

    LiveValue {
        id: name
        client: root.client
        keyword: "/machine/settings/name"
    }
    LiveValue {
        id: host
        client: root.client
        keyword: "/machine/host/name"
    }
    LiveValue {
        id: uptime
        client: root.client
        keyword: "/machine/uptime"
    }

    Column {
        anchors {
            left: parent.left
            leftMargin: Theme.dp(4)
            right: pill.left
            rightMargin: Theme.gap
            verticalCenter: parent.verticalCenter
        }
        spacing: Theme.dp(2)

        PText {
            width: parent.width
            text: name.known && name.text !== "" ? name.text : qsTr("Telemetry")
            font.pixelSize: Theme.dp(19)
            font.weight: Font.DemiBold
        }
        PText {
            width: parent.width
            text: qsTr("Host %1, up for %2")
                    .arg(host.known ? host.text : Format.none).arg(Format.duration(uptime.number))
            color: Theme.textSecondary
            font.pixelSize: Theme.dp(12)
        }
    }
    ConnectionPill {
        id: pill

        anchors {
            right: parent.right
            verticalCenter: parent.verticalCenter
        }
        connected: root.connected
        text: {
            if (!root.webSocket)
                return qsTr("In-process server");
            return root.connected ? qsTr("Connected") : qsTr("Not connected");
        }
    }
}
