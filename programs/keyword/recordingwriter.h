// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QFile>
#include <QtCore/QString>

/*
    Writes a recording: JSON lines. The first is a heading,

        {"recording":1,"id":"...","part":1,"started":"2026-05-04T10:11:12.131Z","url":"ws://..."}

    Each other line contains an unchanged message, with the seconds since the start on a monotonic
    clock: {"t":1.234567,"message":{"cmd":...}}; {"t":1.3,"text":"..."} if it is not a JSON object;
    or {"t":2.5,"connection":"lost"} and "open". Each line is written to the system immediately and
    as a whole, so that nothing is lost if the program is killed.

    Older recordings without "id" and "part" have the same heading in all files.
*/
class RecordingWriter
{
public:
    // When a file has reached rotateSize, the next free number is appended to its name, and a new
    // file is begun. With 0, this never happens. The name "-" is standard output, which has no
    // limit.
    RecordingWriter(const QString &fileName, const QString &url, qint64 rotateSize);

    bool open(bool overwrite);
    bool write(qint64 nanoseconds, const char *member, const QByteArray &json);
    QString errorString() const { return error; } // empty if the reader of a pipe has exited
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
    int part = 0; // the current one
    int number = 0; // of the last full file
    qint64 headingSize = 0;
    qint64 size = 0;
    qint64 total = 0;
};
