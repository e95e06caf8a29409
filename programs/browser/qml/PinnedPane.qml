// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword.Extras

/* The keywords that the user has pinned, which are stored between sessions, and an aggregate of them. */
Pane {
    id: root

    required property Session session
    required property Preferences preferences

    signal selectRequested(string keyword)

    function refresh() {
        access.refresh();
    }

    PKeywordTable {
        id: rows

        client: root.session.client
        keywords: root.preferences.pinned
    }
    // For the current row, which may be edited next.
    KeywordAccess {
        id: access

        client: root.session.client
        keyword: (view.currentItem as PinnedRow)?.keyword ?? ""
    }
    PinnedColumns {
        id: place

        width: view.width - (scroller.visible ? scroller.width : 0)
    }

    RowLayout {
        anchors {
            fill: parent
            margins: Theme.dp(8)
            topMargin: Theme.dp(4)
        }
        spacing: Theme.gap

        ColumnLayout {
            spacing: 0

            Item {
                implicitHeight: Theme.dp(22)
                visible: rows.count > 0
                Layout.fillWidth: true

                component Heading: PText {
                    height: parent.height
                    color: Theme.textSecondary
                    font.pixelSize: Theme.dp(11)
                }

                Heading {
                    x: place.keywordX
                    width: place.keywordWidth
                    text: qsTr("Pinned keyword")
                }
                Heading {
                    x: place.valueX
                    width: place.valueWidth
                    horizontalAlignment: Text.AlignRight
                    text: qsTr("Value")
                }
                Heading {
                    x: place.stateX
                    width: place.stateWidth
                    text: qsTr("State")
                }
                Heading {
                    x: place.outcomeX
                    width: place.outcomeWidth
                    visible: width > 0
                    text: qsTr("Last write")
                }
                Rectangle {
                    anchors.bottom: parent.bottom
                    width: place.width
                    height: 1
                    color: Theme.groove
                }
            }
            ListView {
                id: view

                objectName: "pinnedList"
                clip: true
                activeFocusOnTab: true
                boundsBehavior: Flickable.StopAtBounds
                highlightFollowsCurrentItem: false
                model: rows
                Layout.fillWidth: true
                Layout.fillHeight: true
                Accessible.role: Accessible.List
                Accessible.name: qsTr("Pinned keywords")

                ScrollBar.vertical: Scroller {
                    id: scroller

                    objectName: "pinnedScroller"
                }

                delegate: PinnedRow {
                    width: place.width
                    columns: place
                    linked: root.session.connected
                    current: view.activeFocus && index === view.currentIndex
                    readOnly: ListView.isCurrentItem && access.readOnly
                    onPressed: view.currentIndex = index
                    onSelectRequested: root.selectRequested(keyword)
                    onRemoveRequested: root.preferences.unpin(keyword)
                    onWriteRequested: text => rows.write(index, text)
                    onEdited: view.forceActiveFocus()
                }

                onActiveFocusChanged: {
                    if (activeFocus && currentIndex < 0 && count > 0)
                        currentIndex = 0;
                }
                onCurrentIndexChanged: if (currentIndex >= 0) positionViewAtIndex(currentIndex, ListView.Contain)

                Keys.onPressed: event => {
                    const row = currentItem as PinnedRow;
                    if (!row)
                        return;
                    switch (event.key) {
                    case Qt.Key_Return:
                    case Qt.Key_Enter: root.selectRequested(row.keyword); break;
                    case Qt.Key_F2: row.edit(); break;
                    case Qt.Key_Delete: root.preferences.unpin(row.keyword); break;
                    default: return;
                    }
                    event.accepted = true;
                }

                PText {
                    anchors.fill: parent
                    visible: rows.count === 0
                    text: qsTr("Nothing is pinned. Press Ctrl+D to pin the selected keyword.")
                    color: Theme.textSecondary
                    horizontalAlignment: Text.AlignHCenter
                    wrapMode: Text.Wrap
                }
            }
        }
        Rectangle {
            implicitWidth: 1
            color: Theme.cardBorder
            Layout.fillHeight: true
        }
        AggregatePanel {
            session: root.session
            preferences: root.preferences
            Layout.fillWidth: false
            Layout.preferredWidth: Theme.dp(210)
            Layout.fillHeight: true
        }
    }
}
