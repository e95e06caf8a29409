// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QFile>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

#include <memory>
#include <vector>

/*
    Reads what a RecordingWriter wrote. A recording may be in several files, given in any order, and
    a file may hold several of them one after the other: each heading begins a part, and it is the
    parts that are put in order.
*/
class RecordingReader
{
public:
    struct Entry
    {
        double seconds = 0; // from the start of the recording, or of what there is of it
        QJsonObject message; // empty if it is of another kind
    };

    explicit RecordingReader(const QStringList &fileNames);

    bool open(); // finds the parts
    bool next(Entry *entry); // false at the end, and when something is wrong
    void rewind();
    QString errorString() const { return error; }
    QStringList missingParts() const; // between others, such as "2" or "4 to 7"

private:
    struct Part
    {
        QString fileName;
        int line = 0; // of its heading
        qint64 begin = 0; // of its first entry
        qint64 end = 0;
        QString id; // the same in all parts of a recording
        int number = 0; // 0 in a heading that has none
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
    std::vector<Part> parts; // in their order of time
    size_t position = 0; // of the next one
    std::unique_ptr<QFile> file;
    int line = 0;
    double start = 0;
    double last = 0;
    QString error;
};
