// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0

Window {
    property alias shown: reading.text
    property alias addresses: server.urls

    width: 400
    height: 240

    PWebSocketKeywordClient {
        id: server
    }

    PKeywordProxy {
        id: speed

        client: server
        keyword: "/plant/line3/motor0/speed"
    }

    Text {
        id: reading

        anchors.centerIn: parent
        text: speed.value === undefined ? "" : speed.value.toFixed(1)
        font.pixelSize: 56
    }
}
