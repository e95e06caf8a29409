// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
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
        id: system
        client: root.client
        keyword: "/machine/host/system"
    }
    LiveValue {
        id: uptime
        client: root.client
        keyword: "/machine/uptime"
    }

    RowLayout {
        anchors {
            fill: parent
            leftMargin: Theme.dp(4)
        }
        spacing: Theme.padding

        ColumnLayout {
            spacing: Theme.dp(2)

            PText {
                text: name.known && name.text !== "" ? name.text : qsTr("Telemetry")
                font.pixelSize: Theme.dp(19)
                font.weight: Font.DemiBold
                Layout.fillWidth: true
            }
            PText {
                text: {
                    if (!host.known)
                        return qsTr("Unknown machine");
                    return qsTr("Host %1, %2, up for %3").arg(host.text)
                        .arg(system.known ? system.text : Format.none)
                        .arg(Format.duration(uptime.number));
                }
                color: Theme.textSecondary
                font.pixelSize: Theme.dp(12)
                Layout.fillWidth: true
            }
        }
        StaleBanner {
            visible: !root.connected
            retrying: root.webSocket !== null && root.webSocket.autoReconnect
            Layout.preferredWidth: Math.min(Theme.dp(530), root.width / 2)
            Layout.fillHeight: true
        }
        ConnectionPill {
            connected: root.connected
            text: {
                if (!root.webSocket)
                    return qsTr("In-process server");
                return root.connected ? qsTr("Connected") : qsTr("Not connected");
            }
        }
    }
}
