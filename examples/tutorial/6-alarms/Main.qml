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

    //! [histories]
    PKeywordHistories {
        id: histories

        client: server

        PKeywordHistory {
            keyword: "/plant/tank1/level"
            name: qsTr("Tank 1 in %")
        }
        PKeywordHistory {
            keyword: "/plant/tank2/level"
            name: qsTr("Tank 2 in %")
        }
    }
    //! [histories]

    //! [alarms]
    component TooFull: PKeywordAlarm {
        above: 75
        hysteresis: 2
        priority: 2
    }
    component TooEmpty: PKeywordAlarm {
        below: 25
        hysteresis: 2
    }

    PKeywordAlarms {
        id: alarms

        client: server

        TooFull {
            keyword: "/plant/tank1/level"
            text: qsTr("Tank 1 is too full")
        }
        TooEmpty {
            keyword: "/plant/tank1/level"
            text: qsTr("Tank 1 is too empty")
        }
        TooFull {
            keyword: "/plant/tank2/level"
            text: qsTr("Tank 2 is too full")
        }
        TooEmpty {
            keyword: "/plant/tank2/level"
            text: qsTr("Tank 2 is too empty")
        }
        //! [offline]
        PKeywordAlarm {
            keyword: "/plant/tank1/level"
            flags: PKeywordAlarm.NotOnline
            priority: 3
            text: qsTr("The level of tank 1 is out of date")
        }
        //! [offline]
    }
    //! [alarms]

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
            text: alarms.activeCount > 0 ? qsTr("Alarms (%1)").arg(alarms.activeCount) : qsTr("Alarms")
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
        TrendPage {
            histories: histories
        }
        AlarmsPage {
            alarms: alarms
        }
    }

    footer: ConnectionLine {
        server: server
    }
    //! [pages]
}
