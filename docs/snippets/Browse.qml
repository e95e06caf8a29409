// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [browse]
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

Column {
    id: root

    property PKeywordClient client
    property string path: "/"

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

    ListView {
        objectName: "list"

        width: 300
        height: 400
        currentIndex: children.currentIndex
        model: PKeywordChildren {
            id: children
            objectName: "entries"

            client: root.client
            keyword: root.path
            filter: words.text
        }
        delegate: ItemDelegate {
            required property string displayName
            required property string typeLetter
            required property color typeColor
            required property string keyword

            text: displayName + "  " + typeLetter
            palette.text: typeColor
            highlighted: ListView.isCurrentItem
            onClicked: children.currentKeyword = keyword
            onDoubleClicked: root.path = keyword
        }
    }
}
//! [browse]
