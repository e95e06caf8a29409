// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick

Window {
    property alias shown: reading.text

    width: 400
    height: 240

    Text {
        id: reading

        anchors.centerIn: parent
        font.pixelSize: 56
    }
}
