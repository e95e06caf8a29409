// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/* A part of the window with a background of its own. */
Rectangle {
    color: Theme.card
    border.width: 1
    border.color: Theme.cardBorder
}
