// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import PellixClient.Control
import PellixClient.Keyword 1.0

/* Single keywords with their state flags, including one that does not exist. */
Card {
    id: root

    required property PKeywordClient client
    required property bool connected

    readonly property string labelledKeyword: "/machine/memory/used"
    property string labels

    title: qsTr("States and labels")
    Component.onCompleted: lookUpLabels()
    // The lookup has several steps, and is lost with the connection: start it again when connected.
    onConnectedChanged: lookUpLabels()

    function lookUpLabels() {
        if (connected)
            label.getKeywordLabel(labelledKeyword);
    }

    LiveValue {
        id: label
        client: root.client
        onValueLabelValidChanged: {
            if (valueLabelValid)
                root.labels = value;
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.dp(4)

        Repeater {
            model: ["/machine/cpu/load", "/machine/memory/used", "/machine/none"]

            RowLayout {
                id: row

                required property string modelData

                spacing: Theme.gap

                LiveValue {
                    id: live
                    client: root.client
                    keyword: row.modelData
                }
                PText {
                    text: row.modelData
                    elide: Text.ElideLeft
                    color: Theme.textSecondary
                    Layout.fillWidth: true
                }
                StateBadge {
                    condition: live.condition
                }
            }
        }
        Rectangle {
            color: Theme.cardBorder
            Layout.fillWidth: true
            Layout.preferredHeight: 1
        }
        PText {
            text: qsTr("Label of %1").arg(root.labelledKeyword)
            elide: Text.ElideMiddle
            color: Theme.textSecondary
            font.pixelSize: Theme.dp(11)
            Layout.fillWidth: true
        }
        PText {
            text: root.connected && root.labels !== "" ? root.labels : Format.none
            color: root.connected ? Theme.text : Theme.unknown
            Layout.fillWidth: true
        }
    }
}
