// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import PellixClient.Keyword 1.0

/*
    One live keyword, whose four state flags are combined into one condition, the worst one:

        LiveValue {
            id: load
            client: root.client
            keyword: "/machine/cpu/load"
        }

    If the connection is lost, the condition is NotConnected, and the number is NaN.
*/
PKeywordProxy {
    id: root

    enum Condition { Good, Inconsistent, Offline, Error, NotConnected }

    readonly property int condition: {
        if (!root.connected)
            return LiveValue.NotConnected;
        if (root.error)
            return LiveValue.Error;
        if (!root.online)
            return LiveValue.Offline;
        return root.consistent ? LiveValue.Good : LiveValue.Inconsistent;
    }
    readonly property bool known: root.connected && root.value !== undefined && root.value !== null
    readonly property real number: known ? Number(root.value) : NaN
    readonly property string text: known ? String(root.value) : ""
}
