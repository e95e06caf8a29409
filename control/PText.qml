// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Theme

/*!
    \qmltype PText
    \inqmlmodule PellixClient.Control
    \inherits Text
    \brief Shows plain, elided text in the color and size of the Theme.

    PKeywordPath and PKeywordPathList show their texts with it.
*/
Text {
    color: Theme.text
    font.pixelSize: Theme.dp(13)
    verticalAlignment: Text.AlignVCenter
    textFormat: Text.PlainText
    elide: Text.ElideRight
}
