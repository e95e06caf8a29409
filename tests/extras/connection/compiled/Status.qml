// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQml
import PellixClient.Keyword.Extras

// The properties of a connection, read in the same ways as in applications.
QtObject {
    id: root

    required property var addresses

    readonly property PKeywordConnection connection: PKeywordConnection {
        urls: root.addresses
        headers: ({ "X-Plant": "north" })
        minRetryDelay: 5000
    }
    readonly property PKeywordLink link: PKeywordLink {
        client: root.connection
    }
    readonly property bool isWaiting: connection.state === PKeywordConnection.Waiting
    readonly property bool isSoon: connection.retryIn >= 1 && connection.retryIn <= 5000
    readonly property int secondsLeft: Math.ceil((connection.retryIn ?? 0) / 1000)
    readonly property string told: connection.reason !== "" ? `${connection.address} ${connection.reason}` : "fine"
    readonly property bool isLinked: link.connected || connection.connected
    readonly property string named: {
        switch (connection.state) {
        case PKeywordConnection.Disconnected:
            return "disconnected";
        case PKeywordConnection.Connecting:
            return "connecting";
        case PKeywordConnection.Connected:
            return "connected";
        case PKeywordConnection.Waiting:
            return "waiting";
        default:
            return "unusable";
        }
    }

    function tryNow() {
        connection.open();
    }
}
