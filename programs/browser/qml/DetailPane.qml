// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

/* Everything about one keyword: its value, its state, its history, and a panel to write it. */
Pane {
    id: root

    required property Session session
    required property Preferences preferences
    required property date now
    property string keyword
    required property int childCount // number of keywords below it; negative until known
    required property bool readOnly // as far as is known

    signal openRequested()
    signal trendRequested()

    readonly property bool pinned: Array.from(preferences.pinned).includes(keyword)
    readonly property string valueText: Format.valueText(stale ? history.lastValue : live.value)
    readonly property bool stale: history.known && !history.current
    // The server has replied, but there is no value: the keyword is a level, or does not exist.
    readonly property bool valueless: history.current && !history.known && !live.connected
                                      && live.valueType === PKeyword.KVT_NOPROP

    function focusWriting() {
        writing.focusField();
    }

    function exportCsv() {
        if (plot.plottable)
            exporting.open();
    }

    onKeywordChanged: plot.showNow()

    function togglePin() {
        if (keyword === "")
            return;
        if (pinned)
            preferences.unpin(keyword);
        else
            preferences.pin(keyword);
    }

    PKeywordProxy {
        id: live

        objectName: "live"
        client: root.session.client
        keyword: root.keyword
    }
    PKeywordProxy {
        id: label

        property string text // kept when the connection is lost

        client: root.session.client
        keyword: root.keyword === "" ? "" : root.keyword + "/Label"
        onKeywordChanged: text = ""
        onValueChanged: if (value) text = value
    }
    PKeywordHistories {
        id: histories

        client: root.session.client

        PKeywordHistory {
            id: history

            objectName: "history"
            keyword: root.keyword
        }
    }
    PKeywordWrite {
        id: writer

        client: root.session.client
        keyword: root.keyword
    }

    PText {
        anchors.centerIn: parent
        visible: root.keyword === ""
        text: qsTr("Select a keyword on the left")
        color: Theme.textSecondary
    }

    ColumnLayout {
        anchors {
            fill: parent
            margins: Theme.gap
        }
        visible: root.keyword !== ""
        spacing: Theme.dp(6)

        RowLayout {
            spacing: Theme.gap

            ColumnLayout {
                spacing: 0

                PText {
                    objectName: "titleText"
                    text: label.text !== "" ? label.text : root.keyword.slice(root.keyword.search(/[^\/#]*$/))
                    font.pixelSize: Theme.dp(17)
                    font.bold: true
                    Layout.fillWidth: true
                }
                TextEdit {
                    objectName: "keywordText"
                    text: root.keyword
                    readOnly: true
                    selectByMouse: true
                    color: Theme.textSecondary
                    selectionColor: Theme.accent
                    font.pixelSize: Theme.dp(12)
                    wrapMode: TextEdit.WrapAnywhere
                    textFormat: TextEdit.PlainText
                    Layout.fillWidth: true
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
            }
            PushButton {
                objectName: "openButton"
                visible: root.childCount > 0
                text: qsTr("%1 below \u203a").arg(root.childCount)
                tip: qsTr("List the children (Right)")
                Layout.alignment: Qt.AlignTop
                onClicked: root.openRequested()
            }
            PushButton {
                objectName: "trendButton"
                text: qsTr("Trend")
                tip: qsTr("Show all pinned keywords in one plot (Ctrl+T)")
                Layout.alignment: Qt.AlignTop
                onClicked: root.trendRequested()
            }
            PushButton {
                objectName: "pinButton"
                text: root.pinned ? qsTr("Unpin") : qsTr("Pin")
                tip: qsTr("Pin this keyword (Ctrl+D)")
                Layout.alignment: Qt.AlignTop
                onClicked: root.togglePin()
            }
        }

        PText {
            objectName: "valuelessText"
            visible: root.valueless
            text: root.childCount > 0 ? qsTr("This level has no value. Press Right to list its children.")
                                      : qsTr("This level has no value and no children.")
            color: Theme.textSecondary
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }
        RowLayout {
            visible: !root.valueless
            spacing: Theme.gap

            PText {
                id: valueText

                objectName: "valueText"
                text: root.valueText.replace(/\s+/g, " ")
                color: root.stale ? Theme.textFaint
                                  : live.error ? Theme.error
                                               : live.online && live.consistent ? Theme.text
                                                                                : Theme.warning
                font.pixelSize: Theme.dp(30)
                font.strikeout: root.stale
                fontSizeMode: Text.HorizontalFit
                minimumPixelSize: Theme.dp(12)
                Layout.fillWidth: true
                Layout.preferredHeight: Theme.dp(42)
            }
            Rectangle {
                objectName: "staleBadge"
                visible: root.stale
                implicitWidth: staleText.implicitWidth + Theme.dp(14)
                implicitHeight: Theme.dp(22)
                radius: height / 2
                color: Theme.error

                PText {
                    id: staleText

                    anchors.centerIn: parent
                    text: qsTr("last known value")
                    color: Theme.window
                    font.pixelSize: Theme.dp(12)
                    font.bold: true
                }
            }
            PText {
                objectName: "typeText"
                text: Format.typeText(history.known ? history.valueType : live.valueType)
                color: Theme.textSecondary
            }
            PushButton {
                objectName: "exportButton"
                visible: plot.plottable
                implicitHeight: Theme.dp(24)
                text: qsTr("CSV")
                tip: qsTr("Save the values as CSV (Ctrl+E)")
                onClicked: root.exportCsv()
            }
        }

        GridLayout {
            visible: !root.valueless
            columns: width >= Theme.dp(620) ? 4 : 2
            columnSpacing: Theme.gap
            rowSpacing: Theme.dp(2)

            StateFlag {
                objectName: "connectedFlag"
                name: qsTr("Connected")
                known: history.current
                good: live.connected
                goodText: qsTr("the server has a source")
                badText: qsTr("the server has no source")
                badColor: Theme.error
                Layout.fillWidth: true
                Layout.preferredWidth: 1
            }
            StateFlag {
                objectName: "onlineFlag"
                name: qsTr("Online")
                known: history.current
                good: live.online
                goodText: qsTr("its source delivers data")
                badText: qsTr("its source does not deliver data")
                Layout.fillWidth: true
                Layout.preferredWidth: 1
            }
            StateFlag {
                objectName: "consistentFlag"
                name: qsTr("Consistent")
                known: history.current
                good: live.consistent
                goodText: qsTr("consistent with all its sources")
                badText: qsTr("not consistent with all its sources")
                Layout.fillWidth: true
                Layout.preferredWidth: 1
            }
            StateFlag {
                objectName: "errorFlag"
                name: qsTr("Error")
                known: history.current
                good: !live.error
                goodText: qsTr("none")
                badText: qsTr("invalid, or a write was refused")
                badColor: Theme.error
                Layout.fillWidth: true
                Layout.preferredWidth: 1
            }
        }

        RowLayout {
            visible: !root.valueless
            spacing: Theme.dp(6)

            PText {
                objectName: "changeText"
                text: {
                    if (!history.known)
                        return qsTr("no value yet");
                    if (!history.watched) {
                        return isNaN(history.lastSeen.getTime())
                            ? qsTr("no source yet")
                            : qsTr("last seen %1, %2").arg(Format.time(history.lastSeen))
                                .arg(Format.ago((root.now - history.lastSeen) / 1000));
                    }
                    const time = Format.time(history.lastChange);
                    const ago = Format.ago((root.now - history.lastChange) / 1000);
                    return history.changeCount > 0 ? qsTr("last change %1, %2").arg(time).arg(ago)
                                                   : qsTr("not changed since %1, %2").arg(time).arg(ago);
                }
                color: Theme.textSecondary
                font.pixelSize: Theme.dp(12)
                Layout.fillWidth: true
            }
            PText {
                objectName: "changeRateText"
                visible: history.watched
                text: qsTr("%1 changes/s").arg(Format.rate(history.changesPerSecond))
                color: Theme.textSecondary
                font.pixelSize: Theme.dp(12)
            }
            SpanChoice {
                id: spanChoice

                visible: plot.plottable
                implicitHeight: Theme.dp(24)
                Layout.preferredWidth: Theme.dp(68)
                onActivated: plot.showNow()
            }
        }

        HistoryPlot {
            id: plot

            readonly property bool plottable: Format.isNumber(history.valueType)
                                              || history.valueType === PKeyword.KVT_BOOL

            objectName: "plot"
            visible: plottable
            histories: histories
            span: spanChoice.currentValue ?? 60
            colors: [root.stale ? Theme.unknown : Theme.accent]
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.minimumHeight: Theme.dp(70)
            Accessible.name: qsTr("History of %1").arg(root.keyword)
        }
        // A value that is too long for one line is shown in full, in place of the plot of a number.
        Flickable {
            id: longText

            objectName: "longText"
            visible: !plot.plottable && (valueText.truncated || root.valueText.includes("\n"))
            clip: true
            contentWidth: width
            contentHeight: longEdit.height
            boundsBehavior: Flickable.StopAtBounds
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.minimumHeight: Theme.dp(70)

            ScrollBar.vertical: Scroller { }

            TextEdit {
                id: longEdit

                objectName: "longEdit"
                width: longText.width - Theme.dp(10)
                text: root.valueText
                readOnly: true
                selectByMouse: true
                color: valueText.color
                selectionColor: Theme.accent
                selectedTextColor: Theme.window
                font.pixelSize: Theme.dp(13)
                wrapMode: TextEdit.Wrap
                textFormat: TextEdit.PlainText
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
        Item {
            visible: !plot.plottable && !longText.visible
            Layout.fillHeight: true
        }

        WritePanel {
            id: writing

            writer: writer
            valueType: history.known ? history.valueType : live.valueType
            value: live.value
            readOnly: root.readOnly
            visible: !root.valueless
            Layout.fillWidth: true
        }
    }

    ExportPopup {
        id: exporting

        objectName: "exportPopup"
        histories: histories
        plot: plot
        preferences: root.preferences
        baseName: root.keyword.slice(root.keyword.search(/[^\/#]*$/))
    }
}
