// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQml.Models
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

/* All pinned keywords in one plot. The histories are recorded even while the pane is hidden. */
Pane {
    id: root

    required property Session session
    required property Preferences preferences

    signal closeRequested()

    function exportCsv() {
        if (histories.count > 0)
            exporting.open();
    }

    property var labels: ({}) // by keyword; kept when the connection is lost

    // Adds the keyword to a label that several keywords have.
    function nameLines() {
        const found = [];
        for (let i = 0; i < histories.count; ++i)
            found.push(labels[histories.at(i).keyword] ?? "");
        for (let i = 0; i < histories.count; ++i) {
            const keyword = histories.at(i).keyword;
            const unique = found.indexOf(found[i]) === found.lastIndexOf(found[i]);
            histories.at(i).name = unique ? found[i] : (found[i] + " " + keyword).trim();
        }
    }

    PKeywordHistories {
        id: histories

        objectName: "trendHistories"
        client: root.session.client
        keywords: root.preferences.pinned
        onHistoriesChanged: root.nameLines()
    }
    Instantiator {
        model: root.preferences.pinned
        delegate: PKeywordProxy {
            required property string modelData

            client: root.session.client
            keyword: modelData + "/Label"
            onValueChanged: {
                if (!value)
                    return;
                root.labels[modelData] = value;
                root.nameLines();
            }
        }
    }

    ColumnLayout {
        anchors {
            fill: parent
            margins: Theme.gap
        }
        spacing: Theme.dp(6)

        RowLayout {
            spacing: Theme.dp(6)

            PText {
                text: qsTr("Trend")
                font.pixelSize: Theme.dp(17)
                font.bold: true
                Layout.fillWidth: true
            }
            SpanChoice {
                id: spanChoice

                objectName: "trendSpan"
                implicitHeight: Theme.dp(30)
                onActivated: plot.showNow()
            }
            PushButton {
                objectName: "trendExport"
                enabled: histories.count > 0
                text: qsTr("Export")
                tip: qsTr("Save the values as CSV (Ctrl+E)")
                onClicked: root.exportCsv()
            }
            PushButton {
                objectName: "trendClose"
                text: qsTr("Details")
                tip: qsTr("Show the selected keyword (Ctrl+T)")
                onClicked: root.closeRequested()
            }
        }
        PText {
            objectName: "trendEmpty"
            visible: histories.count === 0
            text: qsTr("Nothing is pinned. Press Ctrl+D to pin the selected keyword.")
            color: Theme.textSecondary
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignHCenter
            Layout.fillWidth: true
            Layout.fillHeight: true
        }
        HistoryPlot {
            id: plot

            objectName: "trendPlot"
            visible: histories.count > 0
            histories: histories
            span: spanChoice.currentValue ?? 60
            legendVisible: true
            Layout.fillWidth: true
            Layout.fillHeight: true
            Accessible.name: qsTr("Trend of the pinned keywords")
        }
    }

    ExportPopup {
        id: exporting

        objectName: "trendExportPopup"
        histories: histories
        plot: plot
        preferences: root.preferences
        baseName: "keywords"
    }
}
