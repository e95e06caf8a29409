// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>

#include <cstdio>
#include <cstdlib>

/*
    What a fuzz target shares with the others. A target implements runInput(); it is called with one
    input after the other, by libFuzzer or, in an ordinary build, by replay.cpp with the files of
    its corpus. It reports by FUZZ_CHECK(); a warning of the library or of Qt counts as well.
*/
void runInput(const QByteArray &input);

// Ends the process, as a crash would, when what must hold does not.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);    \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

// What is left of an object that Qt has written and read: it takes a U+FEFF at the beginning of a
// text for a byte order mark, and has no place for lone surrogates.
inline QJsonObject reread(const QJsonObject &object)
{
    return QJsonDocument::fromJson(QJsonDocument(object).toJson()).object();
}

inline QString reread(const QString &text)
{
    const QString name = QStringLiteral("text");
    return reread(QJsonObject {{name, text}}).value(name).toString();
}

// Takes an input apart. Text so that corpora can be read and written by hand: one step a line.
class Lines
{
public:
    explicit Lines(const QByteArray &input) : lines(input.split('\n')) { }

    bool atEnd() const { return next >= lines.size(); }
    QByteArray bytes() { return atEnd() ? QByteArray() : lines.at(next++); }

    // UTF-8; a line that begins with byte 1 is UTF-16 code units, for texts that are no valid ones.
    QString text()
    {
        const QByteArray line = bytes();
        if (!line.startsWith('\1'))
            return QString::fromUtf8(line);
        QString result;
        for (qsizetype i = 1; i + 1 < line.size(); i += 2)
            result += QChar(uchar(line.at(i)), uchar(line.at(i + 1)));
        return result;
    }

private:
    const QList<QByteArray> lines;
    qsizetype next = 0;
};
