// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Templates as T
import PellixClient.Control

/* A handle to resize the parts of the window on both sides. */
Rectangle {
    implicitWidth: Theme.dp(5)
    implicitHeight: Theme.dp(5)
    color: T.SplitHandle.pressed || T.SplitHandle.hovered ? Theme.accent : Theme.window
}
