// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Telemetry
import PellixClient.Control
import PellixClient.Keyword 1.0

/* The total load, the load of each core, and that of the busiest core, which the server computes. */
Card {
    id: root

    required property PKeywordClient client

    title: qsTr("Processor")
    sources: [load, busiest, high]

    LiveValue {
        id: load
        client: root.client
        keyword: "/machine/cpu/load"
    }
    KeywordChildren {
        id: cores
        client: root.client
        keyword: "/machine/cpu"
        pattern: "core\\d+"
    }
    PListPostfixKeywordExpression {
        id: coreLoads
        values: cores.keywords
        postfix: "load"
        aggregation: PKeyword.Max
    }
    LiveValue {
        id: busiest
        client: root.client
        keywordExpression: coreLoads
    }

    LiveValue {
        id: high
        client: root.client
        keyword: "/machine/cpu/high"
    }
    LiveValue {
        id: highLimit
        client: root.client
        keyword: "/machine/settings/highLoad"
    }

    RowLayout {
        anchors.fill: parent
        spacing: Theme.dp(20)

        ColumnLayout {
            spacing: Theme.dp(2)
            Layout.preferredWidth: Theme.dp(158)
            Layout.maximumWidth: Theme.dp(158)

            Readout {
                source: load
                text: Format.fixed(load.number, 1)
                unit: "%"
            }
            Item { Layout.fillHeight: true }
            TextRow {
                label: qsTr("Busiest core")
                source: busiest
                text: Format.fixed(busiest.number, 1) + "\u202f%"
                Layout.fillWidth: true
            }
            TextRow {
                label: highLimit.known ? qsTr("Over %1\u202f%").arg(Format.fixed(highLimit.number, 0))
                                       : qsTr("High load")
                source: high
                text: high.value ? qsTr("yes") : qsTr("no")
                Layout.fillWidth: true
            }
        }
        ColumnLayout {
            spacing: Theme.dp(6)

            Sparkline {
                value: load.number
                ceiling: 100
                gridLines: 5
                Layout.fillWidth: true
                Layout.fillHeight: true
            }
            PText {
                text: qsTr("Last minute, 0 to 100\u202f%")
                color: Theme.textFaint
                font.pixelSize: Theme.dp(11)
                Layout.alignment: Qt.AlignRight
            }
        }
        RowLayout {
            spacing: repeater.count > 8 ? Theme.dp(3) : Theme.dp(10)
            Layout.fillWidth: false
            Layout.maximumWidth: root.width * 0.35

            Repeater {
                id: repeater

                model: cores.keywords

                ColumnLayout {
                    id: core

                    required property string modelData
                    required property int index

                    spacing: Theme.dp(6)
                    Layout.preferredWidth: Theme.dp(repeater.count > 8 ? 8 : 34)

                    LiveValue {
                        id: coreLoad
                        client: root.client
                        keyword: core.modelData + "/load"
                    }
                    PText {
                        visible: repeater.count <= 8
                        text: Format.fixed(coreLoad.number, 0)
                        color: Format.valueColor(coreLoad.condition)
                        font.pixelSize: Theme.dp(12)
                        Layout.alignment: Qt.AlignHCenter
                    }
                    Bar {
                        upright: true
                        fraction: coreLoad.number / 100
                        Layout.fillHeight: true
                        Layout.fillWidth: repeater.count > 8
                        Layout.alignment: Qt.AlignHCenter
                    }
                    PText {
                        visible: repeater.count <= 8
                        text: qsTr("C%1").arg(core.index)
                        color: Theme.textFaint
                        font.pixelSize: Theme.dp(11)
                        Layout.alignment: Qt.AlignHCenter
                    }
                }
            }
        }
    }
}
