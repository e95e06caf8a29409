// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick

// The least that the library's components expect of a host's text element.
Text {
    objectName: "PText"
}
