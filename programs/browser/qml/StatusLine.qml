// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control

/* The state of the connection in one line. */
Pane {
    id: root

    required property Session session
    required property date now

    readonly property color tone: session.connected ? Theme.accent : Theme.error
    readonly property bool retrying: !session.connected && session.autoReconnect && !session.unusable

    implicitHeight: Theme.dp(30)

    RowLayout {
        anchors {
            fill: parent
            leftMargin: Theme.gap
            rightMargin: Theme.gap
        }
        spacing: Theme.dp(10)

        Rectangle {
            implicitWidth: Theme.dp(9)
            implicitHeight: implicitWidth
            radius: width / 2
            color: root.tone
        }
        PText {
            objectName: "connectionText"
            text: root.session.connected ? qsTr("Connected") : qsTr("Not connected")
            color: root.tone
            font.pixelSize: Theme.dp(12)
        }
        PText {
            objectName: "addressText"
            text: root.session.inProcess ? qsTr("server in this process") : root.session.shownAddress
            color: Theme.textSecondary
            font.pixelSize: Theme.dp(12)
            Layout.fillWidth: true
        }
        BusyIndicator {
            running: root.retrying
            visible: running
            implicitWidth: Theme.dp(22)
            implicitHeight: Theme.dp(22)
            padding: Theme.dp(2)
            palette.dark: Theme.error
        }
        PText {
            objectName: "retryText"
            visible: root.retrying
            text: root.session.retryIn > 0
                  ? qsTr("next attempt in %1 s").arg(Math.ceil(root.session.retryIn / 1000))
                  : qsTr("trying again")
            color: Theme.error
            font.pixelSize: Theme.dp(12)
        }
        CheckBox {
            id: reconnect

            objectName: "reconnectBox"
            visible: !root.session.inProcess
            text: qsTr("reconnect automatically")
            Accessible.name: text
            checked: root.session.autoReconnect
            font.pixelSize: Theme.dp(12)
            spacing: Theme.dp(6)
            padding: 0
            palette.windowText: Theme.textSecondary
            onToggled: {
                root.session.autoReconnect = checked;
                checked = Qt.binding(() => root.session.autoReconnect); // a click replaces the binding
            }

            indicator: Rectangle {
                y: (reconnect.height - height) / 2
                implicitWidth: Theme.dp(16)
                implicitHeight: implicitWidth
                radius: Theme.dp(3)
                color: Theme.window
                border.width: reconnect.visualFocus ? 2 : 1
                border.color: reconnect.visualFocus ? Theme.accent : Theme.textFaint

                PText {
                    anchors.centerIn: parent
                    text: reconnect.checked ? "\u2713" : ""
                    color: Theme.accent
                    font.bold: true
                }
            }
        }
        PText {
            objectName: "rateText"
            text: qsTr("%1 events/s").arg(Format.rate(root.session.eventsPerSecond))
            color: Theme.textSecondary
            font.pixelSize: Theme.dp(12)
            horizontalAlignment: Text.AlignRight
            Layout.minimumWidth: Theme.dp(90)
        }
    }
}
