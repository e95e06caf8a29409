// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordtypes.h"
#include "programs/keyword/output.h"

#include <QtCore/QStringList>

// Prints the events of keywords in the format of the output.
class EventPrinter
{
public:
    EventPrinter(Output *output, bool raw);

    // For JSON and CSV: adds rows for lost and restored connections. Call this function before you
    // print anything.
    void addConnectionRows();
    void printConnection(const QString &state);

    void makeRoomFor(const QStringList &keywords); // widens the columns of the text format
    void makeRoomFor(const pellix::client::PKeywordValue &event);
    void print(const QString &keyword, const pellix::client::PKeywordValue &event);

private:
    QByteArray textLine(const QString &keyword, const pellix::client::PKeywordValue &event);

    Output *const output;
    const bool raw;
    qsizetype keywordWidth = 0;
    qsizetype valueWidth = 0;
    Row row;
    Row connectionRow;
};

// A value for people: strings are unchanged, except for characters that could harm a terminal.
QString shownValue(const QVariant &value);

QString typeName(pellix::client::PKeywordValueType type); // empty for none

// Whether the event means that the server has no such keyword.
bool isUnknown(const pellix::client::PKeywordValue &event);
