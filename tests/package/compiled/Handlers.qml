// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0

// A proxy that reads its own value, with handlers that read and write it.
PKeywordProxy {
    id: root

    readonly property real own: value ?? -1
    readonly property bool ownAbove: value > 1000
    readonly property string ownText: "n=" + value
    property string handled
    property string heard
    property string answered

    function write(): bool {
        return root.update(root.value ?? "none")
    }
    function writeMore(): bool {
        return root.updateRelative(root.value ?? 1)
    }

    onValueChanged: handled = handled + "|" + (value ?? "none") + (value >= 1000 ? "!" : "")

    readonly property Connections connections: Connections {
        target: root

        function onValueChanged() {
            root.heard = root.heard + "|" + (root.value ?? "none")
        }
    }

    readonly property Connections answers: Connections {
        target: root.client

        function onKeyIndexResponse(id, data) {
            root.answered = JSON.stringify(data ?? "none")
        }
    }
}
