// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Templates as T
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword.Extras

/* Asks for a file, and saves histories to it. */
Popup {
    id: root

    required property PKeywordHistories histories
    required property PKeywordPlot plot
    required property Preferences preferences
    required property string baseName

    property string replaced // the existing file that the user has agreed to replace

    function save() {
        if (preferences.fileExists(file.text) && replaced !== file.text) {
            replaced = file.text;
            return;
        }
        const shown = range.currentValue === "shown";
        const saved = shown ? histories.saveCsv(file.text, plot.from, plot.to)
                            : histories.saveCsv(file.text);
        if (saved)
            close();
    }

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(Theme.dp(560), (parent?.width ?? 0) - 2 * Theme.gap)
    padding: Theme.padding
    modal: true
    focus: true
    onAboutToShow: {
        replaced = "";
        file.text = preferences.exportFile(baseName);
        file.problem = "";
    }
    onOpened: file.forceActiveFocus()

    background: Rectangle {
        color: Theme.card
        radius: Theme.radius
        border.width: 1
        border.color: Theme.cardBorder
    }

    // Its parts have ids, so it is created immediately, which is intended.
    contentItem: ColumnLayout { // qmllint disable deferred-property-id
        spacing: Theme.dp(8)

        PText {
            text: qsTr("Export values as CSV")
            font.pixelSize: Theme.dp(15)
            font.bold: true
            Layout.fillWidth: true
        }
        Field {
            id: file

            objectName: "exportFile"
            placeholderText: qsTr("File")
            Layout.fillWidth: true
            onTextChanged: problem = ""
            onAccepted: root.save()
        }
        PText {
            objectName: "exportProblem"
            visible: text !== ""
            text: root.replaced !== "" && root.replaced === file.text
                ? qsTr("This file already exists. Save again to replace it.") : file.problem
            color: file.problem !== "" ? Theme.error : Theme.warning
            wrapMode: Text.Wrap
            Layout.fillWidth: true
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        RowLayout {
            spacing: Theme.dp(6)

            Choice {
                id: range

                objectName: "exportRange"
                Layout.preferredWidth: Theme.dp(180)
                Accessible.name: qsTr("Which values")
                model: [
                    { text: qsTr("all values"), value: "all" },
                    { text: qsTr("the time shown"), value: "shown" }
                ]
            }
            Item {
                Layout.fillWidth: true
            }
            PushButton {
                text: qsTr("Cancel")
                onClicked: root.close()
            }
            PushButton {
                objectName: "exportSave"
                text: qsTr("Save")
                enabled: file.text !== ""
                onClicked: root.save()
            }
        }
    }

    Connections {
        target: root.histories

        function onErrorChanged() {
            file.problem = root.histories.error;
        }
    }
}
