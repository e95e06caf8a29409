// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/settings.h"

#include <QtCore/QByteArray>
#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonValue>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

QT_BEGIN_NAMESPACE
class QSocketNotifier;
QT_END_NAMESPACE

// A line of standard output for programs: field names and values, in a fixed order.
using Row = std::vector<std::pair<const char *, QJsonValue>>;

// The written form of a value: texts as they are, everything else as JSON.
QByteArray plainText(const QJsonValue &value);
void appendJson(QByteArray &line, const QJsonValue &value);

/*
    Standard output, line by line: each line goes out at once, as a whole. JSON and CSV are made
    here from rows; text is up to the commands. A reader that has gone is no error.
*/
class Output
{
public:
    Output(Format format, TimeStamp time);
    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    Format format() const { return kind; }
    bool isText() const { return kind == Format::Text; }
    bool colored() const { return color; }

    void line(const QByteArray &text); // without its end
    void rawLine(const QByteArray &text); // the same, of a server
    void row(const Row &row); // of JSON or CSV
    void header(const QByteArray &columns); // of CSV, where the rows do not tell by themselves
    QJsonValue word(const QString &word) const; // in a row; as CSV, none is an empty field

    // The stamp of the event that is now to be printed; empty when none is wanted.
    QByteArray stamp();
    QJsonValue stampValue(); // a number, if it is a difference
    bool stamps() const { return time != TimeStamp::None; }
    void setTimeStamp(TimeStamp stamp) { time = stamp; }

    // Notices that the reader has gone also while there is nothing to write.
    void watchReader();

    // Called once when the reader has gone, or when writing failed for another reason, which is
    // then said.
    std::function<void(const QString &problem)> onEnd;

private:
    QByteArray harmless(const QByteArray &text) const;
    void write(const QByteArray &data);
    void end(const QString &problem);

    const Format kind;
    TimeStamp time;
    const bool toTerminal;
    const bool color;
    bool ended = false;
    bool headerPrinted = false;
    QByteArray buffer;
    qint64 stampedAt = -1; // milliseconds
    QByteArray lastStamp;
    QElapsedTimer sinceLine;
    std::unique_ptr<QSocketNotifier> reader;
};

// Whether colours and progress may be shown there.
bool isTerminal(int descriptor);

// One line on standard error, with the name of the program in front. Addresses lose their secrets,
// and what is harmful to a terminal is escaped.
void complain(const QString &message);
