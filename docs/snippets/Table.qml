// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

Column {
    id: root

    property PKeywordClient client

    TextField {
        id: pattern
        objectName: "pattern"
        text: "/plant/*/setpoint"
        Accessible.name: qsTr("Keywords of the table")
    }
    HorizontalHeaderView {
        syncView: view
        clip: true
        activeFocusOnTab: false
    }
    //! [table]
    TableView {
        id: view
        objectName: "table"
        width: 480
        height: 200
        clip: true
        activeFocusOnTab: false // the cells that can be edited have it
        model: PKeywordTable {
            id: table
            client: root.client
            keywords: [pattern.text]
        }
        columnWidthProvider: column => [PKeywordTable.KeywordColumn, PKeywordTable.ValueColumn,
                                        PKeywordTable.OutcomeColumn].includes(column) ? 160 : 0
        delegate: TextField {
            id: cell
            required property string display
            required property bool writableType
            required property int row
            required property int column
            property bool edited: false

            readOnly: column !== PKeywordTable.ValueColumn || !writableType
            activeFocusOnTab: !readOnly
            Accessible.name: table.headerData(column, Qt.Horizontal)

            // What the user is typing remains when a new value arrives.
            Binding on text {
                when: !cell.edited
                value: cell.display
                restoreMode: Binding.RestoreNone
            }
            onTextEdited: edited = true
            onAccepted: {
                table.write(row, text);
                edited = false;
            }
            onActiveFocusChanged: edited = false
            Keys.onEscapePressed: edited = false
            TableView.onPooled: edited = false
        }
    }
    //! [table]
}
