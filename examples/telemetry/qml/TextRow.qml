// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/* A label on the left and the text of a live value on the right. */
Item {
    id: root

    required property string label
    required property LiveValue source
    property string text: source.text

    implicitWidth: Theme.dp(150)
    implicitHeight: Theme.dp(22)

    PText {
        id: caption

        anchors {
            left: parent.left
            verticalCenter: parent.verticalCenter
        }
        text: root.label
        color: Theme.textSecondary
    }
    PText {
        anchors {
            left: caption.right
            right: parent.right
            leftMargin: Theme.dp(10)
            verticalCenter: parent.verticalCenter
        }
        horizontalAlignment: Text.AlignRight
        text: root.source.known ? root.text : Format.none
        color: Format.valueColor(root.source.condition)
    }
}
