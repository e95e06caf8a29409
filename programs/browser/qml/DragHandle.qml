// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Templates as T
import PellixClient.Control

/* What is dragged to give one part of the window more room. */
Rectangle {
    implicitWidth: Theme.dp(5)
    implicitHeight: Theme.dp(5)
    color: T.SplitHandle.pressed || T.SplitHandle.hovered ? Theme.accent : Theme.window
}
