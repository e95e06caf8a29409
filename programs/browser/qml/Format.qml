// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma Singleton

import QtQuick
import PellixClient.Keyword 1.0

/*
    Formats values, types, and times for people. Parameters that take a number or a date are of type var,
    because qmllint 6.4 crashes on the actual type.
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

    // The locale of the user, without group separators, so that numbers are shown and typed in the same way.
    function numberLocale(): var {
        const locale = Qt.locale();
        locale.numberOptions = Locale.OmitGroupSeparator;
        return locale;
    }

    // Uses at most the given number of digits, which hides the rounding errors of binary numbers.
    function roundedText(value: var, digits: int): string {
        const whole = Number.isInteger(value) && Math.abs(value) < 1e15;
        return value.toLocaleString(numberLocale(), whole ? "f" : "g", whole ? 0 : digits);
    }

    function numberText(value: var): string {
        return roundedText(value, 12);
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

    // For a narrow space: a number with few decimals, or a string on one line.
    function shortText(value: var): string {
        if (typeof value === "number" && !Number.isInteger(value))
            return roundedText(value, 6);
        return valueText(value).replace(/\s+/g, " ");
    }

    // The time in the format of the locale, with milliseconds.
    function time(date: var): string {
        if (isNaN(date.getTime()))
            return none;
        const locale = Qt.locale();
        let format = locale.timeFormat(Locale.ShortFormat);
        if (!format.includes("s"))
            format = format.replace(/(\W)mm/, "$1mm$1ss");
        return date.toLocaleTimeString(locale, format.replace("ss", "ss" + locale.decimalPoint + "zzz"));
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
        return perSecond.toLocaleString(numberLocale(), "f", perSecond >= 100 ? 0 : 1);
    }
}
