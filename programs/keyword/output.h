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

// A value as text: strings are unchanged, everything else is JSON.
QByteArray plainText(const QJsonValue &value);
void appendJson(QByteArray &line, const QJsonValue &value);

/*
    Standard output, line by line: each line is written immediately and as a whole. This class
    formats rows as JSON and CSV; the commands format text. If the reader has exited, this is not
    an error.
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

    void line(const QByteArray &text); // without the line break
    void rawLine(const QByteArray &text); // the same, for text from a server
    void row(const Row &row); // in JSON or CSV
    void header(const QByteArray &columns); // of CSV; by default, from the first row
    QJsonValue word(const QString &word) const; // for a row; in CSV, null if empty
    QByteArray stamp();
    QJsonValue stampValue(); // a number for differences
    bool stamps() const { return time != TimeStamp::None; }
    void setTimeStamp(TimeStamp stamp) { time = stamp; }

    // Detects that the reader has exited even while there is nothing to write.
    void watchReader();

    // Called once: with an empty problem when the reader has exited, or with the reason when
    // writing has failed.
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

// Whether the descriptor is a terminal, which can show colors and progress.
bool isTerminal(int descriptor);

// Prints one line on standard error, which begins with the name of the program. Secrets in
// addresses are hidden, and characters that could harm a terminal are escaped.
void complain(const QString &message);
