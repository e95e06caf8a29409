// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [tree]
import QtQuick
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

TreeView {
    id: root

    property PKeywordClient client

    width: 300
    height: 400
    model: PKeywordTree { client: root.client }
    selectionModel: ItemSelectionModel { model: root.model } // contains the current row, for the arrow keys
    activeFocusOnTab: true
    Accessible.role: Accessible.Tree
    Accessible.name: qsTr("Keywords")
    Keys.onSpacePressed: toggleExpanded(currentRow)
    delegate: Text {
        id: level

        required property TreeView treeView
        required property bool expanded
        required property bool hasChildren
        required property int depth
        required property int row
        required property bool current
        required property string displayName

        text: (hasChildren ? expanded ? "\u25be " : "\u25b8 " : "   ") + displayName
        leftPadding: 16 * depth
        font.bold: current
        Accessible.role: Accessible.TreeItem
        Accessible.name: displayName

        TapHandler {
            onTapped: level.treeView.toggleExpanded(level.row)
        }
    }
}
//! [tree]
