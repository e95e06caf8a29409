// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0

Item {
    readonly property bool live: level.connected && level.valueType === PKeyword.KVT_INT

    PKeywordProxy {
        id: level
    }
}
