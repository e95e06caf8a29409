// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQml
import PellixClient.Keyword 1.0

QtObject {
    id: root

    property PKeywordClient client: null

    property PKeywordProxy level: PKeywordProxy {
        client: root.client
        keyword: "/level"
        onValueChanged: root.changes += 1
    }
    property PKeywordProxy setpoint: PKeywordProxy {
        client: root.client
        keyword: "/setpoint"
    }

    property string text: level.value?.toFixed(1) ?? "no value"
    property int setpointNumber: setpoint.value ?? -1
    property bool isInt: level.valueType === PKeyword.KVT_INT
    property int changes: 0

    // One object of each other type
    property list<QtObject> others: [
        PWebSocketKeywordClient { autoReconnect: false },
        PInProcessKeywordClient { },
        PKeywordPathModel { keyword: "/a/b" },
        PKeywordQueryFilterProxyModel {
            filter: "x"
            sourceModel: PKeywordQueryModel { filterType: PKeyword.KVT_INT }
        },
        PListPostfixKeywordExpression {
            values: ["/level", "/setpoint"]
            postfix: "/x"
            aggregation: PKeyword.Sum
        },
        PKeywordProxy {
            keywordExpression: PPostfixKeywordExpression { value: "/level"; postfix: "/y" }
        },
        PKeywordExpression { value: "/z" }
    ]
}
