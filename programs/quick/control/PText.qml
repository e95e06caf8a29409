// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick

/* The text element of the whole program, and of the components that the keyword library brings. */
Text {
    color: Theme.text
    font.pixelSize: Theme.dp(13)
    verticalAlignment: Text.AlignVCenter
    textFormat: Text.PlainText
    elide: Text.ElideRight
}
