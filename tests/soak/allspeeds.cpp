// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/allspeeds.h"

#include "tests/soak/changingkeywords.h"
#include "tests/soak/memory.h"
#include "tests/soak/stallingreader.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QRandomGenerator>
#include <QtCore/QThread>
#include <QtCore/QTimer>

#include <algorithm>
#include <memory>

using namespace std::chrono_literals;

namespace {

constexpr auto checkInterval = 250ms;
constexpr auto returnDelay = 500ms; // until a dropped client reconnects
constexpr qint64 longestStall = 60000; // milliseconds; more only if the limit is higher
constexpr auto pulseInterval = 100ms;
constexpr qint64 longestPulse = 1000; // milliseconds
constexpr qint64 stallMemory = 20000; // milliseconds; twice the keep-alive time

qint64 median(std::vector<qint64> values)
{
    if (values.empty())
        return 0;
    const auto middle = values.begin() + std::ptrdiff_t(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/*
    Detects when this process gets no processor time. In this case, a keep-alive may consider a
    working server unresponsive.
*/
class Pulse
{
public:
    explicit Pulse(QObject *context)
    {
        sinceBeat.start();
        QObject::connect(&timer, &QTimer::timeout, context, [this] {
            if (sinceBeat.restart() > longestPulse)
                sinceStall.start();
        });
        timer.start(pulseInterval);
    }

    bool hasStalled() const
    {
        return sinceBeat.elapsed() > longestPulse
            || (sinceStall.isValid() && sinceStall.elapsed() < stallMemory);
    }

private:
    QTimer timer;
    QElapsedTimer sinceBeat;
    QElapsedTimer sinceStall;
};

// Readers in a separate thread, because the slow ones must be on time while the fast ones are busy.
class ReaderThread
{
public:
    ReaderThread()
    {
        context.moveToThread(&thread);
        thread.start();
        inside([this] { pulse = std::make_unique<Pulse>(&context); });
    }
    ~ReaderThread()
    {
        inside([this] {
            readers.clear();
            pulse.reset();
        });
        thread.quit();
        thread.wait();
    }

    void start(const std::vector<ReaderOptions> &options, quint16 port)
    {
        inside([&] {
            for (const ReaderOptions &one : options)
                readers.push_back(Reader::create(one, port));
        });
    }

    bool haveAllKeywords()
    {
        bool all = true;
        inside([&] {
            for (const auto &reader : readers)
                all = all && reader->hasAllKeywords();
        });
        return all;
    }

    QString failure()
    {
        QString failure;
        inside([&] {
            for (const auto &reader : readers) {
                if (failure.isEmpty())
                    failure = reader->failure();
            }
        });
        return failure;
    }

    int losses()
    {
        int losses = 0;
        inside([&] {
            for (const auto &reader : readers)
                losses += reader->losses();
        });
        return losses;
    }

    bool hasStalled()
    {
        bool stalled = false;
        inside([&] { stalled = pulse->hasStalled(); });
        return stalled;
    }

    std::vector<ReaderFigures> figures(qint64 changes, int keywords)
    {
        std::vector<ReaderFigures> figures;
        inside([&] {
            for (const auto &reader : readers)
                figures.push_back(reader->figures(changes, keywords));
        });
        return figures;
    }

private:
    template <typename Function> void inside(const Function &function)
    {
        QMetaObject::invokeMethod(&context, function, Qt::BlockingQueuedConnection);
    }

    QThread thread;
    QObject context;
    std::unique_ptr<Pulse> pulse;
    std::vector<std::unique_ptr<Reader>> readers;
};

class AllSpeeds : public QObject
{
public:
    explicit AllSpeeds(const AllSpeedsOptions &options);
    AllSpeedsFigures run();

private:
    enum class Phase {
        Starting, // until the server listens
        Binding, // until the fast clients have all keywords
        Changing,
        Stopping,
        Settling,
        Over,
    };

    void onListening();
    void onSampled(const ServerSample &sample);
    void onDropped(quint16 port, const QString &why);
    void check();
    void beginChanges();
    void endChanges();
    bool isSettled();
    void watchPace(const ServerSample &sample);
    bool serverHasStalled() const;
    QString unexplainedLoss();
    void visit(size_t place);
    void endVisit(size_t place, bool abruptly);
    void stop(const QString &failure);
    void conclude();
    MemoryOfTenth memoryOfTenth(int tenth) const;

    const AllSpeedsOptions options;
    AllSpeedsFigures figures;
    Phase phase = Phase::Starting;
    QEventLoop loop;
    ServerProcess server;
    ReaderThread fast;
    ReaderThread slow;
    std::vector<std::unique_ptr<StallingReader>> stalling;
    std::vector<bool> wasDropped;
    std::vector<std::unique_ptr<Reader>> passing;
    QTimer checker;
    QElapsedTimer sincePhase;
    ServerSample paced; // the last sample used to measure the rate of the server
    QElapsedTimer sinceSample;
    QElapsedTimer sinceServerStall;
    QRandomGenerator random {1};
};

AllSpeeds::AllSpeeds(const AllSpeedsOptions &options) : options(options), server(options.server)
{
    connect(&server, &ServerProcess::listening, this, &AllSpeeds::onListening);
    connect(&server, &ServerProcess::sampled, this, &AllSpeeds::onSampled);
    connect(&server, &ServerProcess::dropped, this, &AllSpeeds::onDropped);
    connect(&server, &ServerProcess::failed, this, &AllSpeeds::stop);
    connect(&server, &ServerProcess::stopped, this, [this](qint64 changes) {
        figures.changes = changes;
        figures.milliseconds = sincePhase.restart();
        phase = Phase::Settling;
    });
    connect(&checker, &QTimer::timeout, this, &AllSpeeds::check);
}

AllSpeedsFigures AllSpeeds::run()
{
    sincePhase.start();
    sinceSample.start();
    checker.start(checkInterval);
    server.start();
    if (phase != Phase::Over)
        loop.exec();
    conclude();
    return figures;
}

void AllSpeeds::onListening()
{
    phase = Phase::Binding;
    fast.start(options.fast, server.port());
    slow.start(options.slow, server.port());
}

void AllSpeeds::onSampled(const ServerSample &sample)
{
    sinceSample.start();
    figures.last = sample;
    if (phase == Phase::Changing) {
        watchPace(sample);
        figures.samples.push_back(sample);
    }
    if (options.progress)
        options.progress(sample);
}

void AllSpeeds::onDropped(quint16 port, const QString &why)
{
    const auto found = std::find_if(stalling.begin(), stalling.end(),
                                    [port](const auto &one) { return one->localPort() == port; });
    const qint64 limit = options.server.stalledTime.count();
    if (found == stalling.end() || (*found)->stalledFor() < limit / 2) {
        stop(QStringLiteral("a client that reads was disconnected: ") + why);
        return;
    }
    StallingReader *const reader = found->get();
    const qint64 after = reader->stalledFor();
    figures.earliestDrop = figures.drops ? std::min(figures.earliestDrop, after) : after;
    figures.latestDrop = std::max(figures.latestDrop, after);
    ++figures.drops;
    wasDropped[size_t(found - stalling.begin())] = true;
    QTimer::singleShot(returnDelay, reader, &StallingReader::start);
}

void AllSpeeds::check()
{
    const QString failure = fast.failure() + slow.failure() + unexplainedLoss();
    if (!failure.isEmpty()) {
        stop(failure);
        return;
    }
    const bool isLate = sincePhase.elapsed() > options.patience.count();
    switch (phase) {
    case Phase::Starting:
        if (isLate)
            stop(QStringLiteral("the server did not start in time"));
        break;
    case Phase::Binding:
        if (fast.haveAllKeywords())
            beginChanges();
        else if (isLate)
            stop(QStringLiteral("the clients did not get all keywords in time"));
        break;
    case Phase::Changing:
        for (const auto &reader : stalling) {
            const qint64 limit =
                std::max<qint64>(3 * options.server.stalledTime.count(), longestStall);
            if (reader->stalledFor() > limit)
                stop(QStringLiteral("a client that does not read was not disconnected"));
        }
        if (sincePhase.elapsed() >= options.duration.count()
            && std::find(wasDropped.begin(), wasDropped.end(), false) == wasDropped.end())
            endChanges();
        break;
    case Phase::Stopping:
        break;
    case Phase::Settling:
        if (isSettled())
            stop(QString());
        else if (isLate)
            stop(QStringLiteral("not all clients got the last values in time"));
        else
            server.sample();
        break;
    case Phase::Over:
        break;
    }
}

// A server that makes less than half of its changes, or sends no samples, does not get enough
// processor time either.
void AllSpeeds::watchPace(const ServerSample &sample)
{
    const qint64 time = sample.milliseconds - paced.milliseconds;
    if (time < longestPulse)
        return;
    const qint64 due = options.server.changesPerSecond * time / 1000;
    if (!figures.samples.empty() && sample.changes - paced.changes < due / 2)
        sinceServerStall.start();
    paced = sample;
}

bool AllSpeeds::serverHasStalled() const
{
    return sinceSample.elapsed() > options.server.sampleInterval.count() + longestPulse
        || (sinceServerStall.isValid() && sinceServerStall.elapsed() < stallMemory);
}

QString AllSpeeds::unexplainedLoss()
{
    const int losses = fast.losses() + slow.losses();
    if (losses == figures.lostByStall)
        return QString();
    if (!serverHasStalled() && !fast.hasStalled() && !slow.hasStalled()) {
        figures.linkLost = true;
        return QStringLiteral("a client that reads has lost its connection");
    }
    figures.lostByStall = losses;
    return QString();
}

void AllSpeeds::beginChanges()
{
    phase = Phase::Changing;
    sincePhase.start();
    for (int i = 0; i < options.stalling; ++i) {
        stalling.push_back(std::make_unique<StallingReader>(server.port(), options.server.keywords,
                                                            options.readingTime));
        connect(stalling.back().get(), &StallingReader::failed, this, &AllSpeeds::stop);
        stalling.back()->start();
    }
    wasDropped.assign(stalling.size(), false);
    passing.resize(size_t(options.passing));
    for (size_t place = 0; place < passing.size(); ++place)
        visit(place);
    server.sample();
    server.change();
}

void AllSpeeds::endChanges()
{
    phase = Phase::Stopping;
    for (const auto &reader : stalling)
        reader->leave();
    for (size_t place = 0; place < passing.size(); ++place)
        endVisit(place, true);
    passing.clear();
    server.stop();
}

// Connects a client with some of the keywords, for some time.
void AllSpeeds::visit(size_t place)
{
    ReaderOptions visitor;
    visitor.name = QStringLiteral("a client that comes and goes");
    // The number is the same for all, because memory is compared.
    visitor.count = std::max(1, options.server.keywords / 5);
    visitor.first = random.bounded(options.server.keywords - visitor.count + 1);
    passing[place] = Reader::create(visitor, server.port());
    const int stay = random.bounded(1, int(options.longestVisit.count()));
    QTimer::singleShot(stay, passing[place].get(), [this, place, abruptly = stay % 2 == 0] {
        if (phase != Phase::Changing)
            return;
        endVisit(place, abruptly);
        visit(place);
    });
}

void AllSpeeds::endVisit(size_t place, bool abruptly)
{
    Reader *const visitor = passing[place].release();
    ++figures.visits;
    figures.eventsOfVisits += visitor->events();
    if (!visitor->failure().isEmpty())
        stop(visitor->failure());
    visitor->leave(abruptly);
    visitor->deleteLater();
}

// Whether all readers have all last values, and the server has no other clients.
bool AllSpeeds::isSettled()
{
    const auto areRight = [this](ReaderThread &readers) {
        const auto all = readers.figures(figures.changes, options.server.keywords);
        return std::all_of(all.begin(), all.end(),
                           [](const ReaderFigures &one) { return one.wrong == 0; });
    };
    return areRight(fast) && areRight(slow) && figures.last.changes == figures.changes
        && figures.last.sendingBytes == 0
        && figures.last.clients == qint64(options.fast.size()) + qint64(options.slow.size());
}

void AllSpeeds::stop(const QString &failure)
{
    if (figures.failure.isEmpty())
        figures.failure = failure;
    if (phase == Phase::Settling)
        figures.settleMilliseconds = sincePhase.elapsed();
    phase = Phase::Over;
    checker.stop();
    loop.quit();
}

MemoryOfTenth AllSpeeds::memoryOfTenth(int tenth) const
{
    const std::vector<ServerSample> &samples = figures.samples;
    std::vector<qint64> resident;
    std::vector<qint64> allocated;
    for (const ServerSample &sample : samples) {
        const qint64 at = sample.milliseconds - samples.front().milliseconds;
        const qint64 all = samples.back().milliseconds - samples.front().milliseconds;
        if (at * 10 < all * tenth || at * 10 > all * (tenth + 1))
            continue;
        resident.push_back(sample.memory.resident);
        allocated.push_back(sample.memory.heap);
    }
    return {median(resident), median(allocated)};
}

void AllSpeeds::conclude()
{
    for (ReaderThread *const readers : {&fast, &slow}) {
        const auto all = readers->figures(figures.changes, options.server.keywords);
        figures.readers.insert(figures.readers.end(), all.begin(), all.end());
    }
    for (const ServerSample &sample : figures.samples) {
        figures.residentHighest = std::max(figures.residentHighest, sample.memory.resident);
        figures.allocatedHighest = std::max(figures.allocatedHighest, sample.memory.heap);
    }
    figures.settled = memoryOfTenth(1);
    figures.end = memoryOfTenth(9);
    if (!figures.samples.empty()) {
        const qint64 start = figures.samples.front().milliseconds;
        const qint64 warmUp = start + (figures.samples.back().milliseconds - start) / 10;
        figures.residentGrowth = growthOf(figures.samples, warmUp, &Memory::resident);
        figures.allocatedGrowth = growthOf(figures.samples, warmUp, &Memory::heap);
    }
    if (figures.failure.isEmpty() && figures.last.droppedClients != figures.drops) {
        figures.failure = QStringLiteral("the server counts %1 disconnected clients instead of %2")
                              .arg(figures.last.droppedClients)
                              .arg(figures.drops);
    }
}

} // namespace

AllSpeedsFigures runAllSpeeds(const AllSpeedsOptions &options)
{
    return AllSpeeds(options).run();
}
