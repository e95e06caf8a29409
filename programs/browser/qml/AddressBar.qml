// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control

/*
    Where the server is, to be changed at any time, and the look of the window. Secrets in addresses are
    shown while they are typed only.
*/
Pane {
    id: root

    required property Session session
    required property Preferences preferences

    function reset() {
        field.text = session.shown(session.addresses);
    }

    function apply() {
        const addresses = session.parseAddresses(field.text);
        field.text = session.shown(addresses);
        field.problem = session.problem(addresses);
        if (field.problem !== "")
            return;
        session.autoReconnect = true;
        session.addresses = addresses;
    }

    implicitHeight: line.height + (problemText.visible ? problemText.implicitHeight + Theme.dp(8) : 0)
    Component.onCompleted: reset()

    RowLayout {
        id: line

        anchors {
            left: parent.left
            leftMargin: Theme.gap
            right: parent.right
            rightMargin: Theme.gap
        }
        height: Theme.dp(46)
        spacing: Theme.dp(8)

        PText {
            text: qsTr("Server")
            color: Theme.textSecondary
        }
        Field {
            id: field

            objectName: "addressField"
            placeholderText: qsTr("ws://host:port, or nothing for this machine")
            ToolTip.visible: false // the problem is told below
            Layout.fillWidth: true
            onTextEdited: problem = ""
            onAccepted: root.apply()
            Keys.onEscapePressed: {
                problem = "";
                root.reset();
            }
        }
        PushButton {
            objectName: "connectButton"
            text: qsTr("Connect")
            onClicked: root.apply()
        }
        PushButton {
            objectName: "disconnectButton"
            text: qsTr("Disconnect")
            enabled: !root.session.inProcess && (root.session.connected || root.session.autoReconnect)
            onClicked: root.session.disconnectFromServer()
        }
        PushButton {
            text: root.preferences.dark ? "\u2600" : "\u263e"
            tip: root.preferences.dark ? qsTr("Light colours") : qsTr("Dark colours")
            onClicked: root.preferences.dark = !root.preferences.dark
        }
    }
    PText {
        id: problemText

        objectName: "addressProblem"
        anchors {
            top: line.bottom
            left: line.left
            right: line.right
        }
        visible: text !== ""
        text: field.problem
        color: Theme.error
        wrapMode: Text.Wrap
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }
}
