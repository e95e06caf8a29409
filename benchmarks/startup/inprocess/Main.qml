// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0

Window {
    id: root

    property alias shown: reading.text
    required property PInProcessKeywordClient client

    width: 400
    height: 240

    PKeywordProxy {
        id: speed

        client: root.client
        keyword: "/plant/line3/motor0/speed"
    }

    Text {
        id: reading

        anchors.centerIn: parent
        text: speed.value === undefined ? "" : speed.value.toFixed(1)
        font.pixelSize: 56
    }
}
