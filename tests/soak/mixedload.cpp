// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/mixedload.h"

#include "tests/soak/keywordhost.h"
#include "tests/soak/memory.h"

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"
#include "models/keywordpathmodel.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"
#include "module/pellixclientkeywordmodule.h"
#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QRandomGenerator>
#include <QtCore/QTimer>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickView>

#include <algorithm>
#include <atomic>
#include <deque>
#include <vector>

using namespace pellix::client;
using namespace pellix::server;
using namespace pellix::simulator;
using namespace std::chrono_literals;

namespace {

constexpr int keywordCount = 1000;
constexpr auto tickInterval = 10ms;
constexpr int ticksPerCycle = 1000;
constexpr int eventsPerTick = 50;
constexpr int writesPerTick = 5;
constexpr int bindingsPerTick = 2;
constexpr size_t passingBindings = 200; // at the same time
constexpr int ticksPerLabelLookup = 5;
constexpr int ticksPerQuery = 20;
constexpr int ticksPerPage = 50; // between showing and hiding the page
constexpr int tickOfOutage = 300;
constexpr auto settleInterval = 50ms;
constexpr qint64 settlePatience = 60000; // milliseconds
constexpr qint64 progressInterval = 60000; // milliseconds
constexpr double allowedGrowth = 0.01;

std::atomic<int> warnings {0};
QtMessageHandler formerHandler = nullptr;

void countWarnings(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        ++warnings;
    formerHandler(type, context, text);
}

// The object that the application provides as theme.
class Theme : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE qreal dp(qreal units) const { return units; }
};

// Returns all keywords in turn, but not in their order. After a few cycles, each of them has been
// used for everything, and all data structures have reached their size.
class Turns
{
public:
    int next()
    {
        constexpr int stride = 389; // coprime to keywordCount
        keyword = (keyword + stride) % keywordCount;
        return keyword;
    }

private:
    int keyword = 0;
};

struct Sample
{
    qint64 milliseconds;
    Memory memory;
};

class MixedLoad : public QObject
{
    Q_OBJECT

public:
    MixedLoad(int minutes, Report *report);

    void start();
    bool conclude();

private:
    void tick();
    void bindAnother();
    void query();
    void loseConnection();
    void settle();
    QString unsettled() const;
    void sample();
    void stop(const QString &failure);

    const qint64 duration;
    const qint64 warmUp;
    Report *const report;
    QRandomGenerator random {1};

    KeywordServer server;
    FaultyWebSocketServer sockets {&server};
    PWebSocketKeywordClient client;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies;
    std::deque<std::unique_ptr<PKeywordProxy>> passing;
    PListPostfixKeywordExpression expression;
    PKeywordProxy labelProxy;
    PKeywordPathModel pathModel;
    PKeywordQueryModel queryModel;
    PKeywordQueryFilterProxyModel filterModel;
    Theme theme;
    QQuickView view;

    QTimer ticker;
    QTimer settler;
    QElapsedTimer elapsed;
    QElapsedTimer settling;
    qint64 nextProgress = 0;
    Turns eventTurns;
    Turns writeTurns;
    Turns bindingTurns;
    Turns labelTurns;
    int ticks = 0; // in this cycle
    int cycles = 0;
    std::vector<Sample> samples;
    QString failure;

    qint64 events = 0;
    qint64 writes = 0;
    qint64 bindings = 0;
    qint64 labelLookups = 0;
    qint64 queries = 0;
    qint64 pages = 0;
    qint64 outages = 0;
};

MixedLoad::MixedLoad(int minutes, Report *report)
    : duration(minutes * 60000LL), warmUp(duration / 4), report(report)
{
    for (int i = 0; i < keywordCount; ++i) {
        KeywordServer::Keyword keyword;
        keyword.path = KeywordHost::keyword(i);
        keyword.type = QStringLiteral("int");
        keyword.access = QStringLiteral("RW");
        keyword.label = QStringLiteral("Keyword %1").arg(i);
        keyword.value = i;
        server.declare(keyword);
    }
    if (!sockets.listen())
        qFatal("cannot listen: %s", qPrintable(sockets.errorString()));

    client.setAutoReconnect(true);
    client.setUrls({sockets.url().toString()});
    connect(&client, &PWebSocketKeywordClient::connectedChanged, this, [this] {
        if (client.connected())
            query(); // the pending reply is lost with the connection
        else // the client has detected the silence; other outages need no action
            QTimer::singleShot(0, this, [this] { sockets.setSilent(false); });
    });
    for (int i = 0; i < keywordCount; ++i) {
        proxies.push_back(std::make_unique<PKeywordProxy>());
        connect(proxies.back().get(), &PKeywordProxy::valueChanged, this, [this] { ++events; });
        proxies.back()->setClient(&client);
        proxies.back()->setKeyword(KeywordHost::keyword(i));
    }
    labelProxy.setClient(&client);
    queryModel.setKeywordClient(&client);
    filterModel.setSourceModel(&queryModel);
    expression.setAggregation(PKeywordAggregation::Sum);

    view.engine()->addImportPath(QStringLiteral(QML_IMPORTS));
    view.engine()->rootContext()->setContextProperty(QStringLiteral("theme"), &theme);
    view.setInitialProperties({{QStringLiteral("keywordClient"), QVariant::fromValue(&client)}});
    view.setSource(QUrl(QStringLiteral("qrc:/soak/page.qml")));
    if (!view.rootObject())
        qFatal("the page does not load");
    view.show();

    connect(&ticker, &QTimer::timeout, this, &MixedLoad::tick);
    connect(&settler, &QTimer::timeout, this, &MixedLoad::settle);
}

void MixedLoad::start()
{
    elapsed.start();
    ticker.start(tickInterval);
}

void MixedLoad::tick()
{
    for (int i = 0; i < eventsPerTick; ++i)
        server.setValue(KeywordHost::keyword(eventTurns.next()), int(random.bounded(1000000)));
    for (int i = 0; i < writesPerTick; ++i) {
        if (i % 2)
            proxies[size_t(writeTurns.next())]->update(int(random.bounded(1000000)));
        else
            proxies[size_t(writeTurns.next())]->updateRelative(1);
        ++writes;
    }
    for (int i = 0; i < bindingsPerTick; ++i)
        bindAnother();
    if (ticks % ticksPerLabelLookup == 0) {
        labelProxy.getKeywordLabel(KeywordHost::keyword(labelTurns.next()));
        ++labelLookups;
    }
    if (ticks % ticksPerQuery == 0)
        query();
    if (ticks % ticksPerPage == 0) {
        const bool shown = ticks / ticksPerPage % 2 == 0;
        view.rootObject()->setProperty("visit", int(pages % 10));
        view.rootObject()->setProperty("shown", shown);
        pages += shown;
    }
    if (ticks == tickOfOutage)
        loseConnection();

    if (++ticks == ticksPerCycle) {
        // At rest, memory can be compared from one cycle to the next.
        ticker.stop();
        view.rootObject()->setProperty("shown", false);
        passing.clear();
        settling.start();
        settler.start(settleInterval);
    }
}

// Bindings of all kinds are created and later destroyed: for keywords that are also bound
// elsewhere, for missing keywords, for aggregates, and ones whose keyword or client changes at the
// end.
void MixedLoad::bindAnother()
{
    passing.push_back(std::make_unique<PKeywordProxy>());
    PKeywordProxy *const proxy = passing.back().get();
    switch (++bindings % 4) {
    case 0:
        proxy->setKeyword(KeywordHost::keyword(bindingTurns.next()));
        break;
    case 1:
        proxy->setKeyword(QStringLiteral("/nowhere/k%1").arg(bindingTurns.next()));
        break;
    case 2:
        proxy->setKeywordExpression(&expression);
        break;
    case 3:
        proxy->setKeyword(KeywordHost::keyword(bindingTurns.next()) + QLatin1String("/Label"));
        break;
    }
    proxy->setClient(&client);
    while (passing.size() > passingBindings) {
        if (bindings % 3 == 0)
            passing.front()->setClient(nullptr);
        else if (bindings % 3 == 1 && !passing.front()->keywordExpression())
            passing.front()->setKeyword(KeywordHost::keyword(bindingTurns.next()));
        passing.pop_front();
    }
}

void MixedLoad::query()
{
    const QString group = QStringLiteral("/soak/group%1").arg(++queries % 10); // a different one
    queryModel.setKeyword(group);
    filterModel.setFilter(QString::number(queries % 7));
    pathModel.setKeyword(group);
    expression.setPostfix(QStringLiteral("k%1").arg(queries % 20));
    expression.setValues({group, QStringLiteral("/soak/group1")});
}

void MixedLoad::loseConnection()
{
    switch (++outages % 3) {
    case 0:
        sockets.setSilent(true); // until the client detects it
        break;
    case 1:
        sockets.abortClients();
        break;
    case 2:
        sockets.closeClients();
        break;
    }
}

// Describes what is not at rest yet; empty if everything is.
QString MixedLoad::unsettled() const
{
    if (!client.connected())
        return QStringLiteral("not connected");
    for (int i = 0; i < keywordCount; ++i) {
        const QString keyword = KeywordHost::keyword(i);
        if (proxies[size_t(i)]->value() != server.value(keyword))
            return QStringLiteral("%1 is %2 instead of %3")
                .arg(keyword, proxies[size_t(i)]->value().toString(),
                     server.value(keyword).toString());
    }
    if (queryModel.loading() || queryModel.rowCount() != 100)
        return QStringLiteral("the query model has %1 rows%2")
            .arg(queryModel.rowCount())
            .arg(queryModel.loading() ? QStringLiteral(" and awaits more") : QString());
    return QString();
}

void MixedLoad::settle()
{
    const QString what = unsettled();
    if (!what.isEmpty()) {
        if (settling.elapsed() > settlePatience)
            stop(what);
        return;
    }
    settler.stop();
    view.engine()->collectGarbage();
    // Objects to be deleted later are gone after another turn of the event loop.
    QTimer::singleShot(settleInterval, this, &MixedLoad::sample);
}

void MixedLoad::sample()
{
    samples.push_back({elapsed.elapsed(), Memory::now()});
    const Sample &now = samples.back();
    ++cycles;
    if (now.milliseconds >= nextProgress) {
        nextProgress = now.milliseconds + progressInterval;
        report->line(now.milliseconds / 1000, " s: ", now.memory.resident / 1024, " KiB resident, ",
                     now.memory.heap / 1024, " KiB allocated, ", events, " events, ", outages,
                     " outages, ", int(warnings), " warnings");
    }
    if (now.milliseconds >= duration) {
        stop(QString());
        return;
    }
    ticks = 0;
    ticker.start(tickInterval);
}

void MixedLoad::stop(const QString &failure)
{
    this->failure = failure;
    ticker.stop();
    settler.stop();
    QCoreApplication::quit();
}

bool MixedLoad::conclude()
{
    const MemorySpread resident = spreadOf(samples, warmUp, &Memory::resident);
    const MemorySpread heap = spreadOf(samples, warmUp, &Memory::heap);
    QStringList problems;
    if (!failure.isEmpty())
        problems << failure;
    if (warnings > 0)
        problems << QStringLiteral("%1 warnings").arg(int(warnings));
    const auto check = [&](const char *what, const MemorySpread &spread) {
        report->line(what, spread.lowest / 1024, " to ", spread.highest / 1024, " KiB, ",
                     QString::number(100 * spread.relative(), 'f', 2), " %");
        if (spread.relative() > allowedGrowth)
            problems << QStringLiteral("memory is not flat within %1 %: %2%3 to %4 KiB")
                            .arg(100 * allowedGrowth)
                            .arg(QLatin1String(what))
                            .arg(spread.lowest / 1024)
                            .arg(spread.highest / 1024);
    };

    report->line();
    report->line("cycles           ", cycles, " of ", ticksPerCycle,
                 " ticks, each checked at its end");
    report->line("events           ", events);
    report->line("writes           ", writes);
    report->line("bindings         ", bindings);
    report->line("label lookups    ", labelLookups);
    report->line("index queries    ", queries);
    report->line("pages shown      ", pages);
    report->line("connections lost ", outages);
    report->line("after a warm-up of ", warmUp / 1000, " s:");
    check("resident         ", resident);
    if (heap.highest > 0) // not available with the allocator of a sanitizer
        check("allocated        ", heap);

    const bool passed = problems.isEmpty();
    report->line(passed ? "PASSED" : "FAILED: ", problems.join(QStringLiteral("; ")));

    QJsonArray course;
    for (const Sample &sample : samples) {
        course.append(QJsonArray {sample.milliseconds / 1000, sample.memory.resident / 1024,
                                  sample.memory.heap / 1024});
    }
    report->figures = {
        {QStringLiteral("kind"), QStringLiteral("mixed load")},
        {QStringLiteral("passed"), passed},
        {QStringLiteral("problems"), QJsonArray::fromStringList(problems)},
        {QStringLiteral("seconds"), elapsed.elapsed() / 1000},
        {QStringLiteral("cycles"), cycles},
        {QStringLiteral("events"), events},
        {QStringLiteral("writes"), writes},
        {QStringLiteral("bindings"), bindings},
        {QStringLiteral("labelLookups"), labelLookups},
        {QStringLiteral("indexQueries"), queries},
        {QStringLiteral("pagesShown"), pages},
        {QStringLiteral("connectionsLost"), outages},
        {QStringLiteral("warmUpSeconds"), warmUp / 1000},
        {QStringLiteral("residentKiBLowest"), resident.lowest / 1024},
        {QStringLiteral("residentKiBHighest"), resident.highest / 1024},
        {QStringLiteral("allocatedKiBLowest"), heap.lowest / 1024},
        {QStringLiteral("allocatedKiBHighest"), heap.highest / 1024},
        {QStringLiteral("secondsResidentAllocated"), course},
    };
    return passed;
}

} // namespace

bool soakMixedLoad(int minutes, Report *report)
{
    report->line("mixed load: ", minutes, " minutes");
    formerHandler = qInstallMessageHandler(countWarnings);
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");

    MixedLoad load(minutes, report);
    load.start();
    QCoreApplication::exec();
    const bool passed = load.conclude();
    qInstallMessageHandler(formerHandler);
    return passed;
}

#include "mixedload.moc"
