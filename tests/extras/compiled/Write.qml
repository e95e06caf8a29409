// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

// A write, read in the same ways as in applications.
Item {
    id: root

    property alias write: write
    property PKeywordClient client

    readonly property real currentOr: write.current ?? -1
    readonly property bool currentAbove: write.current >= 1000
    readonly property var currentDoubled: (write.current ?? 0) * 2
    readonly property string currentText: "n=" + write.current
    readonly property var askedOr: write.asked ?? "none"
    readonly property bool askedAbove: write.asked > 1000
    readonly property var receivedOr: write.received ?? "none"
    readonly property var receivedElement: write.received?.[1] ?? "none"
    readonly property bool receivedAbove: write.received > 1000
    readonly property bool isAsAsked: JSON.stringify(write.asked) === JSON.stringify(write.received)
    readonly property bool ready: write.ready
    readonly property bool taken: write.state === PKeywordWrite.Taken && !write.pending
    readonly property bool inTime: write.elapsed < write.confirmWithin
    readonly property string problem: write.problem
    property string handled

    PKeywordWrite {
        id: write

        client: root.client
        keyword: "/a"
        onFinished: root.handled = root.handled + "|" + (received ?? "none") + (asked >= 1000 ? "!" : "")
    }
}
