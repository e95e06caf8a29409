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
}
