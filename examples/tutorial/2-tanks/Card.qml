// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic

// A frame around related items.
Pane {
    id: root

    property color outline: Theme.outline

    padding: 2 * Theme.gap
    background: Rectangle {
        radius: Theme.gap
        color: Theme.card
        border.color: root.outline
    }
}
