// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0

Item {
    id: root

    property PKeywordClient client
    property int tank: 1

    //! [postfix]
    PKeywordProxy {
        id: level
        objectName: "level"

        client: root.client
        keywordExpression: PPostfixKeywordExpression {
            value: "/plant/tank" + root.tank
            postfix: "level"
        }
    }
    //! [postfix]

    //! [aggregate]
    PKeywordProxy {
        id: highest
        objectName: "highest"

        client: root.client
        keywordExpression: PListPostfixKeywordExpression {
            values: ["/plant/tank1", "/plant/tank2", "/plant/tank3"]
            postfix: "level"
            aggregation: PKeyword.Max
        }
    }
    //! [aggregate]

    //! [same]
    PKeywordProxy {
        id: sameSetpoint
        objectName: "sameSetpoint"

        client: root.client
        keywordExpression: PListPostfixKeywordExpression {
            values: ["/plant/tank1", "/plant/tank2"]
            postfix: "setpoint"
            aggregation: PKeyword.Equal
        }
    }

    Text {
        objectName: "sameText"
        text: sameSetpoint.connected ? sameSetpoint.value ?? "different" : "–"
    }
    //! [same]
}
