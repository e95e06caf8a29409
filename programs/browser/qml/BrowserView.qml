// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

/* The entire browser, for use in a window. */
Item {
    id: root

    required property Session session
    required property Preferences preferences

    property string keyword: "/" // the level that is listed
    property string selected // the keyword in the detail pane
    property alias filter: list.filter
    property bool trend // whether one plot of all pinned keywords replaces the selected keyword
    property date now: new Date()
    // The number of keywords below the selected one; negative until the server has replied.
    readonly property int childCount: below.listed ? below.total : -1

    // Lists the children of a keyword.
    function open(keyword: string) {
        const target = list.children.normalized(keyword);
        if (target === list.children.normalized(root.keyword))
            return;
        list.filter = "";
        root.keyword = keyword.startsWith("/") ? keyword : "/" + keyword;
        list.focusList();
    }

    // Lists the parent level, and selects the previous level in it.
    function up() {
        if (keyword === "/")
            return;
        const from = keyword;
        list.filter = "";
        keyword = list.children.parentOf(keyword);
        selected = from;
        list.focusList();
    }

    // Lists the level of a keyword and selects it.
    function reveal(keyword: string) {
        list.filter = "";
        root.keyword = list.children.parentOf(keyword);
        selected = keyword;
    }

    // A keyword with a value may have children, too. Only a query shows whether it does.
    PKeywordChildren {
        id: below

        client: root.session.client
        keyword: root.selected
        labels: false
    }
    KeywordAccess {
        id: access

        client: root.session.client
        keyword: root.selected
    }

    Timer {
        interval: 250
        repeat: true
        running: true
        onTriggered: root.now = new Date()
    }

    Shortcut {
        // The tools of Qt 6.4 do not know StandardKey.
        sequences: [StandardKey.Find] // qmllint disable unqualified
        onActivated: list.focusSearch()
    }
    Shortcut {
        sequences: ["F5", "Ctrl+R"]
        onActivated: {
            list.refresh();
            access.refresh();
            pins.refresh();
        }
    }
    Shortcut {
        sequences: ["Ctrl+L"]
        onActivated: path.edit()
    }
    Shortcut {
        sequences: ["Ctrl+D"]
        onActivated: detail.togglePin()
    }
    Shortcut {
        sequences: ["Ctrl+T"]
        onActivated: root.trend = !root.trend
    }
    Shortcut {
        sequences: ["Ctrl+E"]
        onActivated: root.trend ? trends.exportCsv() : detail.exportCsv()
    }
    Shortcut {
        sequences: ["Alt+Up"]
        onActivated: root.up()
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        AddressBar {
            session: root.session
            preferences: root.preferences
            Layout.fillWidth: true
        }
        LostBanner {
            objectName: "lostBanner"
            visible: !root.session.connected
            session: root.session
            now: root.now
            Layout.fillWidth: true
        }

        SplitView {
            orientation: Qt.Vertical
            Layout.fillWidth: true
            Layout.fillHeight: true

            handle: DragHandle { }

            SplitView {
                orientation: Qt.Horizontal
                SplitView.fillHeight: true
                SplitView.minimumHeight: Theme.dp(330)

                handle: DragHandle { }

                Pane {
                    SplitView.preferredWidth: Math.min(Theme.dp(380), root.width * 0.4)
                    SplitView.minimumWidth: Theme.dp(280)

                    ColumnLayout {
                        anchors {
                            fill: parent
                            margins: 1
                        }
                        spacing: Theme.dp(6)

                        PathBar {
                            id: path

                            client: root.session.client
                            keyword: root.keyword
                            Layout.fillWidth: true
                            Layout.topMargin: Theme.dp(8)
                            Layout.leftMargin: Theme.dp(10)
                            Layout.rightMargin: Theme.dp(10)
                            onOpened: keyword => root.open(keyword)
                            onUpRequested: root.up()
                        }
                        ChildList {
                            id: list

                            focus: true
                            session: root.session
                            keyword: root.keyword
                            selected: root.selected
                            selectedIsParent: root.childCount > 0
                            Layout.fillWidth: true
                            Layout.fillHeight: true
                            onSelectRequested: keyword => root.selected = keyword
                            onOpenRequested: keyword => root.open(keyword)
                            onUpRequested: root.up()
                            onEntered: if (!root.trend) detail.focusWriting()
                        }
                    }
                }
                StackLayout {
                    SplitView.fillWidth: true
                    SplitView.minimumWidth: Theme.dp(460)
                    currentIndex: root.trend ? 1 : 0

                    DetailPane {
                        id: detail

                        objectName: "detailPane"
                        session: root.session
                        preferences: root.preferences
                        keyword: root.selected
                        childCount: root.childCount
                        readOnly: access.readOnly
                        now: root.now
                        onOpenRequested: root.open(root.selected)
                        onTrendRequested: root.trend = true
                    }
                    TrendPane {
                        id: trends

                        objectName: "trendPane"
                        session: root.session
                        preferences: root.preferences
                        onCloseRequested: root.trend = false
                    }
                }
            }
            PinnedPane {
                id: pins

                SplitView.preferredHeight: Theme.dp(140)
                SplitView.minimumHeight: Theme.dp(100)
                session: root.session
                preferences: root.preferences
                onSelectRequested: keyword => root.reveal(keyword)
            }
        }

        StatusLine {
            session: root.session
            now: root.now
            Layout.fillWidth: true
        }
    }

    Component.onCompleted: list.focusList()
}
