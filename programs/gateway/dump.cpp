// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/gateway/dump.h"

#include "programs/common/commandline.h"
#include "server/keywordserver.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QTextStream>

#include <chrono>
#include <cstdlib>

using namespace pellix::gateway;
using namespace std::chrono_literals;

namespace {

constexpr auto interval = 50ms;
constexpr auto quiet = 1000ms; // without new reports
constexpr auto longest = 10000ms;

} // namespace

Dump::Dump(Gateway *gateway, const Configuration &configuration, const QJsonObject &written)
    : gateway(gateway), configuration(configuration), written(written)
{
    connect(&timer, &QTimer::timeout, this, &Dump::look);
    timer.start(interval);
    sinceStart.start();
    sinceNews.start();
}

void Dump::look()
{
    const bool isOver = sinceStart.elapsed() >= longest.count();
    const int now = gateway->keywordServer()->keywordCount();
    bool areReady = true;
    for (const Gateway::SourceStatus &source : gateway->sources()) {
        areReady &= source.isReady;
        if (isOver && !source.isReady) {
            programs::complain(source.name + QStringLiteral(": not connected: ")
                               + source.source->reason());
        }
    }
    if (!areReady || now != keywords)
        sinceNews.restart();
    keywords = now;
    if (!isOver && sinceNews.elapsed() < quiet.count())
        return;
    timer.stop();
    if (areReady)
        print();
    Q_EMIT finished(areReady ? EXIT_SUCCESS : EXIT_FAILURE);
}

void Dump::print() const
{
    QJsonObject whole = written;
    QJsonArray sources;
    const QList<Gateway::SourceStatus> running = gateway->sources();
    for (qsizetype i = 0; i < running.size(); ++i) {
        const Configuration::Source &source = configuration.sources.at(i);
        QJsonObject entry = source.settings->toJson(running.at(i).source);
        entry.insert(QStringLiteral("name"), source.name);
        entry.insert(QStringLiteral("mount"),
                     source.mount.isEmpty() ? QStringLiteral("/") : source.mount);
        sources.append(entry);
    }
    whole.insert(QStringLiteral("sources"), sources);
    QTextStream(stdout) << QString::fromUtf8(QJsonDocument(whole).toJson()) << Qt::flush;
}
