// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import PellixClient.Keyword 1.0

// Shows the tank at a path, such as /plant/tank1.
Card {
    id: root

    //! [properties]
    required property PKeywordClient client
    required property string path
    required property string name
    //! [properties]

    //! [condition]
    readonly property string condition: level.error ? qsTr("Error")
                                        : !level.connected ? qsTr("No value")
                                        : !level.online ? qsTr("Out of date")
                                        : !level.consistent ? qsTr("Inconsistent")
                                        : ""
    //! [condition]

    outline: condition ? Theme.warning : Theme.outline
    Accessible.role: Accessible.Grouping
    Accessible.name: name

    //! [proxy]
    PKeywordProxy {
        id: level

        client: root.client
        keyword: root.path + "/level"
    }
    //! [proxy]

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.gap

        RowLayout {
            Label {
                Layout.fillWidth: true
                text: root.name
                font.pixelSize: Theme.large
                font.bold: true
                Accessible.ignored: true
            }
            Label {
                text: root.condition
                color: Theme.warning
                visible: text
                Accessible.name: qsTr("%1: %2", "name: value").arg(root.name).arg(text)
            }
        }
        Vessel {
            Layout.fillWidth: true
            Layout.fillHeight: true
            level: level.value ?? 0
        }
        //! [label]
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: level.value?.toFixed(1).concat(" %") ?? "–"
            font.pixelSize: Theme.huge
            opacity: root.condition ? 0.5 : 1
            Accessible.name: qsTr("Level of %1: %2", "name, value").arg(root.name).arg(text)
        }
        //! [label]
    }
}
