// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/stalledclient.h"

#include "tests/soak/reader.h"
#include "tests/soak/stallingreader.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <algorithm>
#include <functional>
#include <memory>

using namespace std::chrono_literals;

namespace {

constexpr auto checkInterval = 100ms;
constexpr auto pieceDelay = 200ms; // until the last events of a piece have arrived
constexpr auto readingTime = 2s;

qint64 microsecondsNow()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

qint64 percentile(std::vector<qint64> values, int percent)
{
    if (values.empty())
        return 0;
    const auto at = values.begin() + (std::ptrdiff_t(values.size()) - 1) * percent / 100;
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

qint64 highest(const std::vector<ServerSample> &samples, qint64 Memory::*field)
{
    qint64 highest = 0;
    for (const ServerSample &sample : samples)
        highest = std::max(highest, sample.memory.*field);
    return highest;
}

// A server with its clients.
class Side : public QObject
{
    Q_OBJECT

public:
    Side(const StalledClientOptions &options, bool withStalled);

    void start() { server.start(); }
    bool isReady() const;
    void begin(); // the measurement
    void change(int changes, bool measured);
    StalledClientSide conclude() const;
    QString readersFailure() const;

Q_SIGNALS:
    void done(); // all changes are done
    void failed(const QString &what);

private:
    void onListening();
    void onSampled(const ServerSample &sample);

    const StalledClientOptions options;
    const bool withStalled;
    ServerProcess server;
    std::vector<std::unique_ptr<Reader>> readers;
    std::unique_ptr<StallingReader> stalled;
    StalledClientSide figures;
    QElapsedTimer sinceBegin;
    std::vector<qint64> latencies;
    bool isMeasured = false;
};

ServerProcess::Options serverOptions(const StalledClientOptions &options)
{
    ServerProcess::Options server;
    server.program = options.serverProgram;
    server.keywords = options.keywords;
    server.changesPerSecond = options.changesPerSecond;
    server.stalledTime = 24h; // the client must stay connected for the whole run
    server.sampleInterval = 100ms;
    server.valuesAreTimes = true;
    return server;
}

Side::Side(const StalledClientOptions &options, bool withStalled)
    : options(options), withStalled(withStalled), server(serverOptions(options))
{
    connect(&server, &ServerProcess::listening, this, &Side::onListening);
    connect(&server, &ServerProcess::sampled, this, &Side::onSampled);
    connect(&server, &ServerProcess::failed, this, &Side::failed);
    connect(&server, &ServerProcess::dropped, this, [this](quint16, const QString &why) {
        Q_EMIT failed(QStringLiteral("a client was disconnected: ") + why);
    });
    connect(&server, &ServerProcess::stopped, this,
            [this] { QTimer::singleShot(pieceDelay, this, &Side::done); });
}

void Side::onListening()
{
    for (int i = 0; i < options.otherClients; ++i) {
        ReaderOptions reader;
        reader.name = QStringLiteral("client %1").arg(i);
        reader.first = options.keywords * i / options.otherClients;
        reader.count = options.keywords * (i + 1) / options.otherClients - reader.first;
        readers.push_back(Reader::create(reader, server.port()));
        connect(readers.back().get(), &Reader::received, this, [this](int, qint64 value) {
            if (!isMeasured)
                return;
            ++figures.events;
            latencies.push_back(microsecondsNow() - value);
        });
    }
    if (!withStalled)
        return;
    stalled = std::make_unique<StallingReader>(server.port(), options.keywords, readingTime);
    connect(stalled.get(), &StallingReader::failed, this, &Side::failed);
    stalled->start();
}

void Side::onSampled(const ServerSample &sample)
{
    figures.last = sample;
    if (!sinceBegin.isValid())
        return;
    if (figures.samples.empty())
        figures.before = sample;
    figures.samples.push_back(sample);
    figures.sampledAt.push_back(sinceBegin.elapsed());
}

bool Side::isReady() const
{
    return !readers.empty() && (!withStalled || stalled->isStalled())
        && std::all_of(readers.begin(), readers.end(),
                       [](const auto &reader) { return reader->hasAllKeywords(); })
        && figures.last.sendingBytes == 0;
}

void Side::begin()
{
    sinceBegin.start();
    server.sample();
}

void Side::change(int changes, bool measured)
{
    isMeasured = measured;
    server.change(changes);
}

StalledClientSide Side::conclude() const
{
    StalledClientSide concluded = figures;
    concluded.medianLatency = percentile(latencies, 50);
    concluded.latency99 = percentile(latencies, 99);
    return concluded;
}

QString Side::readersFailure() const
{
    QString failure;
    for (const auto &reader : readers)
        failure += reader->failure();
    return failure;
}

} // namespace

qint64 StalledClientSide::residentGrowth() const
{
    return highest(samples, &Memory::resident) - before.memory.resident;
}

qint64 StalledClientSide::allocatedGrowth() const
{
    return highest(samples, &Memory::heap) - before.memory.heap;
}

double StalledClientFigures::latencyRatio() const
{
    return without.latency99 > 0 ? double(with.latency99) / double(without.latency99) : 0;
}

StalledClientFigures runStalledClient(const StalledClientOptions &options)
{
    StalledClientFigures figures;
    QEventLoop loop;
    QElapsedTimer elapsed;
    elapsed.start();
    Side with(options, true);
    Side without(options, false);
    const auto end = [&](const QString &failure) {
        if (figures.failure.isEmpty())
            figures.failure = failure;
        loop.quit();
    };

    // One piece for each side to warm up, and then the measured pieces: with, without, without,
    // with, and so on.
    const int pieces = 2 + 2 * (options.events / options.piece);
    int piece = 0;
    const auto next = [&] {
        if (piece == pieces) {
            end(QString());
            return;
        }
        const bool isWith = piece % 4 == 0 || piece % 4 == 3;
        (isWith ? with : without).change(options.piece, piece >= 2);
        ++piece;
    };
    QTimer checker;
    QObject::connect(&checker, &QTimer::timeout, &loop, [&] {
        const QString failure = with.readersFailure() + without.readersFailure();
        if (!failure.isEmpty())
            end(failure);
        else if (elapsed.elapsed() > options.patience.count())
            end(QStringLiteral("not all events came in time"));
        if (piece > 0 || !with.isReady() || !without.isReady())
            return;
        with.begin();
        without.begin();
        next();
    });
    for (Side *const side : {&with, &without}) {
        QObject::connect(side, &Side::done, &loop, next);
        QObject::connect(side, &Side::failed, &loop, end);
    }
    with.start();
    without.start();
    checker.start(checkInterval);
    loop.exec();

    figures.milliseconds = elapsed.elapsed();
    figures.with = with.conclude();
    figures.without = without.conclude();
    return figures;
}

#include "stalledclient.moc"
