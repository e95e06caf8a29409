// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import PellixClient.Keyword 1.0

ApplicationWindow {
    id: root

    property alias addresses: server.urls

    width: 800
    height: 600
    visible: true
    title: qsTr("Tanks")
    color: Theme.window
    font.pixelSize: Theme.normal
    palette {
        window: Theme.window
        windowText: Theme.text
        base: Theme.card
        text: Theme.text
        button: Theme.control
        buttonText: Theme.text
        brightText: Theme.card
        light: Theme.card
        midlight: Theme.control
        mid: Theme.outline
        dark: Theme.accent
        highlight: Theme.accent
        highlightedText: Theme.card
    }

    //! [connection]
    PWebSocketKeywordClient {
        id: server

        urls: ["ws://127.0.0.1:8765"]
        autoReconnect: true
    }
    //! [connection]

    //! [tanks]
    RowLayout {
        anchors.fill: parent
        anchors.margins: 2 * Theme.gap
        spacing: 2 * Theme.gap

        Repeater {
            model: 2
            delegate: Tank {
                required property int index

                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.preferredWidth: 1 // the same width for all
                client: server
                path: "/plant/tank" + (index + 1)
                name: qsTr("Tank %1").arg(index + 1)
            }
        }
    }
    //! [tanks]
}
