// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Templates as T
import PellixClient.Control

/* A scroll bar that is only visible if the content can be scrolled. */
T.ScrollBar {
    id: root

    implicitWidth: Theme.dp(8)
    implicitHeight: Theme.dp(8)
    padding: Theme.dp(1)
    minimumSize: 0.08
    visible: size > 0 && size < 1

    contentItem: Rectangle {
        radius: Math.min(width, height) / 2
        color: root.pressed || root.hovered ? Theme.accent : Theme.unknown
    }
}
