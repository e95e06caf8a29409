// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [tank]
import QtQuick
import PellixClient.Keyword 1.0

Text {
    id: root

    property alias client: level.client

    text: level.value?.toFixed(1) ?? "no value"
    color: level.value > 80 ? "red" : "black"

    PKeywordProxy {
        id: level

        keyword: "/plant/tank1/level"
    }
}
//! [tank]
