// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Control

/* Edits a string keyword: Return writes the text; Escape and leaving the field restore the value. */
TextField {
    id: root

    required property LiveValue source

    implicitHeight: Theme.dp(28)
    leftPadding: Theme.dp(8)
    rightPadding: Theme.dp(8)
    topPadding: 0
    bottomPadding: 0
    verticalAlignment: TextInput.AlignVCenter
    enabled: source.known
    color: Theme.text
    opacity: enabled ? 1 : 0.45
    selectionColor: Theme.accent
    selectedTextColor: Theme.window
    font.pixelSize: Theme.dp(13)
    placeholderText: enabled ? "" : Format.none
    placeholderTextColor: Theme.unknown
    Accessible.name: qsTr("Name")

    onAccepted: {
        source.update(text);
        focus = false;
    }
    Keys.onEscapePressed: focus = false

    Binding on text {
        value: root.source.text
        when: !root.activeFocus
        restoreMode: Binding.RestoreNone
    }

    background: Rectangle {
        radius: Theme.dp(6)
        color: Theme.control
        border.width: 1
        border.color: root.activeFocus ? Theme.accent : Theme.groove
    }
}
