// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordtypes.h"
#include "programs/keyword/output.h"

#include <QtCore/QStringList>

// Prints events of keywords in the format of the output.
class EventPrinter
{
public:
    EventPrinter(Output *output, bool raw);

    // For JSON and CSV, rows among the events that tell of the connection. To be added at first.
    void addConnectionRows();
    void printConnection(const QString &state);

    void makeRoomFor(const QStringList &keywords); // in the text's columns
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

// A value for people: texts as they are, as far as that does no harm to a terminal.
QString shownValue(const QVariant &value);

QString typeName(pellix::client::PKeywordValueType type); // empty for none

// Whether the event says that the server knows no such keyword.
bool isUnknown(const pellix::client::PKeywordValue &event);
