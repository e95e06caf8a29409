// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Controls.Basic
import PellixClient.Control
import PellixClient.Keyword 1.0

/* One level of a path, shown by its label. A click opens it. */
AbstractButton {
    id: root

    required property int index
    required property string keyword
    required property string partDisplay

    required property PKeywordClient client

    signal openRequested()

    text: label.text !== "" ? label.text : partDisplay
    leftPadding: Theme.dp(3)
    rightPadding: Theme.dp(3)
    focusPolicy: Qt.NoFocus // "up" opens the same levels with the keyboard
    Accessible.name: qsTr("List the children of %1").arg(text)
    onClicked: openRequested()

    contentItem: PText {
        text: (root.index > 0 ? "\u203a " : "") + root.text
        color: root.hovered ? Theme.accent : Theme.text
        font.underline: root.hovered
    }

    PKeywordProxy {
        id: label

        property string text // kept when the connection is lost

        client: root.client
        keyword: root.keyword + "/Label"
        onClientChanged: text = ""
        onValueChanged: if (value) text = value
    }
}
