// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
import PellixClient.Keyword 1.0

Card {
    id: root

    required property PKeywordClient client

    title: qsTr("System")
    sources: [load1, load5, load15, processes]

    LiveValue {
        id: load1
        client: root.client
        keyword: "/machine/load/1min"
    }
    LiveValue {
        id: load5
        client: root.client
        keyword: "/machine/load/5min"
    }
    LiveValue {
        id: load15
        client: root.client
        keyword: "/machine/load/15min"
    }
    LiveValue {
        id: processes
        client: root.client
        keyword: "/machine/processes/count"
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        TextRow {
            label: qsTr("Load, 1 min")
            source: load1
            text: Format.fixed(load1.number, 2)
            Layout.fillWidth: true
        }
        TextRow {
            label: qsTr("Load, 5 min")
            source: load5
            text: Format.fixed(load5.number, 2)
            Layout.fillWidth: true
        }
        TextRow {
            label: qsTr("Load, 15 min")
            source: load15
            text: Format.fixed(load15.number, 2)
            Layout.fillWidth: true
        }
        TextRow {
            label: qsTr("Processes")
            source: processes
            text: Format.fixed(processes.number, 0)
            Layout.fillWidth: true
        }
    }
}
