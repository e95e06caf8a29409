// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0

/* A keyword that keeps its last value when the connection is lost. */
PKeywordProxy {
    property var lastValue

    onClientChanged: lastValue = undefined
    onKeywordChanged: lastValue = undefined
    onValueChanged: {
        if (value !== undefined) // null is a value, too
            lastValue = value;
    }
}
