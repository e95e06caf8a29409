// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/* The positions of the columns of pinned keywords, for the heading and each row. */
QtObject {
    required property real width

    readonly property real keywordX: Theme.dp(8)
    readonly property real keywordWidth: valueX - keywordX - Theme.gap
    readonly property real valueX: stateX - Theme.gap - valueWidth
    readonly property real valueWidth: Math.round(width * 0.24)
    readonly property real stateX: outcomeX - stateWidth
    readonly property real stateWidth: Theme.dp(104)
    readonly property real outcomeX: removeX - outcomeWidth
    // In a narrow window, an error is shown in place of the state.
    readonly property real outcomeWidth: width >= Theme.dp(680) ? Theme.dp(150) : 0
    readonly property real removeX: width - Theme.dp(26)
}
