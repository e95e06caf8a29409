// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control

/* Where the server is, to be changed at any time, and the look of the window. */
Pane {
    id: root

    required property Session session
    required property Preferences preferences

    function reset() {
        field.text = Array.from(session.addresses).join(" ");
    }

    function apply() {
        const addresses = session.parseAddresses(field.text);
        field.problem = session.problem(addresses);
        if (field.problem !== "")
            return;
        session.autoReconnect = true;
        session.addresses = addresses;
    }

    implicitHeight: Theme.dp(46)
    Component.onCompleted: reset()

    RowLayout {
        anchors {
            fill: parent
            leftMargin: Theme.gap
            rightMargin: Theme.gap
        }
        spacing: Theme.dp(8)

        PText {
            text: qsTr("Server")
            color: Theme.textSecondary
        }
        Field {
            id: field

            objectName: "addressField"
            placeholderText: qsTr("this machine, in this process \u2014 or ws://host:port, several one after another")
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
}
