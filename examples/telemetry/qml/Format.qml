// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma Singleton

import QtQuick
import PellixClient.Control

/* Formats values, durations, and conditions for display. */
QtObject {
    readonly property string none: "\u2014"

    readonly property var byteUnits: [qsTr("B"), qsTr("KiB"), qsTr("MiB"), qsTr("GiB"), qsTr("TiB")]

    function fixed(value: real, decimals: int): string {
        return isNaN(value) ? none : Number(value).toLocaleString(Qt.locale(), "f", decimals);
    }

    function magnitude(bytes: real): int {
        let index = 0;
        for (let rest = Math.abs(bytes); rest >= 1000 && index < byteUnits.length - 1; rest /= 1024)
            ++index;
        return index;
    }

    // The number and its unit separately, so that they can have different font sizes.
    function byteNumber(bytes: real): string {
        const index = magnitude(bytes);
        const scaled = bytes / Math.pow(1024, index);
        return fixed(scaled, index === 0 || scaled >= 100 ? 0 : 1);
    }

    function byteUnit(bytes: real): string {
        return byteUnits[magnitude(bytes)];
    }

    function bytes(bytes: real): string {
        return isNaN(bytes) ? none : byteNumber(bytes) + "\u202f" + byteUnit(bytes);
    }

    function duration(seconds: real): string {
        if (isNaN(seconds))
            return none;
        const minutes = Math.floor(seconds / 60);
        const hours = Math.floor(minutes / 60);
        const days = Math.floor(hours / 24);
        if (days > 0)
            return qsTr("%1 d %2 h").arg(days).arg(hours % 24);
        if (hours > 0)
            return qsTr("%1 h %2 min").arg(hours).arg(minutes % 60);
        return qsTr("%1 min %2 s").arg(minutes).arg(Math.floor(seconds % 60));
    }

    function conditionText(condition: int): string {
        switch (condition) {
        case LiveValue.Good: return qsTr("good");
        case LiveValue.Inconsistent: return qsTr("inconsistent");
        case LiveValue.Offline: return qsTr("offline");
        case LiveValue.Error: return qsTr("error");
        default: return qsTr("not connected");
        }
    }

    function conditionColor(condition: int): color {
        switch (condition) {
        case LiveValue.Good: return Theme.accent;
        case LiveValue.Inconsistent: return Theme.warning;
        case LiveValue.Offline: return Theme.blue;
        case LiveValue.Error: return Theme.error;
        default: return Theme.unknown;
        }
    }

    // A good value has the color of plain text; any other has the color of its condition.
    function valueColor(condition: int): color {
        return condition === LiveValue.Good ? Theme.text : conditionColor(condition);
    }
}
