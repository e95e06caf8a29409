// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword.Extras

/*
    One pinned keyword: its label and path, its live or last known value, its state, and the outcome of the
    last write. The value is edited in place.
*/
ItemDelegate {
    id: root

    required property int index
    required property string keyword
    required property string displayName
    required property var value
    required property string valueText
    required property bool stale
    required property bool connected
    required property bool online
    required property bool consistent
    required property bool error
    required property string stateText
    required property bool writableType
    required property int outcome
    required property string outcomeText

    required property bool readOnly // as far as is known
    required property bool linked
    required property bool current
    required property PinnedColumns columns

    property bool editing: false
    // A server keeps the last value of a keyword whose source is not connected.
    readonly property bool known: stale ? valueText !== "" : connected || (value ?? null) !== null
    readonly property bool old: stale || !connected
    readonly property string shownValue: known ? Format.shortText(value) : Format.none
    readonly property bool editable: writableType && !readOnly
    readonly property string outcomeShown: readOnly && outcomeText === "" ? qsTr("read-only") : outcomeText
    readonly property bool failed: outcome !== PKeywordWrite.Idle && outcome !== PKeywordWrite.Pending
                                   && outcome !== PKeywordWrite.Taken
    readonly property color tone: stale || !linked ? Theme.unknown
        : !connected || error ? Theme.error : online && consistent ? Theme.accent : Theme.warning

    signal selectRequested()
    signal removeRequested()
    signal writeRequested(string text)
    signal edited() // the field has been closed

    function edit() {
        if (!editable)
            return;
        field.text = valueText;
        editing = true;
        field.forceActiveFocus();
        field.selectAll();
    }

    function endEditing() {
        editing = false;
        edited();
    }

    implicitHeight: Theme.dp(28)
    padding: 0
    focusPolicy: Qt.NoFocus // the table has the focus
    Accessible.name: displayName + ", " + shownValue + ", " + stateText
                     + (outcomeShown !== "" ? ", " + outcomeShown : "")
    Accessible.description: editable ? qsTr("F2 edits the value") : ""

    onReadOnlyChanged: if (readOnly && editing) endEditing()
    onClicked: selectRequested()
    onDoubleClicked: edit()
    onPressAndHold: edit()

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
    // Its parts have ids, so it is created immediately, which is intended.
    contentItem: Item { // qmllint disable deferred-property-id
        PText {
            id: labelText

            objectName: "pinnedLabel"
            x: root.columns.keywordX
            width: Math.min(implicitWidth, root.columns.keywordWidth)
            height: parent.height
            text: root.displayName
            color: !root.linked ? Theme.textSecondary : Theme.text
        }
        PText {
            objectName: "pinnedPath"
            x: labelText.x + labelText.width + Theme.dp(8)
            width: root.columns.keywordX + root.columns.keywordWidth - x
            height: parent.height
            visible: width >= Theme.dp(20)
            text: root.keyword
            elide: Text.ElideLeft // the end of a path is more relevant
            horizontalAlignment: Text.AlignLeft
            color: Theme.textFaint
            font.pixelSize: Theme.dp(12)
        }
        PText {
            objectName: "pinnedValue"
            x: root.columns.valueX
            width: root.columns.valueWidth
            height: parent.height
            visible: !root.editing
            horizontalAlignment: Text.AlignRight
            text: root.shownValue
            color: root.old || !root.known ? Theme.textFaint : root.error ? Theme.error : Theme.text
            font.strikeout: root.old && root.known
        }
        Field {
            id: field

            objectName: "pinnedField"
            x: root.columns.valueX
            width: root.columns.valueWidth
            implicitHeight: parent.height - 1
            visible: root.editing
            horizontalAlignment: TextInput.AlignRight
            Accessible.name: qsTr("New value of %1").arg(root.displayName)
            onAccepted: {
                root.writeRequested(text);
                root.endEditing();
            }
            onActiveFocusChanged: if (!activeFocus) root.editing = false
            Keys.onEscapePressed: root.endEditing()
        }
        Rectangle {
            x: root.columns.stateX
            anchors.verticalCenter: parent.verticalCenter
            width: Theme.dp(8)
            height: width
            radius: width / 2
            color: root.tone === Theme.unknown ? "transparent" : root.tone
            border.width: 1
            border.color: root.tone
        }
        PText {
            objectName: "pinnedState"

            readonly property bool makesWay: root.columns.outcomeWidth === 0 && root.failed

            x: root.columns.stateX + Theme.dp(15)
            width: root.columns.stateWidth - Theme.dp(15)
            height: parent.height
            text: makesWay ? root.outcomeText : root.stateText
            color: makesWay ? Theme.error
                            : root.tone === Theme.accent || root.tone === Theme.unknown ? Theme.textSecondary
                                                                                        : root.tone
            font.pixelSize: Theme.dp(12)
        }
        PText {
            objectName: "pinnedOutcome"
            x: root.columns.outcomeX
            width: root.columns.outcomeWidth
            height: parent.height
            visible: width > 0
            text: root.outcomeShown
            color: root.failed ? Theme.error : Theme.textSecondary
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
}
