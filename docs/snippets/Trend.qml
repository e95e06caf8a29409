// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [trend]
import QtQuick
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

Column {
    id: root

    property PKeywordClient client

    PKeywordPlot {
        objectName: "plot"
        width: 600
        height: 300
        span: 600
        histories: past
    }
    Text {
        objectName: "mean"
        text: "mean level " + (level.sampleCount > 0 ? level.statistics().mean.toFixed(1) : "unknown")
    }

    PKeywordHistories {
        id: past
        objectName: "past"

        client: root.client
        keywords: ["/plant/tank1/setpoint"]

        PKeywordHistory {
            id: level

            keyword: "/plant/tank1/level"
            name: qsTr("Level")
        }
    }

    function save(path: string): string {
        return past.saveCsv(path) ? qsTr("saved") : past.error;
    }
}
//! [trend]
