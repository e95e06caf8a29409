// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0

/*
    One child of the listed keyword: its type, its label and name, and its live value. Without a connection or
    a source, it shows the last known value, and marks it.
*/
ItemDelegate {
    id: root

    required property string displayName
    required property string name
    required property string keyword
    required property string typeLetter
    required property color typeColor

    required property PKeywordClient client
    required property bool stale
    required property bool selected
    required property bool parental // it has children, as far as is known

    readonly property bool group: typeLetter === ">"
    // A server keeps the last value of a keyword whose source is not connected.
    readonly property bool old: stale || !live.connected

    signal selectRequested()
    signal openRequested()

    implicitHeight: Theme.dp(30)
    padding: 0
    focusPolicy: Qt.NoFocus // the list has the focus
    Accessible.name: valueText.text !== "" ? displayName + ", " + valueText.text : displayName

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
    // Its parts have ids, so it is created immediately, which is intended.
    contentItem: Item { // qmllint disable deferred-property-id
        TypeBadge {
            id: badge

            x: Theme.dp(10)
            anchors.verticalCenter: parent.verticalCenter
            letter: root.typeLetter
            color: root.typeColor
            opacity: root.stale ? 0.6 : 1
        }
        PText {
            id: labelText

            readonly property real room: valueText.x - x - Theme.dp(8)

            anchors {
                left: badge.right
                leftMargin: Theme.dp(8)
                verticalCenter: parent.verticalCenter
            }
            width: Math.min(implicitWidth, room)
            text: root.displayName
            color: root.stale ? Theme.textSecondary : Theme.text
        }
        PText {
            anchors {
                left: labelText.right
                leftMargin: Theme.dp(7)
                right: valueText.left
                rightMargin: Theme.dp(8)
                baseline: labelText.baseline
            }
            visible: root.name !== root.displayName && width >= Theme.dp(20)
            text: root.name
            color: Theme.textFaint
            font.pixelSize: Theme.dp(12)
        }
        PText {
            id: valueText

            anchors {
                right: down.left
                rightMargin: Theme.dp(4)
                verticalCenter: parent.verticalCenter
            }
            width: Math.min(implicitWidth, parent.width * 0.42)
            text: {
                if (root.group)
                    return "";
                const value = root.stale ? live.lastValue : live.value;
                return root.old && (value === undefined || value === null) ? "" : Format.shortText(value);
            }
            color: root.old ? Theme.textFaint
                            : live.error ? Theme.error
                                         : live.online && live.consistent ? Theme.textSecondary
                                                                          : Theme.warning
            font.strikeout: root.old
            font.pixelSize: Theme.dp(12)
        }
        AbstractButton {
            id: down

            objectName: "down"
            anchors.right: parent.right
            width: Theme.dp(26)
            height: parent.height
            enabled: root.parental
            focusPolicy: Qt.NoFocus
            Accessible.name: qsTr("List the children of %1").arg(root.displayName)
            Accessible.ignored: !root.parental
            onClicked: root.openRequested()

            contentItem: PText {
                visible: root.parental
                text: "\u203a"
                color: down.hovered ? Theme.accent : Theme.textFaint
                font.pixelSize: Theme.dp(18)
                horizontalAlignment: Text.AlignHCenter
            }
        }
    }

    WatchedKeyword {
        id: live

        client: root.client
        keyword: root.group ? "" : root.keyword
    }
}
