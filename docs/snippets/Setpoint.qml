// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [setpoint]
import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

Column {
    property alias client: setpoint.client

    PKeywordWrite { id: setpoint; keyword: "/plant/tank1/setpoint" }
    PKeywordProxy { id: level; client: setpoint.client; keyword: "/plant/tank1/level" }
    Slider {
        to: 100; stepSize: 1; enabled: setpoint.ready; onMoved: setpoint.set(value)
        value: setpoint.pending ? setpoint.asked : setpoint.current ?? 0
    }
    Text { text: qsTr("setpoint %1, level %2").arg(setpoint.current ?? "–").arg(level.value ?? "–") }
    Text { text: setpoint.problem || ["", qsTr("pending"), qsTr("taken"), qsTr("changed")][setpoint.state] }
}
//! [setpoint]
