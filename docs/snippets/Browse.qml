// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [browse]
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword 1.0

Column {
    id: root

    property PWebSocketKeywordClient client
    property string path: "/"

    // Asks for the children of path. A query that is lost with its connection is not repeated by
    // the model, which stays loading; asking again when the link is back is up to its user.
    function ask() {
        entries.keyword = path
    }

    onPathChanged: ask()

    Connections {
        target: root.client

        function onConnectedChanged() {
            if (root.client.connected)
                root.ask()
        }
    }

    PKeywordQueryModel {
        id: entries
        objectName: "entries"

        keywordClient: root.client
    }

    //! [path]
    PKeywordPathModel {
        id: levels
        objectName: "levels"

        keyword: root.path
        providerDisplayName: "Works"
    }

    Row {
        Repeater {
            model: levels

            delegate: Button {
                required property string partDisplay
                required property string keyword

                text: partDisplay
                onClicked: root.path = keyword
            }
        }
    }
    //! [path]

    TextField {
        id: words
        objectName: "words"

        placeholderText: "filter"
    }

    BusyIndicator {
        objectName: "busy"
        running: entries.loading
    }

    ListView {
        id: list
        objectName: "list"

        width: 300
        height: 400
        model: PKeywordQueryFilterProxyModel {
            sourceModel: entries
            filter: words.text
        }
        delegate: ItemDelegate {
            required property string displayName
            required property string typeLetter
            required property color typeColor
            required property string normalizedKeyword

            text: displayName + "  " + typeLetter
            palette.text: typeColor
            onClicked: root.path = normalizedKeyword
        }
    }
}
//! [browse]
