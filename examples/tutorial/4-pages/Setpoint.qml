// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

// Shows a setpoint from 0 to 100 %, writes it, and shows the outcome of the write.
ColumnLayout {
    id: root

    required property PKeywordClient client
    required property string keyword
    required property string name

    readonly property real value: write.current ?? NaN
    //! [outcome]
    readonly property string outcome: {
        switch (write.state) {
        case PKeywordWrite.Idle:
            return ""
        case PKeywordWrite.Pending:
            return qsTr("Writing %1 %").arg(write.asked)
        case PKeywordWrite.Taken:
            return qsTr("%1 % taken").arg(write.asked)
        case PKeywordWrite.Changed:
            return qsTr("%1 % changed to %2 %").arg(write.asked).arg(write.received)
        case PKeywordWrite.Refused:
            return qsTr("%1 % refused").arg(write.asked)
        default:
            return qsTr("Not written: %1").arg(write.problem)
        }
    }
    readonly property color outcomeColor: {
        switch (write.state) {
        case PKeywordWrite.Idle:
        case PKeywordWrite.Pending:
            return Theme.secondary
        case PKeywordWrite.Taken:
            return Theme.accent
        case PKeywordWrite.Changed:
            return Theme.warning
        default:
            return Theme.alarm
        }
    }
    //! [outcome]

    spacing: 0

    //! [write]
    PKeywordWrite {
        id: write

        client: root.client
        keyword: root.keyword
    }
    //! [write]

    RowLayout {
        Label {
            Layout.fillWidth: true
            text: qsTr("Setpoint")
            color: Theme.secondary
            Accessible.ignored: true
        }
        Label {
            text: write.ready ? qsTr("%1 %").arg(Number(root.value).toFixed(0)) : "–"
            font.bold: true
            Accessible.name: qsTr("%1: %2", "name: value").arg(root.name).arg(text)
        }
    }
    //! [slider]
    Slider {
        id: slider

        Layout.fillWidth: true
        enabled: write.ready
        from: 0
        to: 100
        stepSize: 1
        palette.window: enabled ? Theme.accent : Theme.outline // of the handle
        palette.dark: enabled ? Theme.accent : Theme.outline // of the track
        palette.highlight: Theme.text // of the frame that indicates keyboard focus
        Accessible.name: root.name
        onMoved: write.set(value)
        Keys.onPressed: event => {
            const targets = {
                [Qt.Key_Home]: from,
                [Qt.Key_End]: to,
                [Qt.Key_PageUp]: Math.min(to, value + 10),
                [Qt.Key_PageDown]: Math.max(from, value - 10)
            }
            event.accepted = event.key in targets
            if (event.accepted)
                write.set(targets[event.key])
        }

        // Follows the server, except while the user drags the handle.
        Binding on value {
            when: !slider.pressed && write.ready
            value: root.value
            restoreMode: Binding.RestoreNone
        }
    }
    //! [slider]
    Label {
        Layout.fillWidth: true
        text: root.outcome
        textFormat: Text.PlainText
        elide: Text.ElideRight
        font.pixelSize: Theme.small
        color: root.outcomeColor
    }
}
