// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/standardinput.h"

#include <QtCore/QSocketNotifier>
#include <QtCore/QStringDecoder>

#include <cerrno>
#include <cstdio>
#include <cstring>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace {

constexpr int bytesAtOnce = 16 * 1024;
constexpr qsizetype longestLine = qsizetype(16) * 1024 * 1024; // bytes

#ifdef Q_OS_UNIX
qint64 readSome(char *buffer, int size)
{
    return ::read(STDIN_FILENO, buffer, size_t(size));
}
#else
qint64 readSome(char *buffer, int size)
{
    return qint64(std::fread(buffer, 1, size_t(size), stdin));
}
#endif

InputLine lineOf(QByteArray bytes, int number)
{
    if (bytes.endsWith('\r'))
        bytes.chop(1);
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder(bytes);
    return {number, text, !decoder.hasError()};
}

} // namespace

QString InputLine::complaint(const QString &problem) const
{
    return QStringLiteral("standard input, line %1: %2").arg(number).arg(problem);
}

StandardInput::StandardInput() = default;

StandardInput::~StandardInput() = default;

void StandardInput::start()
{
#ifdef Q_OS_UNIX
    notifier = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
    connect(notifier.get(), &QSocketNotifier::activated, this, &StandardInput::read);
#else
    // Other systems do not notify of available input.
    QMetaObject::invokeMethod(this, &StandardInput::read, Qt::QueuedConnection);
#endif
}

void StandardInput::setPaused(bool paused)
{
    if (notifier)
        notifier->setEnabled(!paused);
}

void StandardInput::read()
{
    char buffer[bytesAtOnce];
    const qint64 size = readSome(buffer, bytesAtOnce);
    if (size < 0) {
        if (errno != EINTR && errno != EAGAIN)
            fail(QStringLiteral("standard input: ") + QString::fromLocal8Bit(std::strerror(errno)));
        return;
    }
    pending.append(buffer, size);
    if (size == 0)
        setPaused(true);
#ifndef Q_OS_UNIX
    if (size > 0)
        QMetaObject::invokeMethod(this, &StandardInput::read, Qt::QueuedConnection);
#endif
    takeLines(size == 0);
}

void StandardInput::takeLines(bool isEnd)
{
    if (isEnd && !pending.isEmpty())
        pending += '\n';
    QList<InputLine> read;
    qsizetype begin = 0;
    qsizetype end = pending.indexOf('\n', searched);
    while (end >= 0 && end - begin <= longestLine) {
        read.append(lineOf(pending.mid(begin, end - begin), ++lines));
        begin = end + 1;
        end = pending.indexOf('\n', begin);
    }
    pending.remove(0, begin);
    searched = pending.size();
    if (!read.isEmpty())
        Q_EMIT linesRead(read);
    if (pending.size() > longestLine)
        fail(InputLine {lines + 1, {}, true}.complaint(QStringLiteral("longer than 16 MiB")));
    else if (isEnd)
        Q_EMIT ended();
}

void StandardInput::fail(const QString &problem)
{
    setPaused(true);
    Q_EMIT failed(problem);
}
