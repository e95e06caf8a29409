// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import PellixClient.Control
import PellixClient.Keyword 1.0

/* Single keywords with their state flags, among them one that no server has. */
Card {
    id: root

    required property PKeywordClient client

    title: qsTr("States")

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.dp(2)

        Repeater {
            model: ["/machine/cpu/load", "/machine/memory/used", "/machine/host/name", "/machine/none"]

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
                    elide: Text.ElideMiddle
                    color: Theme.textSecondary
                    font.pixelSize: Theme.dp(12)
                    Layout.fillWidth: true
                }
                StateBadge {
                    condition: live.condition
                }
            }
        }
        Item { Layout.fillHeight: true }
    }
}
