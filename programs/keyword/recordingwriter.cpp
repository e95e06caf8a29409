// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/recordingwriter.h"

#include "programs/keyword/output.h"
#include "programs/keyword/terminaltext.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>
#include <QtCore/QUuid>

#include <cerrno>
#include <cstdio>

namespace {

constexpr qint64 longestHeading = 4096;

bool isRecording(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly)
        && QJsonDocument::fromJson(file.readLine(longestHeading))
               .object()
               .contains(QLatin1String("recording"));
}

bool isNumber(const QString &text)
{
    static const QRegularExpression number(QStringLiteral("^[0-9]+$"));
    return number.match(text).hasMatch();
}

// The full files of an earlier recording with this name. Other files with similar names, such as
// the manual page keyword.1, are not affected.
QStringList fullFiles(const QString &fileName)
{
    const QFileInfo info(fileName);
    const QString begin = info.fileName() + QLatin1Char('.');
    QStringList files;
    const QStringList entries = info.dir().entryList(QDir::Files);
    for (const QString &entry : entries) {
        const QString path = info.dir().filePath(entry);
        if (entry.startsWith(begin) && isNumber(entry.mid(begin.size())) && isRecording(path))
            files.append(path);
    }
    return files;
}

} // namespace

RecordingWriter::RecordingWriter(const QString &fileName, const QString &url, qint64 rotateSize)
    : fileName(fileName), isStandardOutput(fileName == QLatin1String("-")), url(url),
      rotateSize(rotateSize), file(fileName),
      id(QUuid::createUuid().toString(QUuid::WithoutBraces)),
      started(QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs))
{ }

bool RecordingWriter::fail(const QString &problem)
{
    error = (isStandardOutput ? QStringLiteral("standard output") : fileName) + QLatin1String(": ")
        + problem;
    return false;
}

bool RecordingWriter::open(bool overwrite)
{
    if (isStandardOutput)
        return begin();
    const QStringList full = fullFiles(fileName);
    if (!overwrite && (QFile::exists(fileName) || !full.isEmpty())) {
        error = (QFile::exists(fileName) ? fileName : full.constFirst())
            + QStringLiteral(": exists already; see --force");
        return false;
    }
    for (const QString &name : full) {
        QFile old(name);
        if (!old.remove()) {
            error = name + QLatin1String(": ") + old.errorString();
            return false;
        }
    }
    return begin();
}

bool RecordingWriter::openFile()
{
    const auto mode = QIODevice::WriteOnly | QIODevice::Unbuffered;
    return isStandardOutput ? file.open(::fileno(stdout), mode)
                            : file.open(mode | QIODevice::Truncate);
}

bool RecordingWriter::begin()
{
    if (!openFile())
        return fail(file.errorString());
    size = 0;
    const QByteArray heading = nextHeading();
    headingSize = heading.size();
    return writeLine(heading);
}

QByteArray RecordingWriter::nextHeading()
{
    QByteArray heading = "{\"recording\":1,\"id\":";
    appendJson(heading, id);
    heading += ",\"part\":" + QByteArray::number(++part) + ",\"started\":";
    appendJson(heading, started);
    heading += ",\"url\":";
    appendJson(heading, url);
    return heading + "}\n";
}

bool RecordingWriter::writeLine(QByteArray line)
{
    if (isStandardOutput && isTerminal(1))
        line = withoutHarm(QString::fromUtf8(line), LineEnds::Kept).toUtf8();
    qint64 written = 0;
    while (written < line.size()) {
        errno = 0;
        const qint64 count = file.write(line.constData() + written, line.size() - written);
        if (count <= 0) {
            if (errno == EPIPE)
                return false;
            fail(file.errorString());
            if (written > 0 && !isStandardOutput)
                file.resize(size); // if there is only space for a part of the line, write nothing
            return false;
        }
        written += count;
    }
    size += written;
    total += written;
    return true;
}

QString RecordingWriter::freeName()
{
    QString name;
    do {
        name = fileName + QLatin1Char('.') + QString::number(++number);
    } while (QFile::exists(name));
    return name;
}

bool RecordingWriter::rotate()
{
    file.close();
    QFile full(fileName);
    if (!full.rename(freeName()))
        return fail(full.errorString());
    return begin();
}

bool RecordingWriter::write(qint64 nanoseconds, const char *member, const QByteArray &json)
{
    QByteArray line;
    line.reserve(json.size() + 48);
    line += "{\"t\":" + QByteArray::number(double(nanoseconds) / 1e9, 'f', 6) + ",\"" + member
        + "\":" + json + "}\n";
    const bool isFull = rotateSize > 0 && size > headingSize && size + line.size() > rotateSize;
    return (!isFull || rotate()) && writeLine(line);
}
