// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/cluster/childprocess.h"

#include <QtCore/QFile>

#include <csignal>

#include <sched.h>
#include <sys/prctl.h>
#include <unistd.h>

ChildProcess::ChildProcess(const QString &name, QObject *parent) : QObject(parent)
{
    setObjectName(name);
    connect(&process, &QProcess::readyReadStandardOutput, this, [this] {
        while (process.canReadLine())
            Q_EMIT lineRead(process.readLine().trimmed());
    });
    connect(&process, &QProcess::finished, this, &ChildProcess::ended);
}

ChildProcess::~ChildProcess()
{
    process.disconnect(this);
    if (isRunning())
        terminate();
}

void ChildProcess::setLog(const QString &fileName, bool withOutput)
{
    process.setStandardErrorFile(fileName, QIODevice::Append);
    if (withOutput)
        process.setStandardOutputFile(fileName, QIODevice::Append);
}

void ChildProcess::setCores(const QList<int> &wanted)
{
    cores = wanted;
}

bool ChildProcess::start(const QString &program, const QStringList &arguments)
{
    process.setChildProcessModifier([cores = cores] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        // Ctrl-C is handled by the parent program, which stops this process in an orderly way.
        ::setpgid(0, 0);
        if (cores.isEmpty())
            return;
        cpu_set_t set;
        CPU_ZERO(&set);
        for (const int core : cores)
            CPU_SET(core, &set);
        ::sched_setaffinity(0, sizeof set, &set);
    });
    process.start(program, arguments);
    return process.waitForStarted();
}

void ChildProcess::signal(int number)
{
    if (isRunning())
        ::kill(pid_t(process.processId()), number);
}

bool ChildProcess::terminate()
{
    process.closeWriteChannel();
    process.terminate();
    if (process.waitForFinished(10000))
        return true;
    kill();
    return false;
}

void ChildProcess::kill()
{
    process.kill();
    process.waitForFinished();
}

Usage ChildProcess::usage() const
{
    Usage usage;
    const QString folder = QStringLiteral("/proc/%1/").arg(process.processId());
    QFile stat(folder + QStringLiteral("stat"));
    if (!isRunning() || !stat.open(QIODevice::ReadOnly))
        return usage;
    const QByteArray text = stat.readAll();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    const double ticks = fields.value(11).toDouble() + fields.value(12).toDouble();
    usage.processorSeconds = ticks / double(::sysconf(_SC_CLK_TCK));
    usage.residentKib = fields.value(21).toLongLong() * ::sysconf(_SC_PAGESIZE) / 1024;
    return usage;
}

void ChildProcess::write(const QByteArray &line)
{
    process.write(line + '\n');
}
