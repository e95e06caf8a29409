// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
import PellixClient.Control
import PellixClient.Keyword 1.0

/* Two related rates in bytes per second, such as reading and writing. */
Card {
    id: root

    required property PKeywordClient client
    required property string base
    required property string inKeyword
    required property string inLabel
    required property string outKeyword
    required property string outLabel
    property color tone: Theme.accent

    sources: [inRate, outRate]

    LiveValue {
        id: inRate
        client: root.client
        keyword: root.base + "/" + root.inKeyword
    }
    LiveValue {
        id: outRate
        client: root.client
        keyword: root.base + "/" + root.outKeyword
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.dp(10)

        RateRow {
            label: root.inLabel
            source: inRate
            tone: root.tone
            Layout.fillWidth: true
            Layout.fillHeight: true
        }
        RateRow {
            label: root.outLabel
            source: outRate
            tone: root.tone
            Layout.fillWidth: true
            Layout.fillHeight: true
        }
    }
}
