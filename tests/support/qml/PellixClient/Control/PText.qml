// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick

// The minimum that the components of the library require from an application's text element.
Text {
    objectName: "PText"
}
