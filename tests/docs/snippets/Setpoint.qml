// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [setpoint]
import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword 1.0

Column {
    id: root

    property PKeywordClient client

    // What was asked for and has not come back yet; undefined when nothing is under way.
    property var asked

    readonly property string outcome: setpoint.error ? "refused"
                                      : asked === undefined ? ""
                                      : setpoint.value === asked ? "taken"
                                      : overdue.running ? "sent" : "no answer"

    function send(value) {
        asked = value
        overdue.restart()
        setpoint.update(value)
    }

    PKeywordProxy {
        id: setpoint

        client: root.client
        keyword: "/plant/tank1/setpoint"
    }

    PKeywordProxy {
        id: level

        client: root.client
        keyword: "/plant/tank1/level"
    }

    Timer {
        id: overdue

        interval: 2000
    }

    Slider {
        id: slider
        objectName: "slider"

        from: 0
        to: 100
        stepSize: 1
        onMoved: root.send(value)

        // Follows the server, but never pulls the handle out of the user's hand.
        Binding on value {
            when: !slider.pressed && setpoint.value !== undefined && setpoint.value !== null
            value: setpoint.value
            restoreMode: Binding.RestoreNone
        }
    }

    Text {
        objectName: "setpointText"
        text: "setpoint " + (setpoint.value ?? "–") + " " + root.outcome
    }
    Text {
        objectName: "levelText"
        text: "level " + (level.value ?? "–")
    }
}
//! [setpoint]
