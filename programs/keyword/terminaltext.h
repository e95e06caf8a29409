// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

// What a text does to a terminal. Those of a server may hold anything: escape sequences that write
// to the clipboard or over other lines, and characters that turn the direction of what follows.

// Whether the character at this position does more than show itself.
bool isHarmful(const QString &text, qsizetype position);

enum class LineEnds {
    Escaped,
    Kept // and tabs
};

// The text with what is harmful written as \u001b, as in JSON.
QString withoutHarm(const QString &text, LineEnds lineEnds = LineEnds::Escaped);

// The text as it is, or as a JSON string if anything in it is harmful.
QString shownText(const QString &text);

// How many columns the text takes: characters of East Asia and emoji take two, accents that join
// the character before them none.
qsizetype columnsOf(const QString &text);

QByteArray padded(const QString &text, qsizetype columns); // with blanks at the end
