// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic

Button {
    id: root

    font.pixelSize: Theme.small
    horizontalPadding: 2 * Theme.gap
    Accessible.name: text

    background: Rectangle {
        implicitHeight: 4 * Theme.gap
        radius: Theme.gap / 2
        color: root.checked ? Theme.accent : Theme.control
        opacity: root.down ? 0.7 : 1
        border.width: root.visualFocus ? 2 : root.hovered ? 1 : 0
        border.color: root.visualFocus ? Theme.text : Theme.accent
    }
}
