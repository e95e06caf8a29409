// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import PellixClient.Keyword.Extras

Card {
    id: root

    required property PKeywordAlarms alarms

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.gap

        RowLayout {
            spacing: Theme.gap

            Label {
                text: qsTr("Alarms")
                font.pixelSize: Theme.large
                font.bold: true
            }
            Label {
                Layout.fillWidth: true
                text: qsTr("%1 active, %2 not acknowledged")
                    .arg(root.alarms.activeCount).arg(root.alarms.unacknowledgedCount)
                color: Theme.secondary
            }
            ActionButton {
                text: qsTr("Acknowledge All")
                enabled: root.alarms.unacknowledgedCount > 0
                onClicked: root.alarms.acknowledgeAll()
            }
        }
        //! [list]
        ListView {
            id: list

            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            spacing: Theme.gap / 2
            activeFocusOnTab: true
            boundsBehavior: Flickable.StopAtBounds
            model: root.alarms
            Accessible.role: Accessible.List
            Accessible.name: qsTr("Alarms")

            delegate: ItemDelegate {
                id: entry

                required property int index
                required property var model
                required property date came
                required property bool active
                required property bool acknowledged

                readonly property string time: came.toLocaleTimeString(Qt.locale(), Locale.ShortFormat)
                readonly property string description:
                    (active ? qsTr("Active") : qsTr("Cleared"))
                    + (acknowledged ? "" : ", " + qsTr("not acknowledged"))

                width: ListView.view.width
                Accessible.name: time + " " + model.text
                Accessible.description: description
                onClicked: {
                    list.currentIndex = index
                    root.alarms.acknowledge(index)
                }
        //! [list]

                background: Rectangle {
                    radius: Theme.gap / 2
                    color: entry.hovered ? Theme.control : Theme.window
                    border.width: entry.visualFocus ? 2 : 0
                    border.color: Theme.accent

                    Rectangle {
                        width: Theme.gap / 2
                        height: parent.height
                        radius: width / 2
                        color: entry.active ? Theme.alarm : Theme.outline
                    }
                }
                contentItem: RowLayout {
                    spacing: 2 * Theme.gap

                    Label {
                        text: entry.time
                        color: Theme.secondary
                        Accessible.ignored: true
                    }
                    Label {
                        Layout.fillWidth: true
                        text: entry.model.text
                        elide: Text.ElideRight
                        font.bold: !entry.acknowledged
                        Accessible.ignored: true
                    }
                    Label {
                        text: entry.description
                        font.pixelSize: Theme.small
                        color: entry.active ? Theme.alarm : Theme.secondary
                        Accessible.ignored: true
                    }
                }
            }

            Label {
                anchors.centerIn: parent
                visible: list.count === 0
                text: qsTr("There are no alarms")
                color: Theme.secondary
            }
        }
    }
}
