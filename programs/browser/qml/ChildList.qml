// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0

/*
    The children of one keyword, filtered and in order. An answer of the server rebuilds all rows: what
    is selected stays selected, and the row at the top stays there.
*/
ColumnLayout {
    id: root

    required property Session session
    property string keyword: "/"
    property string selected
    required property bool selectedIsParent // there is something below, as far as is known
    property alias filter: search.text
    readonly property alias view: view
    readonly property alias loading: query.loading
    readonly property int total: query.keyword === "" ? 0 : counter.total

    signal selectRequested(string keyword)
    signal openRequested(string keyword)
    signal upRequested()
    signal entered() // Return on something that has a value

    // Numbers of the roles that the models offer.
    readonly property int keywordRole: 261
    readonly property int normalizedKeywordRole: 262

    // What to scroll to when the rows are there again: so far down, but if the row that was at the top
    // is among them, to that one, by so much of it. Negative: nothing to scroll to.
    property real restoredY: -1
    property string restoredTop
    property real restoredOffset
    property bool awaiting: false

    function refresh() {
        keepPlace();
        ask();
    }

    // Before the rows change. Who has not scrolled stays at the beginning, whatever comes first there.
    function keepPlace() {
        if (restoredY >= 0)
            return;
        restoredY = view.contentY - view.originY;
        const top = restoredY > 0 ? view.itemAt(0, view.contentY) as ChildRow : null;
        restoredTop = top ? top.keyword : "";
        restoredOffset = top ? view.contentY - top.y : 0;
    }

    function begin() {
        restoredY = 0;
        restoredTop = "";
        ask();
    }

    function ask() {
        awaiting = true;
        query.keyword = keyword; // asks anew, also for the same keyword
    }

    function openRow(row: int) {
        const item = view.itemAtIndex(row) as ChildRow;
        if (item && item.parental)
            openRequested(item.keyword);
    }

    function normalized(keyword: string): string {
        return query.joinKeyword(query.splitKeyword(keyword));
    }

    function parentOf(keyword: string): string {
        return query.getParentKeyword(keyword);
    }

    function rowOf(keyword: string): int {
        if (keyword === "" || sorted.rowCount() === 0)
            return -1;
        const found = sorted.match(sorted.index(0, 0), normalizedKeywordRole, normalized(keyword),
                                   1, Qt.MatchExactly | Qt.MatchCaseSensitive);
        return found.length > 0 ? found[0].row : -1;
    }

    function selectRow(row: int) {
        if (view.count === 0)
            return;
        row = Math.max(0, Math.min(view.count - 1, row));
        view.currentIndex = row;
        view.positionViewAtIndex(row, ListView.Contain);
        selectRequested(sorted.data(sorted.index(row, 0), keywordRole));
    }

    function focusList() {
        view.forceActiveFocus();
    }

    function focusSearch() {
        search.forceActiveFocus();
        search.selectAll();
    }

    // Brings the view back to what it showed, now that the rows are new or in another order.
    function restore() {
        view.currentIndex = rowOf(selected);
        if (awaiting || restoredY < 0)
            return;
        const top = rowOf(restoredTop);
        const y = top < 0 ? restoredY : top * view.rowHeight + restoredOffset;
        restoredY = -1;
        view.forceLayout(); // the height of rows that are not laid out is not known
        const lowest = Math.max(0, view.contentHeight - view.height);
        view.contentY = view.originY + Math.min(y, lowest);
    }

    spacing: Theme.dp(6)

    onKeywordChanged: begin()
    onSelectedChanged: view.currentIndex = rowOf(selected)
    Component.onCompleted: begin()

    PKeywordQueryModel {
        id: query

        keywordClient: root.session.client
        filterType: typeChoice.currentValue ?? PKeyword.KVT_NOPROP
        filterAccess: accessChoice.currentValue ?? PKeyword.KVA_NONE
        onKeywordClientChanged: root.begin() // the rows are those of another server
        onLoadingChanged: {
            if (loading) {
                patience.restart();
            } else {
                patience.stop();
                waiting.tooLong = false;
                root.awaiting = false;
                root.restore();
            }
        }
    }
    ChildOrder {
        id: sorted

        filter: search.text
        sourceModel: query
        onRearranging: root.keepPlace()
        onRearranged: root.restore()
    }
    QuietSorting {
        id: sorting

        model: sorted
        onSettled: root.restore()
    }
    Connections {
        id: counter

        property int total: 0

        target: query
        function onModelReset() {
            counter.total = query.rowCount();
        }
    }
    Connections {
        target: root.session

        // What is listed may have changed meanwhile, and an answer may be lost with the link.
        function onConnectedChanged() {
            if (root.session.connected)
                root.refresh();
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
                running: query.loading && root.session.connected
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
        keyNavigationEnabled: false // see below: a step selects
        highlightFollowsCurrentItem: false
        boundsBehavior: Flickable.StopAtBounds
        reuseItems: true
        cacheBuffer: 0 // Qt 6.4 warns of rows that are made ahead when a reset comes in between
        model: sorted
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
                if (query.loading)
                    return tooLong ? qsTr("The server does not answer. F5 asks again.") : "";
                return root.total > 0 ? qsTr("Nothing fits the filter")
                                      : qsTr("There is nothing below");
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
