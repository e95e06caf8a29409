// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

/* The children of a keyword, filtered and sorted. */
ColumnLayout {
    id: root

    required property Session session
    property string keyword: "/"
    property string selected
    required property bool selectedIsParent // it has children, as far as is known
    property alias filter: search.text
    readonly property alias view: view
    readonly property alias total: children.total
    readonly property alias children: children

    signal selectRequested(string keyword)
    signal openRequested(string keyword)
    signal upRequested()
    signal entered() // Return was pressed on a keyword with a value

    function refresh() {
        children.refresh();
    }

    function openRow(row: int) {
        const item = view.itemAtIndex(row) as ChildRow;
        if (item && item.parental)
            openRequested(item.keyword);
    }

    function selectRow(row: int) {
        if (view.count === 0)
            return;
        row = Math.max(0, Math.min(view.count - 1, row));
        view.positionViewAtIndex(row, ListView.Contain);
        selectRequested(children.keywordAt(row));
    }

    function focusList() {
        view.forceActiveFocus();
    }

    function focusSearch() {
        search.forceActiveFocus();
        search.selectAll();
    }

    spacing: Theme.dp(6)

    PKeywordChildren {
        id: children

        client: root.session.client
        keyword: root.keyword
        currentKeyword: root.selected
        filter: search.text
        filterType: typeChoice.currentValue ?? PKeyword.KVT_NOPROP
        filterAccess: accessChoice.currentValue ?? PKeyword.KVA_NONE
        // Another level is shown from its first row.
        onKeywordChanged: view.positionViewAtBeginning()
        onLoadingChanged: {
            waiting.tooLong = false;
            patience.running = loading;
        }
    }
    Timer {
        id: patience

        interval: 5000
        onTriggered: waiting.tooLong = true
    }

    RowLayout {
        spacing: Theme.dp(6)
        Layout.leftMargin: Theme.dp(10)
        Layout.rightMargin: Theme.dp(10)

        Field {
            id: search

            objectName: "searchField"
            placeholderText: qsTr("Filter by words")
            rightPadding: Theme.dp(28)
            Layout.fillWidth: true
            Keys.onEscapePressed: {
                clear();
                root.focusList();
            }
            Keys.onDownPressed: {
                root.focusList();
                root.selectRow(Math.max(0, view.currentIndex));
            }
            onAccepted: {
                root.focusList();
                root.selectRow(Math.max(0, view.currentIndex));
            }

            BusyIndicator {
                objectName: "busy"
                anchors {
                    right: parent.right
                    rightMargin: Theme.dp(4)
                    verticalCenter: parent.verticalCenter
                }
                width: Theme.dp(22)
                height: width
                padding: Theme.dp(2)
                running: children.loading && root.session.connected
                visible: running
                palette.dark: Theme.accent
            }
        }
    }
    RowLayout {
        spacing: Theme.dp(6)
        Layout.leftMargin: Theme.dp(10)
        Layout.rightMargin: Theme.dp(10)

        Choice {
            id: typeChoice

            objectName: "typeChoice"
            Layout.fillWidth: true
            Layout.preferredWidth: Theme.dp(100)
            Accessible.name: qsTr("Type")
            model: [
                { text: qsTr("any type"), value: PKeyword.KVT_NOPROP },
                { text: qsTr("bool"), value: PKeyword.KVT_BOOL },
                { text: qsTr("int"), value: PKeyword.KVT_INT },
                { text: qsTr("double"), value: PKeyword.KVT_DOUBLE },
                { text: qsTr("string"), value: PKeyword.KVT_STRING }
            ]
        }
        Choice {
            id: accessChoice

            objectName: "accessChoice"
            Layout.fillWidth: true
            Layout.preferredWidth: Theme.dp(100)
            Accessible.name: qsTr("Access")
            model: [
                { text: qsTr("any access"), value: PKeyword.KVA_NONE },
                { text: qsTr("readable"), value: PKeyword.KVA_READ },
                { text: qsTr("readable meta"), value: PKeyword.KVA_READ_META },
                { text: qsTr("writable"), value: PKeyword.KVA_WRITE },
                { text: qsTr("read and write"), value: PKeyword.KVA_READWRITE }
            ]
        }
        PText {
            objectName: "countText"
            text: view.count === root.total ? String(view.count)
                                            : qsTr("%1 of %2").arg(view.count).arg(root.total)
            color: Theme.textSecondary
            font.pixelSize: Theme.dp(12)
            horizontalAlignment: Text.AlignRight
            Layout.minimumWidth: Theme.dp(40)
        }
    }

    ListView {
        id: view

        objectName: "childView"
        Layout.fillWidth: true
        Layout.fillHeight: true
        clip: true
        activeFocusOnTab: true
        keyNavigationEnabled: false // a step also selects the row; see below
        highlightFollowsCurrentItem: false
        boundsBehavior: Flickable.StopAtBounds
        reuseItems: true
        cacheBuffer: 0 // Qt 6.4 warns about rows created in advance if the model is reset
        model: children
        currentIndex: children.currentIndex
        Accessible.role: Accessible.List
        Accessible.name: qsTr("Keywords below %1").arg(root.keyword)

        ScrollBar.vertical: Scroller {
            id: scroller

            objectName: "childScroller"
        }

        delegate: ChildRow {
            width: view.width - (scroller.visible ? scroller.width : 0)
            height: view.rowHeight
            client: root.session.client
            stale: !root.session.connected
            selected: root.selected !== "" && keyword === root.selected
            parental: group || selected && root.selectedIsParent
            onSelectRequested: {
                root.focusList();
                root.selectRequested(keyword);
            }
            onOpenRequested: {
                if (parental)
                    root.openRequested(keyword);
            }
        }

        Rectangle {
            anchors.fill: parent
            visible: view.activeFocus
            color: "transparent"
            border.width: 1
            border.color: Theme.accent
        }

        PText {
            id: waiting

            property bool tooLong: false

            objectName: "emptyText"
            anchors.centerIn: parent
            width: parent.width - 2 * Theme.gap
            visible: view.count === 0 && text !== ""
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            color: Theme.textSecondary
            text: {
                if (!root.session.connected)
                    return qsTr("Not connected");
                if (children.loading)
                    return tooLong ? qsTr("The server does not reply. Press F5 to retry.") : "";
                return root.total > 0 ? qsTr("Nothing matches the filter")
                                      : qsTr("No children");
            }
        }

        readonly property real rowHeight: Theme.dp(30)
        readonly property int page: Math.max(1, Math.floor(height / rowHeight) - 1)

        Keys.onPressed: event => {
            switch (event.key) {
            case Qt.Key_Up: root.selectRow(currentIndex - 1); break;
            case Qt.Key_Down: root.selectRow(currentIndex + 1); break;
            case Qt.Key_PageUp: root.selectRow(currentIndex - page); break;
            case Qt.Key_PageDown: root.selectRow(currentIndex + page); break;
            case Qt.Key_Home: root.selectRow(0); break;
            case Qt.Key_End: root.selectRow(count - 1); break;
            case Qt.Key_Left:
            case Qt.Key_Backspace: root.upRequested(); break;
            case Qt.Key_Right:
                root.openRow(currentIndex);
                break;
            case Qt.Key_Return:
            case Qt.Key_Enter:
                if (currentItem && currentItem.group)
                    root.openRequested(root.selected);
                else if (currentIndex >= 0)
                    root.entered();
                break;
            case Qt.Key_Slash: root.focusSearch(); break;
            default: return;
            }
            event.accepted = true;
        }
    }
}
