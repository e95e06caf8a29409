// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic

// A button of the tab bar, with a keyboard shortcut.
TabButton {
    id: root

    property alias shortcut: key.sequence

    width: implicitWidth
    padding: 2 * Theme.gap
    Accessible.name: text
    Accessible.selectable: true
    Accessible.selected: checked
    Accessible.description: key.nativeText

    contentItem: Label {
        text: root.text
        font.bold: root.checked
        color: root.checked ? Theme.text : Theme.secondary
        Accessible.ignored: true
    }
    background: Item {
        Rectangle {
            anchors.fill: parent
            anchors.margins: Theme.gap / 2
            radius: Theme.gap / 2
            color: root.hovered ? Theme.control : "transparent"
            border.width: root.visualFocus ? 2 : 0
            border.color: Theme.accent
        }
        Rectangle {
            anchors.bottom: parent.bottom
            width: parent.width
            height: 3
            color: Theme.accent
            visible: root.checked
        }
    }

    Shortcut {
        id: key

        onActivated: root.checked = true
    }
}
