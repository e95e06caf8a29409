// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

Item {
    id: root

    required property string label
    required property LiveValue source
    property color tone: Theme.accent

    implicitHeight: Theme.dp(40)

    Column {
        id: text

        anchors.verticalCenter: parent.verticalCenter
        width: Theme.dp(112)

        PText {
            text: root.label
            color: Theme.textSecondary
            font.pixelSize: Theme.dp(11)
        }
        Readout {
            source: root.source
            text: Format.byteNumber(root.source.number)
            unit: qsTr("%1/s").arg(Format.byteUnit(root.source.number))
            size: Theme.dp(20)
        }
    }
    Sparkline {
        anchors {
            left: text.right
            right: parent.right
            top: parent.top
            bottom: parent.bottom
        }
        value: root.source.number
        floor: 10240
        tone: root.tone
    }
}
