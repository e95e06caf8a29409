// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0

/* What the user keeps in sight, from one start to the next, and an aggregate of it. */
Pane {
    id: root

    required property Session session
    required property Preferences preferences

    signal selectRequested(string keyword)

    RowLayout {
        anchors {
            fill: parent
            margins: Theme.dp(8)
        }
        spacing: Theme.gap

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            PKeywordPathList {
                objectName: "pinnedList"
                anchors.fill: parent
                clip: true
                opacity: root.session.connected ? 1 : 0.45
                keywords: root.preferences.pinned
                keywordClient: root.session.client
                isRemoveVisible: true
                onKeywordSelected: (index, keyword) => root.selectRequested(keyword)
                onKeywordRemove: (index, keyword) => root.preferences.unpin(keyword)
            }
            PText {
                anchors.centerIn: parent
                visible: root.preferences.pinned.length === 0
                text: qsTr("Nothing is pinned. Ctrl+D pins what is selected.")
                color: Theme.textSecondary
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
