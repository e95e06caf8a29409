// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0
import "../../docs/snippets/withoutcpp"

/*
    The window of a guide, for the address in the last argument of the program. It prints its texts, changes
    the setpoint, and exits when the server has replied.
*/
Tank {
    id: root

    address: Qt.application.arguments[Qt.application.arguments.length - 1]
    onTextChanged: print("level " + text)

    PWebSocketKeywordClient {
        id: server
        urls: [root.address]
    }
    PKeywordProxy {
        id: setpoint

        property int answers: 0

        client: server
        keyword: "/plant/tank1/setpoint"
        onValueChanged: {
            if (value === undefined)
                return;
            print("setpoint " + value + (valueType === PKeyword.KVT_DOUBLE ? ", a double" : ""));
            if (++answers === 1)
                updateRelative(-7);
        }
    }
    Timer {
        // Not from the handler, because an engine that is still loading ignores it.
        interval: 0
        running: setpoint.answers === 2 && root.text !== "no value"
        onTriggered: Qt.quit()
    }
}
