// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [screen]
import QtQuick
import PellixClient.Control
import PellixClient.Keyword

Window {
    id: root

    property string address: "ws://127.0.0.1:8765"

    width: 480
    height: 120
    visible: true
    color: Theme.window

    PWebSocketKeywordClient {
        id: server
        urls: [root.address]
        autoReconnect: true
    }
    Column {
        anchors.fill: parent
        spacing: Theme.gap

        PText { text: "Levels" }
        PKeywordPathList {
            width: parent.width
            keywords: ["/plant/tank1/level", "/plant/tank2/level"]
            keywordClient: server
        }
    }
}
//! [screen]
