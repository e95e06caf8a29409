// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [use]
import QtQuick
import PellixClient.Keyword 1.0

StateFrame {
    id: root

    property alias client: level.client
    property alias keyword: level.keyword

    proxy: PKeywordProxy {
        id: level
    }

    Text {
        objectName: "valueText"
        text: level.value ?? "–"
    }
}
//! [use]
