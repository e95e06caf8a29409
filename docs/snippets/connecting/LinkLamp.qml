// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [lamp]
import QtQuick
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

Rectangle {
    id: root

    property PKeywordClient client // of any class

    width: 12
    height: 12
    radius: 6
    color: link.connected ? "green" : "red"

    PKeywordLink {
        id: link

        client: root.client
    }
}
//! [lamp]
