// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

// Shows the keywords of the plant with their values. Activating a number adds it to the trend,
// or removes it.
TreeView {
    id: root

    required property PKeywordClient client
    required property PKeywordHistories histories

    //! [activate]
    // Expands or collapses a level, and adds a number to the trend or removes it.
    function activate(row: int) {
        const entry = itemAtCell(Qt.point(0, row));
        const chosen = histories.keywords;
        if (chosen.includes(entry?.keyword))
            histories.keywords = chosen.filter(keyword => keyword !== entry.keyword);
        else if (entry?.isNumber && !entry.isDrawn)
            histories.keywords = chosen.concat(entry.keyword);
        else
            toggleExpanded(row);
    }
    //! [activate]

    clip: true
    activeFocusOnTab: true
    boundsBehavior: Flickable.StopAtBounds
    reuseItems: false // otherwise, screen readers still find the rows of a collapsed level
    columnWidthProvider: () => width
    model: tree
    selectionModel: ItemSelectionModel { model: tree } // provides the current row for arrow keys
    Accessible.role: Accessible.Tree
    Accessible.name: qsTr("Keywords")

    Keys.onSpacePressed: activate(currentRow)
    Keys.onReturnPressed: activate(currentRow)
    onWidthChanged: forceLayout()

    //! [model]
    PKeywordTree {
        id: tree

        client: root.client
        keyword: "/plant"
    }
    //! [model]

    delegate: Rectangle {
        id: entry

        required property bool expanded
        required property bool hasChildren
        required property bool current
        required property int depth
        required property int row
        required property string keyword
        required property string displayName

        readonly property bool isNumber: typeof proxy.value === "number"
        readonly property bool isDrawn: root.histories.count > 0
                                        && root.histories.find(keyword) !== null
        readonly property string valueText: {
            switch (typeof proxy.value) {
            case "number":
                return Number(proxy.value.toFixed(1)).toString()
            case "boolean":
            case "string":
                return String(proxy.value)
            default:
                return ""
            }
        }

        implicitWidth: root.width
        implicitHeight: line.implicitHeight + Theme.gap
        radius: Theme.gap / 2
        color: current ? Theme.control : "transparent"
        border.width: current && root.activeFocus ? 2 : 0
        border.color: Theme.accent
        Accessible.role: Accessible.TreeItem
        Accessible.selectable: true
        Accessible.selected: current
        Accessible.name: valueText ? qsTr("%1: %2", "name: value").arg(displayName).arg(valueText)
                                   : displayName
        Accessible.description: isDrawn ? qsTr("In the trend") : ""

        //! [row]
        PKeywordProxy {
            id: proxy

            client: root.client
            keyword: entry.keyword
        }
        //! [row]

        RowLayout {
            id: line

            anchors.fill: parent
            anchors.leftMargin: Theme.gap * (1 + 2 * entry.depth)
            anchors.rightMargin: Theme.gap
            spacing: Theme.gap

            Label {
                text: entry.hasChildren ? entry.expanded ? "▾" : "▸" : entry.isDrawn ? "✓" : ""
                color: entry.isDrawn ? Theme.accent : Theme.secondary
                Layout.preferredWidth: 2 * Theme.gap
                Accessible.ignored: true
            }
            Label {
                Layout.fillWidth: true
                text: entry.displayName
                textFormat: Text.PlainText
                elide: Text.ElideRight
                Accessible.ignored: true
            }
            Label {
                Layout.maximumWidth: entry.width / 3
                text: entry.valueText
                textFormat: Text.PlainText
                elide: Text.ElideRight
                font.pixelSize: Theme.small
                color: Theme.secondary
                Accessible.ignored: true
            }
        }
        TapHandler {
            onTapped: root.activate(entry.row)
        }
    }
}
