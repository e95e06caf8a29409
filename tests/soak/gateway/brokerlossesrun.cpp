// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/gateway/brokerlossesrun.h"

#include "tests/soak/gateway/brokerlosses.h"
#include "tests/support/waitfor.h"

#include <QtCore/QJsonArray>

#include <algorithm>
#include <limits>

using namespace std::chrono_literals;

namespace {

constexpr auto progressInterval = 10s;
constexpr int lossesPerHalfOpen = 20; // each takes as long as the keep-alive needs
constexpr int keywordsOfManyScreens = 10; // on each
constexpr qint64 longestRecovery = 1500; // milliseconds, of 99 %

using Times = std::vector<qint64>;

qint64 quantile(Times times, int percent)
{
    if (times.empty())
        return 0;
    std::sort(times.begin(), times.end());
    return times[(times.size() * size_t(percent) + 99) / 100 - 1];
}

// The brokers of the first gateways end, in turn in one of three ways. The link of the last one is
// half open.
std::vector<QList<BrokerLoss>> deal(const BrokerLossesRun &run)
{
    const int halfOpen = run.losses / lossesPerHalfOpen;
    const int others = run.losses - halfOpen;
    std::vector<QList<BrokerLoss>> hands(size_t(std::min(run.gateways, others)));
    for (int i = 0; i < others; ++i) {
        const size_t hand = size_t(i) % hands.size();
        const auto turn = int(size_t(i) / hands.size() + hand);
        hands[hand].append(BrokerLoss(turn % 3));
    }
    if (halfOpen > 0)
        hands.push_back(QList<BrokerLoss>(halfOpen, BrokerLoss::HalfOpen));
    return hands;
}

struct Figures
{
    Times noticed[brokerLossCount];
    Times recovered[brokerLossCount];
    int screensLost = 0;
    int unexplained = 0; // connections to a broker
    qint64 kibBefore = 0; // of all gateways
    qint64 kibAfter = 0;
    QStringList failures;
};

QJsonArray printTable(const Figures &figures, Report *report)
{
    report->line("loss                   recoveries   noticed ms: mean  longest"
                 "   recovered ms: median   p99  longest");
    QJsonArray table;
    for (int i = 0; i < brokerLossCount; ++i) {
        const Times &noticed = figures.noticed[i];
        const Times &recovered = figures.recovered[i];
        if (noticed.empty())
            continue;
        qint64 sum = 0;
        for (const qint64 time : noticed)
            sum += time;
        const QString name = QString::fromLatin1(brokerLossName(BrokerLoss(i)));
        const qint64 mean = sum / qint64(noticed.size());
        const auto right = [](qint64 number, int width) {
            return QString::number(number).rightJustified(width);
        };
        report->line(name.leftJustified(22), right(qint64(recovered.size()), 11), right(mean, 19),
                     right(quantile(noticed, 100), 9), right(quantile(recovered, 50), 23),
                     right(quantile(recovered, 99), 6), right(quantile(recovered, 100), 9));
        table.append(QJsonObject {
            {QStringLiteral("loss"), name},
            {QStringLiteral("recoveries"), qint64(recovered.size())},
            {QStringLiteral("noticedMeanMs"), mean},
            {QStringLiteral("noticedLongestMs"), quantile(noticed, 100)},
            {QStringLiteral("recoveredMedianMs"), quantile(recovered, 50)},
            {QStringLiteral("recoveredP99Ms"), quantile(recovered, 99)},
            {QStringLiteral("recoveredLongestMs"), quantile(recovered, 100)},
        });
    }
    return table;
}

// A broker that ends, in whichever way, and a link that passes something again.
Times endedTimes(const Figures &figures)
{
    Times times;
    for (int i = 0; i < int(BrokerLoss::HalfOpen); ++i)
        times.insert(times.end(), figures.recovered[i].begin(), figures.recovered[i].end());
    return times;
}

} // namespace

bool soakBrokerLosses(const BrokerLossesRun &run, const QString &gatewayProgram, Report *report)
{
    const std::vector<QList<BrokerLoss>> hands = deal(run);
    BrokerLosses::Options options;
    options.gatewayProgram = gatewayProgram;
    options.screens = run.screens;
    if (run.screens > 1)
        options.keywordsEach = keywordsOfManyScreens;
    report->line("lost brokers: ", run.losses, " over ", hands.size(),
                 hands.size() == 1 ? " gateway with " : " gateways with ", options.keywords,
                 " keywords and ", run.screens, run.screens == 1 ? " screen" : " screens", " each");

    Figures figures;
    size_t running = hands.size();
    QElapsedTimer elapsed;
    elapsed.start();
    std::vector<std::unique_ptr<BrokerLosses>> gateways;
    for (const QList<BrokerLoss> &hand : hands) {
        options.losses = hand;
        options.number = int(gateways.size());
        gateways.push_back(std::make_unique<BrokerLosses>(options));
        BrokerLosses *const gateway = gateways.back().get();
        QObject::connect(gateway, &BrokerLosses::filled, gateway,
                         [&, gateway] { figures.kibBefore += gateway->gatewayKib(); });
        QObject::connect(
            gateway, &BrokerLosses::noticed, gateway,
            [&](BrokerLoss loss, qint64 took) { figures.noticed[int(loss)].push_back(took); });
        QObject::connect(
            gateway, &BrokerLosses::recovered, gateway,
            [&](BrokerLoss loss, qint64 took) { figures.recovered[int(loss)].push_back(took); });
        QObject::connect(gateway, &BrokerLosses::screenLost, gateway,
                         [&] { ++figures.screensLost; });
        QObject::connect(gateway, &BrokerLosses::finished, gateway,
                         [&, gateway, expected = hand.size() + 1] {
                             figures.kibAfter += gateway->gatewayKib();
                             figures.unexplained += gateway->connections() - int(expected);
                             --running;
                         });
        QObject::connect(gateway, &BrokerLosses::failed, gateway, [&](const QString &what) {
            report->line("FAILED: ", what);
            figures.failures << what;
            --running;
        });
        gateway->start();
    }

    const auto recoveries = [&figures] {
        size_t count = 0;
        for (const Times &times : figures.recovered)
            count += times.size();
        return count;
    };
    QTimer progress;
    QObject::connect(&progress, &QTimer::timeout, &progress, [&] {
        report->line(elapsed.elapsed() / 1000, " s: ", recoveries(), " recoveries, ",
                     figures.failures.size(), " failures");
    });
    progress.start(progressInterval);
    waitFor([&running] { return running == 0; }, std::numeric_limits<int>::max());

    report->line();
    const QJsonArray table = printTable(figures, report);
    const qint64 endedP99 = quantile(endedTimes(figures), 99);
    const int halfOpen = int(BrokerLoss::HalfOpen);
    const qint64 halfOpenP99 = quantile(figures.recovered[halfOpen], 99);
    const qint64 halfOpenNoticed = quantile(figures.noticed[halfOpen], 100);
    const qint64 noticeLimit = 2 * std::chrono::milliseconds(options.keepAlive).count();
    report->line();
    report->line("brokers that ended   recovered within ", endedP99,
                 " ms (p99; goal <= ", longestRecovery, ")");
    if (!figures.noticed[halfOpen].empty()) {
        report->line("half-open links      recovered within ", halfOpenP99,
                     " ms (p99; goal <= ", longestRecovery, "), noticed within ", halfOpenNoticed,
                     " ms (goal <= ", noticeLimit, ")");
    }
    report->line("memory of gateways   ", figures.kibBefore, " KiB before the first loss, ",
                 figures.kibAfter, " KiB after the last");
    report->line("besides, lost        ", figures.screensLost, " connections of screens, ",
                 figures.unexplained, " of gateways");

    QStringList problems = figures.failures;
    // This process has all the screens, and needs its time for many.
    if (run.screens == 1 && std::max(endedP99, halfOpenP99) > longestRecovery)
        problems << QStringLiteral("recovery took too long");
    if (halfOpenNoticed > noticeLimit)
        problems << QStringLiteral("half-open links were noticed too late");
    if (figures.unexplained != 0)
        problems << QStringLiteral("gateways lost brokers that were there");
    const bool passed = problems.isEmpty() && recoveries() == size_t(run.losses);
    report->line(passed ? "PASSED: " : "FAILED: ", recoveries(), " of ", run.losses,
                 " recoveries with every keyword right and alive, in ", elapsed.elapsed() / 1000,
                 " s", passed ? "" : "; ", problems.join(QStringLiteral("; ")));
    report->figures = {
        {QStringLiteral("kind"), QStringLiteral("lost brokers")},
        {QStringLiteral("passed"), passed},
        {QStringLiteral("problems"), QJsonArray::fromStringList(problems)},
        {QStringLiteral("losses"), run.losses},
        {QStringLiteral("recovered"), qint64(recoveries())},
        {QStringLiteral("gateways"), qint64(hands.size())},
        {QStringLiteral("screensEach"), run.screens},
        {QStringLiteral("keywordsEach"), options.keywordsEach},
        {QStringLiteral("seconds"), elapsed.elapsed() / 1000},
        {QStringLiteral("table"), table},
        {QStringLiteral("endedP99Ms"), endedP99},
        {QStringLiteral("halfOpenP99Ms"), halfOpenP99},
        {QStringLiteral("halfOpenNoticedMs"), halfOpenNoticed},
        {QStringLiteral("residentKiBBefore"), figures.kibBefore},
        {QStringLiteral("residentKiBAfter"), figures.kibAfter},
        {QStringLiteral("screensLost"), figures.screensLost},
        {QStringLiteral("gatewaysLost"), figures.unexplained},
    };
    return passed;
}
