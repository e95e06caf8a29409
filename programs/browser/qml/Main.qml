// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import KeywordBrowser
import PellixClient.Control

/* The window of the browser. The program creates the required objects and sets the first keyword. */
ApplicationWindow {
    id: root

    required property Session session
    required property Preferences preferences
    property alias keyword: view.keyword
    property alias selected: view.selected
    property alias filter: view.filter
    property alias trend: view.trend

    width: preferences.windowSize.width
    height: preferences.windowSize.height
    minimumWidth: 800
    minimumHeight: 600
    visible: true
    title: session.inProcess ? qsTr("Keyword Browser")
                             : qsTr("%1 \u2013 Keyword Browser").arg(session.shownAddress)
    color: Theme.window

    onClosing: preferences.windowSize = Qt.size(width, height)

    palette {
        window: Theme.card
        windowText: Theme.text
        base: Theme.card
        text: Theme.text
        button: Theme.control
        buttonText: Theme.text
        light: Theme.controlHover
        midlight: Theme.controlHover
        mid: Theme.textFaint
        dark: Theme.textSecondary
        highlight: Theme.accent
        highlightedText: Theme.window
        toolTipBase: Theme.control
        toolTipText: Theme.text
    }

    Binding {
        target: Theme
        property: "dark"
        value: root.preferences.dark
    }

    BrowserView {
        id: view

        anchors.fill: parent
        focus: true
        session: root.session
        preferences: root.preferences
    }
}
