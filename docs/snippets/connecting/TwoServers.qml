// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [two]
import QtQuick
import PellixClient.Keyword 1.0

Column {
    id: root

    required property list<string> addresses

    Repeater {
        model: root.addresses

        Text {
            id: line

            required property string modelData

            text: server.connected ? level.value?.toFixed(1) ?? "no value" : "not connected"

            PWebSocketKeywordClient {
                id: server

                urls: [line.modelData]
                autoReconnect: true
            }
            PKeywordProxy {
                id: level

                client: server
                keyword: "/plant/tank1/level"
            }
        }
    }
}
//! [two]
