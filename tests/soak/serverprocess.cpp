// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/serverprocess.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QRegularExpression>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/prctl.h>
#endif

namespace {

ServerSample toSample(const QJsonObject &told)
{
    const auto number = [&told](const char *name) {
        return told.value(QLatin1String(name)).toInteger();
    };
    ServerSample sample;
    sample.milliseconds = number("ms");
    sample.memory = {number("resident"), number("allocated")};
    sample.changes = number("changes");
    sample.clients = number("clients");
    sample.sendingBytes = number("sendingBytes");
    sample.events = number("events");
    sample.sentBytes = number("sentBytes");
    sample.skippedValues = number("skipped");
    sample.droppedClients = number("dropped");
    return sample;
}

} // namespace

ServerProcess::ServerProcess(const Options &options, QObject *parent) : QObject(parent)
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
#ifdef Q_OS_LINUX
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
#endif
    connect(&process, &QProcess::readyReadStandardOutput, this, &ServerProcess::read);
    connect(&process, &QProcess::finished, this, [this](int code, QProcess::ExitStatus status) {
        Q_EMIT failed(status == QProcess::CrashExit
                          ? QStringLiteral("the server has crashed")
                          : QStringLiteral("the server has ended with %1").arg(code));
    });
    connect(&process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            Q_EMIT failed(process.program() + QLatin1String(": ") + process.errorString());
    });
    QStringList arguments {
        QStringLiteral("--keywords"),
        QString::number(options.keywords),
        QStringLiteral("--rate"),
        QString::number(options.changesPerSecond),
        QStringLiteral("--stalled-time"),
        QString::number(options.stalledTime.count()),
        QStringLiteral("--sample-interval"),
        QString::number(options.sampleInterval.count()),
    };
    if (options.valuesAreTimes)
        arguments.append(QStringLiteral("--times"));
    process.setProgram(options.program);
    process.setArguments(arguments);
}

ServerProcess::~ServerProcess()
{
    process.disconnect(this);
    process.closeWriteChannel(); // requests the process to exit
    if (!process.waitForFinished(10000)) {
        process.kill();
        process.waitForFinished();
    }
}

void ServerProcess::start()
{
    process.start();
}

void ServerProcess::change(qint64 count)
{
    write("change " + QByteArray::number(count));
}

void ServerProcess::stop()
{
    write("stop");
}

void ServerProcess::sample()
{
    write("sample");
}

void ServerProcess::write(const QByteArray &line)
{
    process.write(line + '\n');
}

void ServerProcess::read()
{
    while (process.canReadLine()) {
        const QByteArray line = process.readLine();
        const QJsonObject told = QJsonDocument::fromJson(line).object();
        if (told.isEmpty())
            Q_EMIT failed(QStringLiteral("the server wrote: ") + QString::fromUtf8(line));
        else
            take(told);
    }
}

void ServerProcess::take(const QJsonObject &told)
{
    if (told.contains(QLatin1String("ms"))) {
        Q_EMIT sampled(toSample(told));
    } else if (told.contains(QLatin1String("warning"))) {
        takeWarning(told.value(QLatin1String("warning")).toString());
    } else if (told.contains(QLatin1String("stopped"))) {
        Q_EMIT stopped(told.value(QLatin1String("stopped")).toInteger());
    } else {
        ownPort = quint16(told.value(QLatin1String("port")).toInt());
        Q_EMIT listening();
    }
}

// The log is the only source for which client was disconnected.
void ServerProcess::takeWarning(const QString &text)
{
    static const QRegularExpression drop(QStringLiteral("^disconnected [^ ]*:(\\d+): (.*)$"));
    const QRegularExpressionMatch match = drop.match(text);
    if (match.hasMatch())
        Q_EMIT dropped(match.captured(1).toUShort(), match.captured(2));
    else
        Q_EMIT failed(QStringLiteral("the server warns: ") + text);
}
