// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Control
import PellixClient.Keyword 1.0

/* One child of the listed keyword: its type, its label and its live value. */
ItemDelegate {
    id: root

    required property string displayName
    required property string keyword
    required property string typeLetter
    required property color typeColor

    required property PKeywordClient client
    required property bool stale
    required property bool selected

    readonly property bool group: typeLetter === ">"

    signal selectRequested()
    signal openRequested()

    implicitHeight: Theme.dp(30)
    padding: 0
    focusPolicy: Qt.NoFocus // the list has the focus
    Accessible.name: displayName
    opacity: stale ? 0.45 : 1

    onClicked: selectRequested()
    onDoubleClicked: openRequested()

    background: Rectangle {
        color: root.selected ? Qt.alpha(Theme.accent, 0.22)
                             : root.hovered ? Theme.controlHover : "transparent"

        Rectangle {
            width: Theme.dp(3)
            height: parent.height
            visible: root.selected
            color: Theme.accent
        }
    }
    // Its parts have ids; that it is made at once is fine.
    contentItem: Item { // qmllint disable deferred-property-id
        TypeBadge {
            id: badge

            x: Theme.dp(10)
            anchors.verticalCenter: parent.verticalCenter
            letter: root.typeLetter
            color: root.typeColor
        }
        PText {
            anchors {
                left: badge.right
                leftMargin: Theme.dp(8)
                right: valueText.left
                rightMargin: Theme.dp(8)
                verticalCenter: parent.verticalCenter
            }
            text: root.displayName
        }
        PText {
            id: valueText

            anchors {
                right: down.left
                rightMargin: Theme.dp(4)
                verticalCenter: parent.verticalCenter
            }
            width: Math.min(implicitWidth, parent.width * 0.42)
            text: root.group || !live.connected ? "" : Format.shortText(live.value)
            color: live.error ? Theme.error : live.online && live.consistent ? Theme.textSecondary
                                                                             : Theme.warning
            font.pixelSize: Theme.dp(12)
        }
        AbstractButton {
            id: down

            anchors.right: parent.right
            width: Theme.dp(26)
            height: parent.height
            focusPolicy: Qt.NoFocus
            Accessible.name: qsTr("List what is below %1").arg(root.displayName)
            onClicked: root.openRequested()

            contentItem: PText {
                text: "\u203a"
                color: down.hovered ? Theme.accent : Theme.textFaint
                font.pixelSize: Theme.dp(18)
                horizontalAlignment: Text.AlignHCenter
            }
        }
    }

    PKeywordProxy {
        id: live

        client: root.client
        keyword: root.group ? "" : root.keyword
    }
}
