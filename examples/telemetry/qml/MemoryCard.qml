// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
import PellixClient.Control
import PellixClient.Keyword 1.0

Card {
    id: root

    required property PKeywordClient client

    title: qsTr("Memory")
    sources: [used, total]

    LiveValue {
        id: used
        client: root.client
        keyword: "/machine/memory/used"
    }
    LiveValue {
        id: total
        client: root.client
        keyword: "/machine/memory/total"
    }
    LiveValue {
        id: available
        client: root.client
        keyword: "/machine/memory/available"
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.dp(8)

        Readout {
            source: used
            text: Format.byteNumber(used.number)
            unit: qsTr("%1 of %2").arg(Format.byteUnit(used.number)).arg(Format.bytes(total.number))
        }
        Bar {
            fraction: used.number / total.number
            tone: Theme.blue
            Layout.fillWidth: true
        }
        Sparkline {
            value: 100 * used.number / total.number
            ceiling: 100
            tone: Theme.blue
            Layout.fillWidth: true
            Layout.fillHeight: true
        }
        TextRow {
            label: qsTr("Available")
            source: available
            text: Format.bytes(available.number)
            Layout.fillWidth: true
        }
    }
}
