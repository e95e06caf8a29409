// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [text]
import QtQuick

Text {
    font.bold: true
    verticalAlignment: Text.AlignVCenter
}
//! [text]
