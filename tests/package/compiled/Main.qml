// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0

// Keywords with values of each kind, and aggregates.
Item {
    id: root

    required property PKeywordClient client
    required property bool isAlwaysPlain

    Values { objectName: "true"; client: root.client; keyword: "/kinds/true" }
    Values { objectName: "false"; client: root.client; keyword: "/kinds/false" }
    Values { objectName: "int"; client: root.client; keyword: "/kinds/int" }
    Values { objectName: "zero"; client: root.client; keyword: "/kinds/zero" }
    Values { objectName: "large"; client: root.client; keyword: "/kinds/large"; isPlain: root.isAlwaysPlain }
    Values { objectName: "double"; client: root.client; keyword: "/kinds/double" }
    Values { objectName: "string"; client: root.client; keyword: "/kinds/string" }
    Values { objectName: "list"; client: root.client; keyword: "/kinds/list"; isPlain: root.isAlwaysPlain }
    Values { objectName: "map"; client: root.client; keyword: "/kinds/map"; isPlain: root.isAlwaysPlain }
    Values { objectName: "null"; client: root.client; keyword: "/kinds/null"; isPlain: root.isAlwaysPlain }
    Values { objectName: "nowhere"; client: root.client; keyword: "/kinds/nowhere"; isPlain: root.isAlwaysPlain }

    Values {
        objectName: "sum"
        client: root.client
        isPlain: root.isAlwaysPlain
        expression: PListPostfixKeywordExpression {
            values: ["/kinds/int", "/kinds/large"]
            aggregation: PKeyword.Sum
        }
    }
    Values {
        objectName: "max"
        client: root.client
        expression: PListPostfixKeywordExpression {
            values: ["/kinds/int", "/kinds/double"]
            aggregation: PKeyword.Max
        }
    }
    Values {
        objectName: "min"
        client: root.client
        expression: PListPostfixKeywordExpression {
            values: ["/kinds/int", "/kinds/double"]
            aggregation: PKeyword.Min
        }
    }
    Values {
        objectName: "equal"
        client: root.client
        isPlain: root.isAlwaysPlain
        becomesNull: !root.isAlwaysPlain
        expression: PListPostfixKeywordExpression {
            values: ["/kinds/int", "/kinds/same"]
            aggregation: PKeyword.Equal
        }
    }
    Values {
        objectName: "and"
        client: root.client
        expression: PListPostfixKeywordExpression {
            values: ["/kinds/true", "/kinds/false"]
            aggregation: PKeyword.And
        }
    }
    Values {
        objectName: "or"
        client: root.client
        expression: PListPostfixKeywordExpression {
            values: ["/kinds/true", "/kinds/false"]
            aggregation: PKeyword.Or
        }
    }

    Handlers { objectName: "handled int"; client: root.client; keyword: "/kinds/int" }
    Handlers { objectName: "handled double"; client: root.client; keyword: "/kinds/double" }
    Handlers { objectName: "handled string"; client: root.client; keyword: "/kinds/string" }
    Handlers { objectName: "handled list"; client: root.client; keyword: "/kinds/list" }
    Handlers { objectName: "handled map"; client: root.client; keyword: "/kinds/map" }
    Handlers { objectName: "handled null"; client: root.client; keyword: "/kinds/null" }
}
