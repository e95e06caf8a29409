// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick

/* A choice of the time span that a plot shows, in seconds. */
Choice {
    currentIndex: 1
    Accessible.name: qsTr("Time shown")
    model: [
        { text: qsTr("10 s"), value: 10 },
        { text: qsTr("1 min"), value: 60 },
        { text: qsTr("10 min"), value: 600 },
        { text: qsTr("1 h"), value: 3600 }
    ]
}
