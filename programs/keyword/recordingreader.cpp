// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/recordingreader.h"

#include <QtCore/QJsonDocument>

#include <algorithm>

namespace {

constexpr double longestTime = 10 * 366 * 86400.0; // seconds: ten years

QJsonObject headingOf(const QByteArray &text)
{
    const QJsonObject object = QJsonDocument::fromJson(text).object();
    return object.value(QLatin1String("recording")).toInt() == 1 ? object : QJsonObject();
}

// Returns the heading in a line after the first. It may follow an incomplete entry, if the program
// was killed and the files were concatenated later.
QJsonObject laterHeadingIn(const QByteArray &line)
{
    const qsizetype at = line.indexOf("{\"recording\":");
    const bool isWithinAnEntry = at > 0 && !QJsonDocument::fromJson(line).isNull();
    return at < 0 || isWithinAnEntry ? QJsonObject() : headingOf(line.mid(at));
}

// In older recordings without "id", all files have the same heading.
QString idOf(const QJsonObject &heading)
{
    QString id = heading.value(QLatin1String("id")).toString();
    if (!id.isEmpty())
        return id;
    return heading.value(QLatin1String("started")).toString() + QLatin1Char(' ')
        + heading.value(QLatin1String("url")).toString();
}

double timeOf(const QByteArray &entry)
{
    return QJsonDocument::fromJson(entry).object().value(QLatin1String("t")).toDouble();
}

// If the program was killed, the last line of a file may be incomplete.
bool isCut(const QByteArray &line)
{
    return !line.endsWith('\n') && QJsonDocument::fromJson(line).isNull();
}

} // namespace

RecordingReader::RecordingReader(const QStringList &fileNames) : fileNames(fileNames) { }

bool RecordingReader::fail(const QString &fileName, int line, const QString &problem)
{
    error = QStringLiteral("%1, line %2: %3").arg(fileName).arg(line).arg(problem);
    return false;
}

bool RecordingReader::fail(const QString &problem)
{
    return fail(current().fileName, line, problem);
}

bool RecordingReader::open()
{
    for (const QString &name : fileNames) {
        if (!scan(name))
            return false;
    }
    if (!sortParts())
        return false;
    rewind();
    return true;
}

// Reads only the headings, and the first entry after each of them.
bool RecordingReader::scan(const QString &fileName)
{
    QFile scanned(fileName);
    if (!scanned.open(QIODevice::ReadOnly)) {
        error = fileName + QLatin1String(": ") + scanned.errorString();
        return false;
    }
    QJsonObject heading = headingOf(scanned.readLine());
    if (heading.isEmpty())
        return fail(fileName, 1, QStringLiteral("not a recording"));
    int number = 1;
    bool isFirstEntry = true;
    const auto add = [&] {
        parts.push_back({fileName, number, scanned.pos(), scanned.size(), idOf(heading),
                         heading.value(QLatin1String("part")).toInt(), 0});
        isFirstEntry = true;
    };
    add();
    while (!scanned.atEnd()) {
        const qint64 begin = scanned.pos();
        const QByteArray text = scanned.readLine();
        ++number;
        heading = laterHeadingIn(text);
        if (!heading.isEmpty()) {
            parts.back().end = begin;
            add();
        } else if (isFirstEntry && !text.trimmed().isEmpty()) {
            parts.back().firstTime = timeOf(text);
            isFirstEntry = false;
        }
    }
    return true;
}

// Parts without a number are sorted by their times.
bool RecordingReader::sortParts()
{
    for (const Part &part : parts) {
        if (part.id != parts.front().id)
            return fail(part.fileName, part.line,
                        QStringLiteral("part of a different recording than ")
                            + parts.front().fileName);
    }
    std::stable_sort(parts.begin(), parts.end(), [](const Part &a, const Part &b) {
        return a.number != b.number ? a.number < b.number : a.firstTime < b.firstTime;
    });
    for (size_t i = 1; i < parts.size(); ++i) {
        const Part &part = parts.at(i), &before = parts.at(i - 1);
        if (part.number > 0 && part.number == before.number)
            return fail(part.fileName, part.line,
                        QStringLiteral("part %1 is given twice; it is in %2 as well")
                            .arg(part.number)
                            .arg(before.fileName));
    }
    return true;
}

QStringList RecordingReader::missingParts() const
{
    QStringList missing;
    for (size_t i = 1; i < parts.size(); ++i) {
        const int from = parts.at(i - 1).number + 1, to = parts.at(i).number - 1;
        if (from == to)
            missing.append(QString::number(from));
        else if (from < to)
            missing.append(QStringLiteral("%1 to %2").arg(from).arg(to));
    }
    return missing;
}

void RecordingReader::rewind()
{
    file.reset();
    position = 0;
    // If the first parts are missing, skip the time that they took.
    start = parts.front().number > 1 ? parts.front().firstTime : 0;
    last = 0;
    error.clear();
}

bool RecordingReader::openPart()
{
    const Part &part = parts.at(position++);
    line = part.line;
    file = std::make_unique<QFile>(part.fileName);
    if (file->open(QIODevice::ReadOnly) && file->seek(part.begin))
        return true;
    error = part.fileName + QLatin1String(": ") + file->errorString();
    return false;
}

bool RecordingReader::readLine(QByteArray *text)
{
    while (!file || file->pos() >= current().end) {
        if (position == parts.size() || !openPart())
            return false;
    }
    *text = file->readLine();
    ++line;
    // A file that has become shorter reports no error, but returns no line.
    return !text->isEmpty() || fail(QStringLiteral("can no longer be read"));
}

bool RecordingReader::next(Entry *entry)
{
    QByteArray text;
    while (error.isEmpty() && readLine(&text)) {
        if (!text.trimmed().isEmpty() && !isCut(text))
            return read(text, entry);
    }
    return false;
}

bool RecordingReader::read(const QByteArray &text, Entry *entry)
{
    const QJsonObject object = QJsonDocument::fromJson(text).object();
    const QJsonValue time = object.value(QLatin1String("t"));
    if (!time.isDouble())
        return fail(QStringLiteral("not an entry of a recording"));
    const double seconds = time.toDouble();
    const auto refuse = [&](const QString &reason) {
        return fail(QStringLiteral("the time %1 s ").arg(seconds) + reason);
    };
    if (seconds < 0)
        return refuse(QStringLiteral("is negative"));
    if (!(seconds <= longestTime))
        return refuse(QStringLiteral("is out of range: more than ten years"));
    if (seconds < last)
        return refuse(QStringLiteral("is before that of the previous entry, %1 s").arg(last));
    last = seconds;
    entry->seconds = qMax(0.0, seconds - start);
    entry->message = object.value(QLatin1String("message")).toObject();
    return true;
}
