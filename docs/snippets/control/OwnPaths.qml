// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [screen]
import QtQuick
import PellixClient.Keyword

Window {
    id: root

    property string address: "ws://127.0.0.1:8765"
    readonly property QtObject theme: QtObject {
        function dp(units: real): real {
            return 1.5 * units
        }
    }

    width: 480
    height: 120
    visible: true

    PWebSocketKeywordClient {
        id: server
        urls: [root.address]
        autoReconnect: true
    }
    PKeywordPath {
        keyword: "/plant/tank1/level"
        keywordClient: server
    }
}
//! [screen]
