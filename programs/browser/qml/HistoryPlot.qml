// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control
import PellixClient.Keyword.Extras

/* A plot in the colors of the window. */
PKeywordPlot {
    textColor: Theme.textSecondary
    gridColor: Theme.groove
    labelColor: Theme.control
    focusColor: Theme.accent
    font: Qt.font({ pixelSize: Theme.dp(11) })
}
