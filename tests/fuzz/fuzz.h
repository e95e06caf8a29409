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
    Code shared by all fuzz targets. A target implements runInput(), which is called for one input
    after the other, by libFuzzer or, in an ordinary build, by replay.cpp with the files in its
    corpus. It reports errors with FUZZ_CHECK(). Warnings of the library or of Qt are also errors.
*/
void runInput(const QByteArray &input);

// Ends the process like a crash if the condition does not hold.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);    \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

// The object after Qt has written and read it: Qt treats U+FEFF at the beginning of a string as a
// byte order mark, and does not keep lone surrogates.
inline QJsonObject reread(const QJsonObject &object)
{
    return QJsonDocument::fromJson(QJsonDocument(object).toJson()).object();
}

inline QString reread(const QString &text)
{
    const QString name = QStringLiteral("text");
    return reread(QJsonObject {{name, text}}).value(name).toString();
}

// Splits an input into lines. Inputs are text, so that corpora can be read and written by hand: one
// step per line.
class Lines
{
public:
    explicit Lines(const QByteArray &input) : lines(input.split('\n')) { }

    bool atEnd() const { return next >= lines.size(); }
    QByteArray bytes() { return atEnd() ? QByteArray() : lines.at(next++); }

    // UTF-8; a line that begins with byte 1 contains UTF-16 code units, for invalid strings.
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
