// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control

/*
    The address of the server and the options for access, which can be changed at any time, and the appearance
    of the window. Secrets in addresses are shown only while they are typed, and a token is never shown.
*/
Pane {
    id: root

    required property Session session
    required property Preferences preferences

    function reset() {
        field.text = session.shown(session.addresses);
        caField.text = session.caFile;
        certificateField.text = session.certificateFile;
        keyField.text = session.keyFile;
        tokenField.clear();
    }

    function apply() {
        const addresses = session.parseAddresses(field.text);
        field.text = session.shown(addresses);
        field.problem = session.problem(addresses);
        if (field.problem !== "")
            return;
        session.autoReconnect = true;
        session.caFile = caField.text.trim();
        session.certificateFile = certificateField.text.trim();
        session.keyFile = keyField.text.trim();
        session.addresses = addresses;
        // The token is set last, because other addresses discard it.
        if (tokenField.text !== "")
            session.setToken(tokenField.text.trim());
        tokenField.clear();
        session.tryNow();
    }

    implicitHeight: line.height + (security.visible ? security.height : 0)
                    + (problemText.visible ? problemText.implicitHeight + Theme.dp(8) : 0)
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
            ToolTip.visible: false // the problem is shown below
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
            id: securityButton

            objectName: "securityButton"
            text: qsTr("TLS")
            tip: qsTr("Certificates and token")
            checkable: true
        }
        PushButton {
            text: root.preferences.dark ? "\u2600" : "\u263e"
            tip: root.preferences.dark ? qsTr("Light colors") : qsTr("Dark colors")
            onClicked: root.preferences.dark = !root.preferences.dark
        }
    }
    RowLayout {
        id: security

        anchors {
            top: line.bottom
            left: line.left
            right: line.right
        }
        visible: securityButton.checked
        height: Theme.dp(38)
        spacing: Theme.dp(8)

        Field {
            id: caField

            objectName: "caField"
            placeholderText: qsTr("authority (file)")
            Layout.fillWidth: true
            onAccepted: root.apply()
        }
        Field {
            id: certificateField

            objectName: "certificateField"
            placeholderText: qsTr("certificate (file)")
            Layout.fillWidth: true
            onAccepted: root.apply()
        }
        Field {
            id: keyField

            objectName: "keyField"
            placeholderText: qsTr("its key (file)")
            Layout.fillWidth: true
            onAccepted: root.apply()
        }
        Field {
            id: tokenField

            objectName: "tokenField"
            placeholderText: root.session.hasToken ? qsTr("token is set") : qsTr("token")
            echoMode: TextInput.Password
            inputMethodHints: Qt.ImhSensitiveData | Qt.ImhNoPredictiveText | Qt.ImhNoAutoUppercase
            Accessible.passwordEdit: true
            Accessible.description: placeholderText // Qt does not expose the name of a password field
            Layout.fillWidth: true
            onAccepted: root.apply()
        }
        PushButton {
            objectName: "forgetButton"
            text: qsTr("Forget token")
            enabled: root.session.hasToken
            onClicked: root.session.setToken("")
        }
    }
    PText {
        id: problemText

        objectName: "addressProblem"
        anchors {
            top: security.visible ? security.bottom : line.bottom
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
