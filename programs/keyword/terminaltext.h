// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

// Functions to print texts safely on a terminal. A string from a server can contain anything:
// escape sequences that write to the clipboard or over other lines, and characters that change the
// direction of the following text.

// Whether the character at this position affects a terminal in any other way than by being shown.
bool isHarmful(const QString &text, qsizetype position);

enum class LineEnds {
    Escaped,
    Kept // and tabs
};

// The text, with harmful characters escaped as in JSON, such as \u001b.
QString withoutHarm(const QString &text, LineEnds lineEnds = LineEnds::Escaped);

// The unchanged text, or a JSON string if it contains harmful characters.
QString shownText(const QString &text);

// The number of columns of the text: East Asian characters and emoji take two, combining characters
// none.
qsizetype columnsOf(const QString &text);

QByteArray padded(const QString &text, qsizetype columns); // with spaces at the end
