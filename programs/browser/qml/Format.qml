// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma Singleton

import QtQuick
import PellixClient.Control
import PellixClient.Keyword 1.0

/*
    Values, types and times as people read them. Where a number or a date comes in as var, qmllint 6.4
    crashes on its real type.
*/
QtObject {
    readonly property string none: "\u2014"

    function typeText(type: int): string {
        switch (type) {
        case PKeyword.KVT_OBJECT: return qsTr("object");
        case PKeyword.KVT_BOOL: return qsTr("bool");
        case PKeyword.KVT_STRING: return qsTr("string");
        case PKeyword.KVT_DOUBLE: return qsTr("double");
        case PKeyword.KVT_INT: return qsTr("int");
        default: return qsTr("no type");
        }
    }

    function isNumber(type: int): bool {
        return type === PKeyword.KVT_DOUBLE || type === PKeyword.KVT_INT;
    }

    // With all digits that mean something, and none that only show how a computer stores a number.
    function numberText(value: var): string {
        return String(Number(value.toPrecision(12)));
    }

    function valueText(value: var): string {
        if (value === undefined || value === null)
            return none;
        switch (typeof value) {
        case "number": return numberText(value);
        case "object": return JSON.stringify(value);
        default: return String(value);
        }
    }

    // For a narrow place: a number with few decimals, a text in one line.
    function shortText(value: var): string {
        if (typeof value === "number" && !Number.isInteger(value))
            return String(Number(value.toPrecision(6)));
        return valueText(value).replace(/\s+/g, " ");
    }

    function time(date: var): string {
        return isNaN(date.getTime()) ? none : Qt.formatTime(date, "HH:mm:ss.zzz");
    }

    function ago(seconds: real): string {
        if (seconds < 1)
            return qsTr("just now");
        if (seconds < 120)
            return qsTr("%1 s ago").arg(Math.floor(seconds));
        if (seconds < 7200)
            return qsTr("%1 min ago").arg(Math.floor(seconds / 60));
        return qsTr("%1 h ago").arg(Math.floor(seconds / 3600));
    }

    function rate(perSecond: real): string {
        return perSecond.toFixed(perSecond >= 100 ? 0 : 1);
    }
}
