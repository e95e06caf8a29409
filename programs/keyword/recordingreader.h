// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QFile>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

#include <memory>
#include <vector>

/*
    Reads a recording of a RecordingWriter. It may consist of several files, in any order, and a
    file may contain several parts one after the other. Each heading begins a part; the parts are
    sorted.
*/
class RecordingReader
{
public:
    struct Entry
    {
        double seconds = 0; // since the start of the recording, or of its first available part
        QJsonObject message; // empty for entries other than messages
    };

    explicit RecordingReader(const QStringList &fileNames);

    bool open(); // finds the parts
    bool next(Entry *entry); // false at the end, and if there is an error
    void rewind();
    QString errorString() const { return error; }
    QStringList missingParts() const; // parts missing between others, such as "2" or "4 to 7"

private:
    struct Part
    {
        QString fileName;
        int line = 0; // of its heading
        qint64 begin = 0; // of its first entry
        qint64 end = 0;
        QString id; // the same in all parts of a recording
        int number = 0; // 0 if the heading has none
        double firstTime = 0;
    };

    bool scan(const QString &fileName);
    bool sortParts();
    const Part &current() const { return parts.at(position - 1); }
    bool openPart();
    bool readLine(QByteArray *text);
    bool read(const QByteArray &text, Entry *entry);
    bool fail(const QString &problem);
    bool fail(const QString &fileName, int line, const QString &problem);

    const QStringList fileNames;
    std::vector<Part> parts; // in chronological order
    size_t position = 0; // of the next part
    std::unique_ptr<QFile> file;
    int line = 0;
    double start = 0;
    double last = 0;
    QString error;
};
