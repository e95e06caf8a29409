// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [frame]
import QtQuick
import PellixClient.Keyword 1.0

// A frame around an item that shows the value of a proxy. Its color shows the state flags.
Rectangle {
    id: root

    required property PKeywordProxy proxy
    default property alias content: inner.data

    readonly property string condition: proxy.error ? "error"
                                        : !proxy.connected ? "not connected"
                                        : !proxy.online ? "offline"
                                        : !proxy.consistent ? "inconsistent"
                                        : "good"

    implicitWidth: Math.max(inner.childrenRect.width, note.implicitWidth) + 16
    implicitHeight: inner.childrenRect.height + note.height + 16
    radius: 4
    border.width: 2
    border.color: ({
        "error": "firebrick",
        "not connected": "gray",
        "offline": "chocolate",
        "inconsistent": "darkgoldenrod",
        "good": "seagreen"
    })[condition]

    Item {
        id: inner

        anchors.fill: parent
        anchors.margins: 8
        opacity: root.condition === "good" || root.condition === "inconsistent" ? 1 : 0.4
    }

    Text {
        id: note

        anchors.bottom: parent.bottom
        anchors.right: parent.right
        anchors.margins: 6
        font.pixelSize: 10
        color: root.border.color
        text: root.condition
        visible: root.condition !== "good"
    }
}
//! [frame]
