// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Fusion
import PellixClient.Keyword.Extras

ApplicationWindow {
    id: root
    property string address: "ws://127.0.0.1:8765"
    width: 640; height: 480; visible: true; title: server.connected ? qsTr("Tanks") : server.reason

    PKeywordConnection { id: server; urls: [root.address] }
    PKeywordHistories { id: past; client: server; keywords: ["/plant/tank1/level", "/plant/tank2/level"] }
    PKeywordAlarms {
        id: alarms; client: server
        PKeywordAlarm { keyword: "/plant/tank1/level"; above: 75; text: qsTr("Tank 1 is too full") }
        PKeywordAlarm { keyword: "/plant/tank2/level"; below: 25; text: qsTr("Tank 2 is too empty") }
    }
    header: Column {
        Repeater {
            model: ["/plant/tank1/setpoint", "/plant/tank2/setpoint"]
            Row {
                id: row; required property string modelData; padding: 8; spacing: 8
                PKeywordWrite { id: setpoint; client: server; keyword: row.modelData }
                Slider { to: 100; value: setpoint.current ?? 0; enabled: setpoint.ready; onMoved: setpoint.set(value) }
                Label { text: row.modelData + ": " + Math.round(setpoint.current ?? 0) + " " + setpoint.problem }
            }
        }
    }
    PKeywordPlot { anchors.fill: parent; histories: past; span: 60 }
    footer: ListView {
        implicitHeight: 90; model: alarms; clip: true
        delegate: ItemDelegate {
            required property var model
            width: root.width; font.bold: model.active; onClicked: alarms.acknowledge(model.index)
            text: model.came.toLocaleTimeString(Qt.locale(), Locale.ShortFormat) + "  " + model.text
        }
    }
}
