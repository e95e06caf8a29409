// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [setpoint]
import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

Column {
    id: root

    property PKeywordClient client
    readonly property string outcome: ["", "pending", "taken", "changed", "refused", "no answer",
                                       "not sent"][setpoint.state]

    PKeywordWrite {
        id: setpoint
        objectName: "setpoint"

        client: root.client
        keyword: "/plant/tank1/setpoint"
    }

    PKeywordProxy {
        id: level

        client: root.client
        keyword: "/plant/tank1/level"
    }

    Slider {
        id: slider
        objectName: "slider"

        enabled: setpoint.ready
        from: 0
        to: 100
        stepSize: 1
        onMoved: setpoint.set(value)

        // Follows the server, but never pulls the handle out of the user's hand.
        Binding on value {
            when: !slider.pressed && setpoint.ready
            value: setpoint.current ?? 0
            restoreMode: Binding.RestoreNone
        }
    }

    Text {
        objectName: "setpointText"
        text: "setpoint " + (setpoint.current ?? "–") + " " + root.outcome
    }
    Text {
        objectName: "levelText"
        text: "level " + (level.value ?? "–")
    }
}
//! [setpoint]
