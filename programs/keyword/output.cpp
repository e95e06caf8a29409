// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/output.h"

#include "programs/common/address.h"
#include "programs/keyword/terminaltext.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

void appendEscaped(QByteArray &line, const QString &text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar character = text.at(i);
        if (character == QLatin1Char('"') || character == QLatin1Char('\\'))
            (line += '\\') += character.toLatin1();
        else if (character == QLatin1Char('\n'))
            line += "\\n";
        else if (isHarmful(text, i))
            line += withoutHarm(text.mid(i, 1)).toLatin1();
        else if (character.isHighSurrogate())
            line += text.mid(i++, 2).toUtf8();
        else
            line += QString(character).toUtf8();
    }
}

bool isPlain(QChar character)
{
    const char16_t code = character.unicode();
    return code >= 0x20 && code < 0x7f && code != u'"' && code != u'\\';
}

void appendText(QByteArray &line, const QString &text)
{
    line += '"';
    if (std::all_of(text.cbegin(), text.cend(), isPlain))
        line += text.toLatin1();
    else
        appendEscaped(line, text);
    line += '"';
}

// In a JSON document, harmful characters can only occur in strings, where they can be escaped.
void appendDocument(QByteArray &line, const QJsonDocument &document)
{
    line += withoutHarm(QString::fromUtf8(document.toJson(QJsonDocument::Compact))).toUtf8();
}

QByteArray numberText(double number)
{
    if (std::trunc(number) == number && std::abs(number) < 1e15)
        return QByteArray::number(qint64(number));
    return QByteArray::number(number, 'g', QLocale::FloatingPointShortest);
}

// An empty string is quoted, because an empty field stands for no value.
bool isQuotedInCsv(const QByteArray &text)
{
    return text.isEmpty() || text.contains(',') || text.contains('"') || text.contains('\n')
        || text.contains('\r');
}

QByteArray csvField(QByteArray text)
{
    return isQuotedInCsv(text) ? '"' + text.replace('"', "\"\"") + '"' : text;
}

// Includes the offset from UTC, because an hour occurs twice when clocks are set back.
QByteArray localStamp(const QDateTime &moment)
{
    const int minutes = qAbs(moment.offsetFromUtc()) / 60;
    return QStringLiteral("%1%2%3:%4")
        .arg(moment.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz")),
             moment.offsetFromUtc() < 0 ? QStringLiteral("-") : QStringLiteral("+"))
        .arg(minutes / 60, 2, 10, QLatin1Char('0'))
        .arg(minutes % 60, 2, 10, QLatin1Char('0'))
        .toLatin1();
}

bool wantsColor()
{
    return qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb";
}

} // namespace

QByteArray plainText(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::String:
        return value.toString().toUtf8();
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        return {};
    default: {
        QByteArray text;
        appendJson(text, value);
        return text;
    }
    }
}

void appendJson(QByteArray &line, const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Bool:
        line += value.toBool() ? "true" : "false";
        break;
    case QJsonValue::Double: {
        const qint64 whole = value.toInteger();
        // Integers above 2^53 are printed without loss.
        line += whole != 0 ? QByteArray::number(whole) : numberText(value.toDouble());
        break;
    }
    case QJsonValue::String:
        appendText(line, value.toString());
        break;
    case QJsonValue::Array:
        appendDocument(line, QJsonDocument(value.toArray()));
        break;
    case QJsonValue::Object:
        appendDocument(line, QJsonDocument(value.toObject()));
        break;
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        line += "null";
        break;
    }
}

Output::Output(Format format, TimeStamp time)
    : kind(format), time(time), toTerminal(isTerminal(1)), color(toTerminal && wantsColor())
{
#ifdef Q_OS_UNIX
    std::signal(SIGPIPE, SIG_IGN); // a write detects that the reader has exited
#endif
}

Output::~Output() = default;

void Output::line(const QByteArray &text)
{
    buffer.resize(0); // keeps its capacity, unlike clear()
    buffer += text;
    buffer += '\n';
    write(buffer);
}

void Output::rawLine(const QByteArray &text)
{
    line(harmless(text));
}

// Text that a program receives unchanged could harm a terminal.
QByteArray Output::harmless(const QByteArray &text) const
{
    return toTerminal ? withoutHarm(QString::fromUtf8(text), LineEnds::Kept).toUtf8() : text;
}

void Output::row(const Row &row)
{
    buffer.resize(0);
    if (kind == Format::Json) {
        char separator = '{';
        for (const auto &[name, value] : row) {
            buffer += separator;
            buffer += '"';
            buffer += name;
            buffer += "\":";
            appendJson(buffer, value);
            separator = ',';
        }
        buffer += "}\n";
        write(buffer);
        return;
    }
    if (!headerPrinted) {
        QByteArray columns;
        for (const auto &column : row)
            columns += (columns.isEmpty() ? "" : ",") + QByteArray(column.first);
        header(columns);
        buffer.resize(0);
    }
    bool first = true;
    for (const auto &column : row) {
        if (!first)
            buffer += ',';
        first = false;
        if (!column.second.isNull())
            buffer += csvField(harmless(plainText(column.second)));
    }
    buffer += '\n';
    write(buffer);
}

void Output::header(const QByteArray &columns)
{
    headerPrinted = true;
    write(columns + '\n');
}

QByteArray Output::stamp()
{
    if (time == TimeStamp::None)
        return {};
    if (time == TimeStamp::Delta) {
        const qint64 passed = sinceLine.isValid() ? sinceLine.nsecsElapsed() : 0;
        sinceLine.start();
        return QByteArray::number(double(passed) / 1e9, 'f', 6);
    }
    // Reuse the text, because many events share a millisecond.
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (now != stampedAt) {
        stampedAt = now;
        const QDateTime moment = QDateTime::fromMSecsSinceEpoch(now);
        lastStamp = time == TimeStamp::Utc ? moment.toUTC().toString(Qt::ISODateWithMs).toLatin1()
                                           : localStamp(moment);
    }
    return lastStamp;
}

QJsonValue Output::word(const QString &word) const
{
    return kind == Format::Csv && word.isEmpty() ? QJsonValue() : QJsonValue(word);
}

QJsonValue Output::stampValue()
{
    const QByteArray text = stamp();
    return time == TimeStamp::Delta ? QJsonValue(text.toDouble())
                                    : QJsonValue(QString::fromLatin1(text));
}

void Output::write(const QByteArray &data)
{
    if (ended)
        return;
    errno = 0;
    if (std::fwrite(data.constData(), 1, size_t(data.size()), stdout) == size_t(data.size())
        && std::fflush(stdout) == 0)
        return;
    end(errno == EPIPE ? QString() : QString::fromLocal8Bit(std::strerror(errno)));
}

void Output::end(const QString &problem)
{
    ended = true;
    if (onEnd)
        onEnd(problem);
}

void Output::watchReader()
{
#ifdef Q_OS_UNIX
    // An exception is reported only for the write end of a pipe without a reader, not for files and
    // terminals.
    reader = std::make_unique<QSocketNotifier>(STDOUT_FILENO, QSocketNotifier::Exception);
    QObject::connect(reader.get(), &QSocketNotifier::activated, reader.get(), [this] {
        reader->setEnabled(false);
        if (!ended)
            end({});
    });
#endif
}

bool isTerminal(int descriptor)
{
#ifdef Q_OS_WIN
    return ::_isatty(descriptor) != 0;
#else
    return ::isatty(descriptor) == 1;
#endif
}

void complain(const QString &message)
{
    const QByteArray line =
        "keyword: " + withoutHarm(programs::withoutSecrets(message)).toLocal8Bit() + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
    std::fflush(stderr);
}
