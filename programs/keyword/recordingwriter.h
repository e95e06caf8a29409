// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QFile>
#include <QtCore/QString>

/*
    Writes a recording: JSON lines. The first is a heading,

        {"recording":1,"id":"...","part":1,"started":"2026-05-04T10:11:12.131Z","url":"ws://..."}

    and each other one a message as it came, with the seconds since the start by a clock that is
    never set: {"t":1.234567,"message":{"cmd":...}}; {"t":1.3,"text":"..."} if it is no JSON object;
    or {"t":2.5,"connection":"lost"} and "open". Each line is handed to the system as a whole and at
    once, so that nothing of it is lost with the program.

    Recordings made before there were "id" and "part" have the same heading in all their files.
*/
class RecordingWriter
{
public:
    // A full file gets the next free number behind its name, and a new one is begun; 0 for never.
    // The name "-" is standard output, which cannot be full.
    RecordingWriter(const QString &fileName, const QString &url, qint64 rotateSize);

    bool open(bool overwrite);
    bool write(qint64 nanoseconds, const char *member, const QByteArray &json);
    QString errorString() const { return error; } // empty when the reader of a pipe has gone
    qint64 bytesWritten() const { return total; }

private:
    bool begin();
    bool openFile();
    bool writeLine(QByteArray line);
    bool rotate();
    bool fail(const QString &problem);
    QByteArray nextHeading();
    QString freeName();

    const QString fileName;
    const bool isStandardOutput;
    const QString url;
    const qint64 rotateSize;
    QFile file;
    QString error;
    QString id;
    QString started;
    int part = 0; // that is being written
    int number = 0; // of the last full file
    qint64 headingSize = 0;
    qint64 size = 0;
    qint64 total = 0;
};
