// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/cluster/screens.h"

#include "tests/cluster/cluster.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

namespace {

constexpr int mostPerProcess = 125;

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

} // namespace

Screens::Screens(const Cluster &cluster, const ScreensOptions &options, QObject *parent)
    : QObject(parent), options(options)
{
    for (int first = 0; first < options.screens; first += mostPerProcess) {
        processes.push_back(std::make_unique<ChildProcess>(q("screens")));
        processes.back()->setCores(cluster.otherCores());
        processes.back()->setLog(cluster.file(q("screens.log")), false);
        connect(processes.back().get(), &ChildProcess::lineRead, this, &Screens::take);
        arguments.push_back(
            {q("--url"), cluster.screenUrl(), q("--kind"), options.kind, q("--ca"),
             cluster.file(q("ca.crt")), q("--certificate"), cluster.file(q("screen.crt")),
             q("--key"), cluster.file(q("screen.key")), q("--first"), QString::number(first),
             q("--count"), QString::number(qMin(mostPerProcess, options.screens - first)),
             q("--keywords-each"), QString::number(options.keywordsEach), q("--keywords"),
             QString::number(options.keywords)});
    }
}

bool Screens::start()
{
    // In the same folder as this program.
    const QString program = QCoreApplication::applicationDirPath() + q("/cluster-screens");
    for (size_t i = 0; i < processes.size(); ++i) {
        if (!processes[i]->start(program, arguments[i]))
            return false;
    }
    return true;
}

void Screens::take(const QByteArray &line)
{
    const QJsonObject told = QJsonDocument::fromJson(line).object();
    const QString event = told.value(q("event")).toString();
    if (event == q("report")) {
        if (told.value(q("number")).toInt() != asked)
            return;
        ++answers;
        sum.screens += told.value(q("screens")).toInt();
        sum.complete += told.value(q("complete")).toInt();
        sum.wrong += told.value(q("wrong")).toInt();
        sum.events += told.value(q("events")).toInteger();
        sum.stepsBack += told.value(q("stepsBack")).toInteger();
        return;
    }
    Course &course = seen[told.value(q("screen")).toInt()];
    const qint64 time = told.value(q("t")).toInteger();
    const bool wasLive = course.right.size() > course.lost.size();
    if (event == q("lost"))
        course.lost.append(time);
    else if (event == q("attempt"))
        course.tried.append(time);
    else if (event == q("connected"))
        course.connected.append(time);
    else if (event == q("right"))
        course.right.append(time);
    liveCount += int(course.right.size() > course.lost.size()) - int(wasLive);
}

Screens::Report Screens::report(qint64 expected)
{
    sum = {};
    answers = 0;
    ++asked;
    for (const auto &process : processes)
        process->write(QByteArray::number(asked) + ' ' + QByteArray::number(expected));
    waitUntil([this] { return answers == int(processes.size()); }, 30000);
    return sum;
}

Usage Screens::usage() const
{
    Usage sum;
    for (const auto &process : processes) {
        const Usage one = process->usage();
        sum.processorSeconds += one.processorSeconds;
        sum.residentKib += one.residentKib;
    }
    return sum;
}
