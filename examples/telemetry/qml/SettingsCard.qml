// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
import PellixClient.Control
import PellixClient.Keyword 1.0

/*
    Writes keywords: the slider, the switch, and the name write values, and the two buttons write
    differences. The card always shows the values that the server has sent.
*/
Card {
    id: root

    required property PKeywordClient client

    title: qsTr("Settings")
    sources: [rate, paused, name]

    LiveValue {
        id: rate
        client: root.client
        keyword: "/machine/settings/refreshRate"
    }
    LiveValue {
        id: paused
        client: root.client
        keyword: "/machine/settings/paused"
    }
    LiveValue {
        id: name
        client: root.client
        keyword: "/machine/settings/name"
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.dp(6)

        TextRow {
            label: qsTr("Refresh rate")
            source: rate
            text: qsTr("%1 Hz").arg(Format.fixed(rate.number, 1))
            Layout.fillWidth: true
        }
        RowLayout {
            spacing: Theme.dp(8)

            ActionButton {
                text: "\u2212"
                enabled: rate.known
                Accessible.name: qsTr("Refresh more slowly")
                onClicked: rate.updateRelative(-0.5)
            }
            TrackSlider {
                id: slider

                from: 0.5
                to: 10
                stepSize: 0.5
                enabled: rate.known
                Accessible.name: qsTr("Refresh rate")
                onMoved: rate.update(value)
                Layout.fillWidth: true

                // Shows the value of the server, except while the user moves the slider.
                Binding on value {
                    value: rate.number
                    when: rate.known && !slider.pressed
                    restoreMode: Binding.RestoreNone
                }
            }
            ActionButton {
                text: "+"
                enabled: rate.known
                Accessible.name: qsTr("Refresh faster")
                onClicked: rate.updateRelative(0.5)
            }
        }
        ToggleSwitch {
            text: qsTr("Paused")
            switchedOn: paused.known && Boolean(paused.value)
            enabled: paused.known
            Layout.fillWidth: true
            onClicked: paused.update(!switchedOn)
        }
        RowLayout {
            spacing: Theme.gap

            PText {
                text: qsTr("Name")
                color: Theme.textSecondary
            }
            NameField {
                source: name
                Layout.fillWidth: true
            }
        }
        Item { Layout.fillHeight: true }
    }
}
