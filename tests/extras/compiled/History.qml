// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

// A history, read in the same ways as in applications.
Item {
    id: root

    property PKeywordClient client

    readonly property real lastOr: history.lastValue ?? -1
    readonly property bool lastAbove: history.lastValue >= 1000
    readonly property var lastDoubled: (history.lastValue ?? 0) * 2
    readonly property string lastText: "n=" + history.lastValue
    readonly property var element: history.lastValue?.[1] ?? "none"
    readonly property int type: history.valueType
    readonly property bool ready: history.known && history.current && history.watched
    readonly property int samples: history.sampleCount
    readonly property real mean: history.sampleCount > 0 ? history.statistics().mean : -1
    readonly property bool atLeast: history.sampleCount > 0 && history.statistics().maximum >= 1000
    readonly property int count: histories.count
    readonly property string name: histories.at(0)?.name ?? "none"
    readonly property bool following: plot.following && plot.span === 600
    property bool changed

    PKeywordHistories {
        id: histories

        client: root.client

        PKeywordHistory {
            id: history

            keyword: "/a"
            name: "A"
            onChanged: root.changed = lastValue !== undefined
        }
    }
    PKeywordPlot {
        id: plot

        width: 300
        height: 200
        span: 600
        histories: histories
    }
}
