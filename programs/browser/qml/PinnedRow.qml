// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0

/* One pinned keyword: its label and path, its live value or the last known one, and its state. */
ItemDelegate {
    id: root

    required property int index
    required property string keyword

    required property PKeywordClient client
    required property bool stale
    required property bool current
    required property PinnedColumns columns

    readonly property string name: keyword.slice(keyword.search(/[^\/#]*$/))
    readonly property bool known: stale ? live.lastValue !== undefined : live.connected

    signal selectRequested()
    signal removeRequested()

    implicitHeight: Theme.dp(28)
    padding: 0
    focusPolicy: Qt.NoFocus // the table has the focus
    Accessible.name: (label.text !== "" ? label.text : name) + " " + valueText.text

    onClicked: selectRequested()

    background: Rectangle {
        color: root.current ? Qt.alpha(Theme.accent, 0.22)
                            : root.hovered ? Theme.controlHover : "transparent"

        Rectangle {
            anchors.bottom: parent.bottom
            width: parent.width
            height: 1
            color: Theme.cardBorder
        }
    }
    // Its parts have ids; that it is made at once is fine.
    contentItem: Item { // qmllint disable deferred-property-id
        PText {
            id: labelText

            objectName: "pinnedLabel"
            x: root.columns.keywordX
            width: Math.min(implicitWidth, root.columns.keywordWidth)
            height: parent.height
            text: label.text !== "" ? label.text : root.name
            color: root.stale ? Theme.textSecondary : Theme.text
        }
        PText {
            objectName: "pinnedPath"
            x: labelText.x + labelText.width + Theme.dp(8)
            width: root.columns.keywordX + root.columns.keywordWidth - x
            height: parent.height
            visible: width >= Theme.dp(20)
            text: root.keyword
            elide: Text.ElideLeft // the end of a path says more
            horizontalAlignment: Text.AlignLeft
            color: Theme.textFaint
            font.pixelSize: Theme.dp(12)
        }
        PText {
            id: valueText

            objectName: "pinnedValue"
            x: root.columns.valueX
            width: root.columns.valueWidth
            height: parent.height
            horizontalAlignment: Text.AlignRight
            text: root.known ? Format.shortText(root.stale ? live.lastValue : live.value) : Format.none
            color: root.stale || !root.known ? Theme.textFaint : live.error ? Theme.error : Theme.text
            font.strikeout: root.stale && root.known
        }
        Rectangle {
            x: root.columns.stateX
            anchors.verticalCenter: parent.verticalCenter
            width: Theme.dp(8)
            height: width
            radius: width / 2
            color: root.stale ? "transparent" : Format.stateColor(live)
            border.width: 1
            border.color: root.stale ? Theme.unknown : color
        }
        PText {
            objectName: "pinnedState"
            x: root.columns.stateX + Theme.dp(15)
            width: root.columns.stateWidth - Theme.dp(15)
            height: parent.height
            text: root.stale ? (root.known ? qsTr("last known") : qsTr("unknown"))
                             : Format.stateText(live)
            color: root.stale || Format.stateColor(live) === Theme.accent ? Theme.textSecondary
                                                                         : Format.stateColor(live)
            font.pixelSize: Theme.dp(12)
        }
        AbstractButton {
            id: remove

            objectName: "unpinButton"
            x: root.columns.removeX
            width: Theme.dp(26)
            height: parent.height
            focusPolicy: Qt.NoFocus
            Accessible.name: qsTr("Unpin %1").arg(labelText.text)
            ToolTip.visible: hovered
            ToolTip.delay: 600
            ToolTip.text: qsTr("Unpin (Delete)")
            onClicked: root.removeRequested()

            contentItem: PText {
                text: "\u00d7"
                color: remove.hovered ? Theme.error : Theme.textFaint
                font.pixelSize: Theme.dp(16)
                horizontalAlignment: Text.AlignHCenter
            }
        }
    }

    WatchedKeyword {
        id: live

        client: root.client
        keyword: root.keyword
    }
    PKeywordProxy {
        id: label

        property string text // stays when the link is lost

        client: root.client
        keyword: root.keyword + "/Label"
        onClientChanged: text = ""
        onValueChanged: if (value) text = value
    }
}
