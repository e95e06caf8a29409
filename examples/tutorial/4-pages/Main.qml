// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import PellixClient.Keyword.Extras

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
    PKeywordConnection {
        id: server

        urls: ["ws://127.0.0.1:8765"]
    }
    //! [connection]

    //! [pages]
    header: TabBar {
        id: tabs

        leftPadding: 2 * Theme.gap
        background: Rectangle { color: Theme.card }
        Accessible.name: qsTr("Pages")

        PageButton {
            text: qsTr("Tanks")
            shortcut: "Ctrl+1"
        }
        PageButton {
            text: qsTr("Trend")
            shortcut: "Ctrl+2"
        }
        PageButton {
            text: qsTr("Alarms")
            shortcut: "Ctrl+3"
        }
    }

    StackLayout {
        anchors.fill: parent
        anchors.margins: 2 * Theme.gap
        currentIndex: tabs.currentIndex

        TanksPage {
            client: server
        }
        Label {
            text: qsTr("The trend is added in step 5")
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
        Label {
            text: qsTr("The alarms are added in step 6")
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
    }

    footer: ConnectionLine {
        server: server
    }
    //! [pages]
}
