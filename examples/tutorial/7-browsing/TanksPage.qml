// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import PellixClient.Keyword 1.0

RowLayout {
    id: root

    required property PKeywordClient client

    spacing: 2 * Theme.gap

    Repeater {
        model: 2
        delegate: Tank {
            required property int index

            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.preferredWidth: 1 // the same width for all
            client: root.client
            path: "/plant/tank" + (index + 1)
            name: qsTr("Tank %1").arg(index + 1)
        }
    }
}
