// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

Column {
    id: root

    property PKeywordClient client

    //! [alarms]
    PKeywordAlarms {
        id: alarms
        objectName: "alarms"

        client: root.client

        PKeywordAlarm {
            keyword: "/plant/tank1/level"
            above: 90
            hysteresis: 2
            priority: 2
            text: qsTr("Tank 1 is full")
        }
        PKeywordAlarm {
            keyword: "/plant/tank1/setpoint"
            flags: PKeywordAlarm.Error | PKeywordAlarm.NotOnline
            text: qsTr("The level of tank 1 is not controlled")
        }
    }
    ListView {
        objectName: "list"
        width: 400
        height: 200
        model: alarms
        activeFocusOnTab: true
        Accessible.role: Accessible.List
        Accessible.name: qsTr("Alarms")
        delegate: ItemDelegate {
            required property int index
            required property var model
            required property date came
            required property bool active
            required property bool acknowledged

            text: came.toLocaleTimeString(Qt.locale(), Locale.ShortFormat) + "  " + model.text
            font.bold: active
            highlighted: !acknowledged
            Accessible.name: text
            Accessible.description: (active ? qsTr("active") : qsTr("gone"))
                + (acknowledged ? "" : ", " + qsTr("not acknowledged"))
            onClicked: alarms.acknowledge(index)
        }
    }
    //! [alarms]
    //! [table]
    TextField {
        id: pattern
        objectName: "pattern"
        text: "/plant/*/level"
        Accessible.name: qsTr("Keywords of the table")
    }
    TableView {
        objectName: "table"
        width: 400
        height: 200
        model: PKeywordTable {
            id: table

            client: root.client
            keywords: [pattern.text]
        }
        delegate: TextField {
            required property string display
            required property int row
            required property int column

            text: display
            Accessible.name: table.headerData(column, Qt.Horizontal)
            readOnly: column !== PKeywordTable.ValueColumn
            onAccepted: table.write(row, text)
        }
    }
    //! [table]
}
