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
        connect(processes.back().get(), &ChildProcess::ended, this, [this] { ++ended; });
        arguments.push_back({q("--url"), options.url.isEmpty() ? cluster.screenUrl() : options.url,
                             q("--kind"), options.kind, q("--ca"), cluster.file(q("ca.crt")),
                             q("--certificate"), cluster.file(q("screen.crt")), q("--key"),
                             cluster.file(q("screen.key")), q("--first"), QString::number(first),
                             q("--count"),
                             QString::number(qMin(mostPerProcess, options.screens - first)),
                             q("--keywords-each"), QString::number(options.keywordsEach),
                             q("--keywords"), QString::number(options.keywords)});
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
    if (event == q("report") || event == q("floor")) {
        if (told.value(q("number")).toInt() != asked)
            return;
        ++answers;
        sum.screens += told.value(q("screens")).toInt();
        sum.complete += told.value(q("complete")).toInt();
        sum.wrong += told.value(q("wrong")).toInt();
        sum.events += told.value(q("events")).toInteger();
        sum.stepsBack += told.value(q("stepsBack")).toInteger();
        sum.foreign += told.value(q("foreign")).toInteger();
        return;
    }
    Course &course = seen[told.value(q("screen")).toInt()];
    const qint64 time = told.value(q("t")).toInteger();
    const bool wasRight = course.isRight();
    course.note(event, time);
    liveCount += int(course.isRight()) - int(wasRight);
}

bool Screens::ask(const QByteArray &command, const QByteArray &parameters)
{
    sum = {};
    sum.expectedScreens = options.screens;
    answers = 0;
    ++asked;
    for (const auto &process : processes)
        process->write(command + ' ' + QByteArray::number(asked) + parameters);
    waitUntil([this] { return answers == int(processes.size()) || hasEnded(); }, 30000);
    return answers == int(processes.size()) && !hasEnded();
}

Screens::Report Screens::report(qint64 expected)
{
    ask("report", ' ' + QByteArray::number(expected));
    return sum;
}

Screens::Report Screens::awaitRight(qint64 expected)
{
    waitUntil([&] { return report(expected).isRight() || hasEnded(); });
    return sum;
}

bool Screens::setFloor(const std::vector<qint64> &values)
{
    QByteArray text;
    for (const qint64 value : values)
        text += ' ' + QByteArray::number(value);
    return ask("floor", text);
}

// A screen may be lost again before it is right again.
void Screens::Course::note(const QString &event, qint64 time)
{
    if (event == q("lost")) {
        lost.append(time);
        if (isRight())
            downSince = time;
    } else if (event == q("attempt")) {
        tried.append(time);
    } else if (event == q("connected")) {
        connected.append(time);
    } else if (event == q("right")) {
        right.append(time);
        if (downSince > 0)
            down.append(time - std::exchange(downSince, 0));
    }
}

QString Screens::Report::problem() const
{
    if (screens < expectedScreens)
        return q("only %1 of %2 screens have reported").arg(screens).arg(expectedScreens);
    return q("%1 values on screens stay wrong; %2 values were those of other keywords")
        .arg(wrong)
        .arg(foreign);
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
