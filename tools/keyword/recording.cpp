// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tools/keyword/recording.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonDocument>

RecordingWriter::RecordingWriter(const QString &fileName, const QString &url, qint64 rotateSize)
    : fileName(fileName), url(url), rotateSize(rotateSize), file(fileName)
{ }

QString RecordingWriter::numbered(int number) const
{
    return fileName + QLatin1Char('.') + QString::number(number);
}

bool RecordingWriter::open(bool overwrite)
{
    const QStringList names {fileName, numbered(1)};
    for (const QString &name : names) {
        if (!overwrite && QFile::exists(name)) {
            error = name + QStringLiteral(": exists already; see --force");
            return false;
        }
    }
    for (int number = 1; QFile::exists(numbered(number)); ++number)
        QFile::remove(numbered(number));
    const QJsonObject object {
        {QStringLiteral("recording"), 1},
        {QStringLiteral("started"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {QStringLiteral("url"), url},
    };
    heading = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    return begin();
}

bool RecordingWriter::begin()
{
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        error = fileName + QLatin1String(": ") + file.errorString();
        return false;
    }
    size = 0;
    return writeLine(heading);
}

bool RecordingWriter::writeLine(const QByteArray &line)
{
    if (file.write(line) != line.size()) {
        error = fileName + QLatin1String(": ") + file.errorString();
        return false;
    }
    size += line.size();
    total += line.size();
    return true;
}

bool RecordingWriter::rotate()
{
    file.close();
    if (!QFile::rename(fileName, numbered(++files))) {
        error = numbered(files) + QStringLiteral(": cannot be made of ") + fileName;
        return false;
    }
    return begin();
}

bool RecordingWriter::write(qint64 nanoseconds, const char *member, const QByteArray &json)
{
    QByteArray line;
    line.reserve(json.size() + 48);
    line += "{\"t\":" + QByteArray::number(double(nanoseconds) / 1e9, 'f', 6) + ",\"" + member
        + "\":" + json + "}\n";
    const bool isFull = rotateSize > 0 && size > heading.size() && size + line.size() > rotateSize;
    return (!isFull || rotate()) && writeLine(line);
}

RecordingReader::RecordingReader(const QStringList &fileNames) : fileNames(fileNames) { }

void RecordingReader::rewind()
{
    file.reset();
    position = 0;
    offset = 0;
    last = 0;
    error.clear();
}

bool RecordingReader::fail(const QString &problem)
{
    error = QStringLiteral("%1, line %2: %3")
                .arg(fileNames.at(qMin(position, fileNames.size()) - 1))
                .arg(line)
                .arg(problem);
    return false;
}

bool RecordingReader::openNext()
{
    const QString name = fileNames.at(position++);
    line = 1;
    file = std::make_unique<QFile>(name);
    if (!file->open(QIODevice::ReadOnly)) {
        error = name + QLatin1String(": ") + file->errorString();
        return false;
    }
    const QJsonObject heading = QJsonDocument::fromJson(file->readLine()).object();
    if (heading.value(QLatin1String("recording")).toInt() != 1)
        return fail(QStringLiteral("this is no recording"));
    offset = last;
    return true;
}

bool RecordingReader::next(Entry *entry)
{
    if (!error.isEmpty())
        return false;
    QByteArray text;
    while (!text.endsWith('\n')) { // a last line without its end was cut, and does not count
        if (!file || file->atEnd()) {
            if (position == fileNames.size() || !openNext())
                return false;
            continue;
        }
        text = file->readLine();
        ++line;
    }
    const QJsonObject object = QJsonDocument::fromJson(text).object();
    const QJsonValue time = object.value(QLatin1String("t"));
    if (!time.isDouble() || time.toDouble() < 0)
        return fail(QStringLiteral("this is no entry of a recording"));
    // The time goes on in the next file of the same recording, and begins anew in another one.
    double seconds = time.toDouble();
    if (seconds >= offset)
        offset = 0;
    seconds += offset;
    entry->seconds = last = qMax(last, seconds);
    entry->message = object.value(QLatin1String("message")).toObject();
    return true;
}
