// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0

/* A value that the server computes from all pinned keywords. */
ColumnLayout {
    id: root

    required property Session session
    required property Preferences preferences

    readonly property int count: preferences.pinned.length

    spacing: Theme.dp(4)

    readonly property bool stale: !session.connected
    readonly property bool lastKnown: live.lastValue !== undefined && live.lastValue !== null

    WatchedKeyword {
        id: live

        objectName: "aggregate"
        client: root.session.client
        keywordExpression: PListPostfixKeywordExpression {
            values: root.preferences.pinned
            aggregation: root.preferences.aggregation
        }
    }

    RowLayout {
        spacing: Theme.dp(6)

        PText {
            text: qsTr("Aggregate")
            color: Theme.textSecondary
        }
        Choice {
            objectName: "modeChoice"
            Layout.fillWidth: true
            Accessible.name: qsTr("Mode of the aggregate")
            model: [
                { text: qsTr("minimum"), value: PKeyword.Min },
                { text: qsTr("maximum"), value: PKeyword.Max },
                { text: qsTr("equal"), value: PKeyword.Equal },
                { text: qsTr("sum"), value: PKeyword.Sum },
                { text: qsTr("and"), value: PKeyword.And },
                { text: qsTr("or"), value: PKeyword.Or }
            ]
            currentIndex: root.preferences.aggregation - PKeyword.Min
            onActivated: root.preferences.aggregation = currentValue
        }
    }
    PText {
        objectName: "aggregateText"
        visible: root.count >= 2
        text: Format.shortText(root.stale ? live.lastValue : live.value)
        color: root.stale ? Theme.textFaint
                          : live.error ? Theme.error : live.connected ? Theme.text : Theme.textFaint
        font.strikeout: root.stale && root.lastKnown
        font.pixelSize: Theme.dp(26)
        fontSizeMode: Text.HorizontalFit
        minimumPixelSize: Theme.dp(11)
        Layout.fillWidth: true
    }
    PText {
        text: {
            if (root.count < 2)
                return qsTr("Pin two keywords or more.");
            if (root.stale)
                return root.lastKnown ? qsTr("last known value") : qsTr("not connected");
            if (live.error)
                return qsTr("error: these keywords cannot be aggregated");
            if (!live.connected)
                return qsTr("unknown");
            return live.value !== undefined && live.value !== null
                ? qsTr("over %1 keywords").arg(root.count)
                : qsTr("no value over %1 keywords").arg(root.count);
        }
        color: live.error && !root.stale ? Theme.error : Theme.textSecondary
        font.pixelSize: Theme.dp(12)
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
    }
    Item {
        Layout.fillHeight: true
    }
}
