// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import "../../docs/snippets/control"

/* The window with its own theme. It exits when a value is shown. */
OwnPaths {
    id: root

    address: Qt.application.arguments[Qt.application.arguments.length - 1]

    ShownTexts {
        item: root.contentItem
    }
}
