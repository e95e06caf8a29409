// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import PellixClient.Keyword.Extras

Card {
    id: root

    required property PKeywordHistories histories

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.gap

        RowLayout {
            spacing: Theme.gap

            Label {
                Layout.fillWidth: true
                text: qsTr("Trend")
                font.pixelSize: Theme.large
                font.bold: true
            }
            //! [spans]
            Repeater {
                model: [1, 10, 60]
                delegate: ActionButton {
                    required property int modelData

                    text: qsTr("%1 min").arg(modelData)
                    checked: plot.span === 60 * modelData
                    Accessible.checkable: true
                    Accessible.checked: checked
                    onClicked: {
                        plot.span = 60 * modelData
                        plot.showNow()
                    }
                }
            }
            //! [spans]
        }
        //! [plot]
        PKeywordPlot {
            id: plot

            Layout.fillWidth: true
            Layout.fillHeight: true
            histories: root.histories
            span: 60
            font.pixelSize: Theme.small
        }
        //! [plot]
    }
}
