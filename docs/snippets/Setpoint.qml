// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [setpoint]
import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword 1.0

Column {
    id: root

    property PKeywordClient client

    // What was asked for, and the value at that time; undefined when nothing is under way.
    property var asked
    property var before
    property string outcome

    function send(value) {
        before = setpoint.value
        asked = value
        outcome = "sent"
        overdue.restart()
        setpoint.update(value) // last, as a server in the same process may answer inside
    }

    function settle(result) {
        overdue.stop()
        asked = undefined
        outcome = result
    }

    PKeywordProxy {
        id: setpoint

        client: root.client
        keyword: "/plant/tank1/setpoint"

        // Anything else may be another client's, or the answer to what was sent just before.
        onValueChanged: {
            if (root.asked !== undefined && value === root.asked)
                root.settle("taken")
        }
        onStateChanged: {
            if (root.asked !== undefined && error)
                root.outcome = "refused"
        }
    }

    PKeywordProxy {
        id: level

        client: root.client
        keyword: "/plant/tank1/level"
    }

    Timer {
        id: overdue

        interval: 2000
        // No signal tells of a value, or of a refusal, that is the same as before.
        onTriggered: root.settle(root.outcome === "refused" ? "refused"
                                 : setpoint.value === undefined ? "no answer"
                                 : setpoint.value !== root.before ? "changed"
                                 : setpoint.error ? "refused"
                                 : setpoint.value === root.asked ? "taken" : "no answer")
    }

    Slider {
        id: slider
        objectName: "slider"

        enabled: setpoint.value !== undefined
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
