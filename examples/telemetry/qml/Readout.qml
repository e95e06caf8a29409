// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/* The large number of a card with its unit, or a dash if there is no value. */
Row {
    id: root

    required property LiveValue source
    required property string text
    property string unit
    property real size: Theme.dp(34)

    spacing: Theme.dp(5)

    PText {
        id: number

        text: root.source.known ? root.text : Format.none
        color: Format.valueColor(root.source.condition)
        font.pixelSize: root.size
        font.weight: root.size >= Theme.dp(30) ? Font.Light : Font.Normal
    }
    PText {
        anchors.baseline: number.baseline
        visible: root.source.known
        text: root.unit
        color: Theme.textSecondary
        font.pixelSize: Math.max(Theme.dp(12), Math.round(root.size * 0.45))
    }
}
