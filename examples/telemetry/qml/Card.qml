// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/*
    A panel with a title. Its badge shows the worst condition of its sources, unless all are good.
*/
Rectangle {
    id: root

    property string title
    property list<LiveValue> sources
    default property alias content: body.data

    readonly property int condition: {
        let worst = LiveValue.Good;
        for (let i = 0; i < sources.length; ++i)
            worst = Math.max(worst, sources[i].condition);
        return worst;
    }

    implicitWidth: body.childrenRect.width + 2 * Theme.padding
    implicitHeight: Theme.dp(140)
    radius: Theme.radius
    color: Theme.card
    border.width: 1
    border.color: condition === LiveValue.Error ? Qt.alpha(Theme.error, 0.6) : Theme.cardBorder

    PText {
        id: heading

        anchors {
            left: parent.left
            top: parent.top
            right: badge.left
            leftMargin: Theme.padding
            topMargin: Theme.dp(12)
            rightMargin: Theme.gap
        }
        height: Theme.dp(20)
        text: root.title
        color: Theme.textSecondary
        font.pixelSize: Theme.dp(12)
        font.weight: Font.DemiBold
    }
    StateBadge {
        id: badge

        anchors {
            right: parent.right
            verticalCenter: heading.verticalCenter
            rightMargin: Theme.dp(12)
        }
        condition: root.condition
        visible: root.condition !== LiveValue.Good
    }
    Item {
        id: body

        anchors {
            left: parent.left
            right: parent.right
            top: heading.bottom
            bottom: parent.bottom
            leftMargin: Theme.padding
            rightMargin: Theme.padding
            topMargin: Theme.dp(8)
            bottomMargin: Theme.dp(14)
        }
    }
}
