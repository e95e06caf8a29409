// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0

/*
    The path of the listed level. Its levels can be opened with a click; a click next to them edits the path.
*/
RowLayout {
    id: root

    required property PKeywordClient client
    required property string keyword

    signal opened(string keyword)
    signal upRequested()

    function edit() {
        field.text = keyword;
        field.visible = true;
        field.forceActiveFocus();
        field.selectAll();
    }

    spacing: Theme.dp(6)

    PushButton {
        objectName: "upButton"
        text: "\u2191"
        tip: qsTr("One level up (Left)")
        enabled: root.keyword !== "/"
        onClicked: root.upRequested()
    }
    Item {
        implicitHeight: Theme.dp(30)
        Layout.fillWidth: true

        Flickable {
            id: flickable

            anchors.fill: parent
            visible: !field.visible
            clip: true
            contentWidth: path.width
            contentHeight: height
            boundsBehavior: Flickable.StopAtBounds
            // The end of a long path is the relevant part.
            contentX: Math.max(0, contentWidth - width)

            ScrollBar.horizontal: Scroller {
                implicitHeight: Theme.dp(5)
            }

            TapHandler {
                onTapped: root.edit()
            }
            Row {
                id: path

                objectName: "path"

                Repeater {
                    model: PKeywordPathModel {
                        keyword: root.keyword
                    }
                    delegate: PathLevel {
                        client: root.client
                        height: flickable.height
                        onOpenRequested: root.opened(keyword)
                    }
                }
            }
        }
        PText {
            anchors.fill: parent
            visible: !field.visible && root.keyword === "/"
            text: qsTr("All keywords")
            color: Theme.textSecondary

            TapHandler {
                onTapped: root.edit()
            }
        }
        Field {
            id: field

            objectName: "pathField"
            anchors.fill: parent
            visible: false
            placeholderText: qsTr("path, such as /plant/tank1")
            onAccepted: {
                visible = false;
                root.opened(text);
            }
            onActiveFocusChanged: if (!activeFocus) visible = false
            Keys.onEscapePressed: visible = false
        }
    }
}
