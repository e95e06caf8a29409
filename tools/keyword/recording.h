// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QFile>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

#include <memory>

/*
    A recording: JSON lines. The first is a heading,

        {"recording":1,"started":"2026-05-04T10:11:12.131Z","url":"ws://127.0.0.1:8765"}

    and each other one a message as it came, with the seconds since the start by a clock that is
    never set: {"t":1.234567,"message":{"cmd":...}}; {"t":1.3,"text":"..."} if it is no JSON object;
    or {"t":2.5,"connection":"lost"} and "open". Each line is handed to the system as a whole and at
    once, so that nothing of it is lost with the program.
*/
class RecordingWriter
{
public:
    // A full file gets the next number behind its name, and a new one is begun; 0 for never.
    RecordingWriter(const QString &fileName, const QString &url, qint64 rotateSize);

    bool open(bool overwrite);
    bool write(qint64 nanoseconds, const char *member, const QByteArray &json);
    QString errorString() const { return error; }
    qint64 bytesWritten() const { return total; }

private:
    bool begin();
    bool writeLine(const QByteArray &line);
    bool rotate();
    QString numbered(int number) const;

    const QString fileName;
    const QString url;
    const qint64 rotateSize;
    QFile file;
    QString error;
    QByteArray heading;
    int files = 0; // that are full
    qint64 size = 0;
    qint64 total = 0;
};

class RecordingReader
{
public:
    struct Entry
    {
        double seconds = 0; // from the start of the first file
        QJsonObject message; // empty if it is of another kind
    };

    explicit RecordingReader(const QStringList &fileNames); // in their order of time

    bool next(Entry *entry); // false at the end, and when something is wrong
    QString errorString() const { return error; }
    void rewind();

private:
    bool openNext();
    bool fail(const QString &problem);

    const QStringList fileNames;
    qsizetype position = 0;
    std::unique_ptr<QFile> file;
    int line = 0;
    double offset = 0;
    double last = 0;
    QString error;
};
