// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "simulator/telemetryscene.h"

#include "simulator/keywordserver.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QPointer>
#include <QtCore/QSysInfo>
#include <QtCore/QThread>
#include <QtCore/QTimer>

#include <algorithm>
#include <optional>

namespace pellix::simulator {

namespace {

constexpr double defaultRate = 5.0; // Hz
constexpr double lowestRate = 0.2;
constexpr double highestRate = 50.0;
constexpr double sectorBytes = 512.0; // the unit of the kernel's disk statistics
constexpr double bytesPerKibibyte = 1024.0;

QList<QByteArray> linesOf(const char *file)
{
    QFile source(QString::fromLatin1(file));
    if (!source.open(QIODevice::ReadOnly))
        return {};
    return source.readAll().split('\n');
}

QList<QByteArray> fieldsOf(const QByteArray &line)
{
    return line.simplified().split(' ');
}

bool isWholeDisk(const QByteArray &name)
{
    return QDir(QStringLiteral("/sys/block/") + QString::fromLatin1(name)).exists()
        && !name.startsWith("loop") && !name.startsWith("ram");
}

} // namespace

class TelemetryScene::Private
{
public:
    struct CoreTimes
    {
        double busy = 0;
        double total = 0;
    };

    void declare(const char *path, const char *type, const char *label, const QVariant &value = {},
                 const char *access = "R");
    void set(const QString &path, const std::optional<double> &value);
    void setRate(const QString &path, const char *counter, const std::optional<double> &total,
                 double seconds);
    void refresh();
    void readCores();
    void readMemory();
    void readLoad();
    void readUptime();
    void readDisks(double seconds);
    void readNetwork(double seconds);
    void readProcesses();

    QPointer<KeywordServer> server;
    QTimer timer;
    QElapsedTimer sinceRefresh;
    QHash<QString, CoreTimes> cores;
    QHash<QByteArray, double> counters;
};

void TelemetryScene::Private::declare(const char *path, const char *type, const char *label,
                                      const QVariant &value, const char *access)
{
    KeywordServer::Keyword keyword;
    keyword.path = QString::fromUtf8(path);
    keyword.type = QString::fromUtf8(type);
    keyword.label = QString::fromUtf8(label);
    keyword.access = QString::fromUtf8(access);
    keyword.value = value;
    keyword.online = value.isValid(); // what is measured comes online with its first value
    server->declare(keyword);
}

// Sets a measured value; what cannot be measured goes offline and keeps what it had.
void TelemetryScene::Private::set(const QString &path, const std::optional<double> &value)
{
    if (value)
        server->setValue(path, *value);
    server->setState(path, true, value.has_value(), true, false);
}

// Sets the rate at which a counter of the kernel grows, per second.
void TelemetryScene::Private::setRate(const QString &path, const char *counter,
                                      const std::optional<double> &total, double seconds)
{
    if (!total) {
        counters.remove(counter);
        set(path, std::nullopt);
        return;
    }
    const auto before = counters.constFind(counter);
    if (before != counters.cend() && seconds > 0)
        set(path, qMax(0.0, (*total - *before) / seconds));
    counters.insert(counter, *total);
}

void TelemetryScene::Private::readCores()
{
    for (const QByteArray &line : linesOf("/proc/stat")) {
        if (!line.startsWith("cpu"))
            continue;
        const QList<QByteArray> fields = fieldsOf(line);
        if (fields.size() < 8)
            continue;
        CoreTimes now;
        for (int i = 1; i <= 8 && i < fields.size(); ++i) {
            const double ticks = fields.at(i).toDouble();
            now.total += ticks;
            if (i != 4 && i != 5) // neither idle nor waiting for a disk
                now.busy += ticks;
        }
        const QString name = QString::fromLatin1(fields.constFirst());
        const QString path = name == QLatin1String("cpu")
            ? QStringLiteral("/machine/cpu/load")
            : QStringLiteral("/machine/cpu/core%1/load").arg(name.mid(3));
        const CoreTimes before = cores.value(name);
        if (cores.contains(name) && now.total > before.total)
            set(path, 100.0 * (now.busy - before.busy) / (now.total - before.total));
        if (!cores.contains(name) || now.total > before.total)
            cores.insert(name, now);
    }
}

void TelemetryScene::Private::readMemory()
{
    QHash<QByteArray, double> bytes;
    for (const QByteArray &line : linesOf("/proc/meminfo")) {
        const QList<QByteArray> fields = fieldsOf(line);
        if (fields.size() >= 2)
            bytes.insert(fields.at(0).chopped(1), fields.at(1).toDouble() * bytesPerKibibyte);
    }
    const auto read = [&bytes](const char *name) {
        const auto found = bytes.constFind(name);
        return found == bytes.cend() ? std::nullopt : std::optional<double>(*found);
    };
    const std::optional<double> total = read("MemTotal");
    const std::optional<double> available = read("MemAvailable");
    const bool known = total && available;
    set(QStringLiteral("/machine/memory/total"), total);
    set(QStringLiteral("/machine/memory/available"), available);
    set(QStringLiteral("/machine/memory/used"),
        known ? std::optional<double>(*total - *available) : std::nullopt);
}

void TelemetryScene::Private::readLoad()
{
    const QList<QByteArray> lines = linesOf("/proc/loadavg");
    const QList<QByteArray> fields = lines.isEmpty() ? lines : fieldsOf(lines.constFirst());
    const char *const paths[] = {"/machine/load/1min", "/machine/load/5min", "/machine/load/15min"};
    for (int i = 0; i < 3; ++i) {
        set(QString::fromLatin1(paths[i]),
            fields.size() > i ? std::optional<double>(fields.at(i).toDouble()) : std::nullopt);
    }
}

void TelemetryScene::Private::readUptime()
{
    const QList<QByteArray> lines = linesOf("/proc/uptime");
    set(QStringLiteral("/machine/uptime"),
        lines.isEmpty() ? std::nullopt
                        : std::optional<double>(fieldsOf(lines.constFirst()).at(0).toDouble()));
}

void TelemetryScene::Private::readDisks(double seconds)
{
    std::optional<double> read, written;
    for (const QByteArray &line : linesOf("/proc/diskstats")) {
        const QList<QByteArray> fields = fieldsOf(line);
        if (fields.size() < 10 || !isWholeDisk(fields.at(2)))
            continue;
        read = read.value_or(0) + fields.at(5).toDouble() * sectorBytes;
        written = written.value_or(0) + fields.at(9).toDouble() * sectorBytes;
    }
    setRate(QStringLiteral("/machine/disk/readRate"), "read", read, seconds);
    setRate(QStringLiteral("/machine/disk/writeRate"), "written", written, seconds);
}

void TelemetryScene::Private::readNetwork(double seconds)
{
    std::optional<double> received, sent;
    for (const QByteArray &line : linesOf("/proc/net/dev")) {
        const int colon = int(line.indexOf(':'));
        if (colon < 0 || line.left(colon).trimmed() == "lo")
            continue;
        const QList<QByteArray> fields = fieldsOf(line.mid(colon + 1));
        if (fields.size() < 9)
            continue;
        received = received.value_or(0) + fields.at(0).toDouble();
        sent = sent.value_or(0) + fields.at(8).toDouble();
    }
    setRate(QStringLiteral("/machine/network/receiveRate"), "received", received, seconds);
    setRate(QStringLiteral("/machine/network/sendRate"), "sent", sent, seconds);
}

void TelemetryScene::Private::readProcesses()
{
    const QStringList entries =
        QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    const auto count = std::count_if(entries.cbegin(), entries.cend(),
                                     [](const QString &name) { return name.at(0).isDigit(); });
    set(QStringLiteral("/machine/processes/count"),
        count > 0 ? std::optional<double>(double(count)) : std::nullopt);
}

void TelemetryScene::Private::refresh()
{
    if (!server)
        return;
    const double seconds = sinceRefresh.isValid() ? double(sinceRefresh.nsecsElapsed()) / 1e9 : 0;
    sinceRefresh.start();
    if (server->value(QStringLiteral("/machine/settings/paused")).toBool())
        return;
    readCores();
    readMemory();
    readLoad();
    readUptime();
    readDisks(seconds);
    readNetwork(seconds);
    readProcesses();
}

/*!
    \class pellix::simulator::TelemetryScene
    \inmodule PellixClientSimulator
    \inheaderfile simulator/telemetryscene.h
    \ingroup PellixClientSimulatorClasses
    \brief The TelemetryScene class declares keywords that show the machine it runs on.

    All are below /machine and read from the kernel's files, five times a second by default. Sizes
    are in bytes, rates in bytes per second, loads of cores in percent, times in seconds. What this
    machine does not offer stays offline.

    The keywords below /machine/settings can be written: refreshRate in Hz, from 0.2 to 50; paused,
    which stops the measuring; name, the machine's display name, not empty; and highLoad, a limit in
    percent from 0 to 100 that /machine/cpu/high compares the load with.
*/

/*!
    Constructs a scene on \a server, which is not owned. Nothing is declared before start().
    \a parent owns the scene, if given.
*/
TelemetryScene::TelemetryScene(KeywordServer *server, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>())
{
    d->server = server;
    connect(&d->timer, &QTimer::timeout, this, [this] {
        d->refresh();
        if (d->server) {
            const double load = d->server->value(QStringLiteral("/machine/cpu/load")).toDouble();
            const double limit =
                d->server->value(QStringLiteral("/machine/settings/highLoad")).toDouble();
            d->server->setValue(QStringLiteral("/machine/cpu/high"), load > limit);
        }
    });
}

/*!
    Destroys the scene. Its keywords stay as they are.
*/
TelemetryScene::~TelemetryScene() = default;

/*!
    Declares the keywords and starts to measure. Called again it declares them anew, with the
    settings at their defaults.
*/
void TelemetryScene::start()
{
    if (!d->server)
        return;
    d->declare("/machine/host/name", "string", "Host name", QSysInfo::machineHostName());
    d->declare("/machine/host/system", "string", "Operating system", QSysInfo::prettyProductName());
    d->declare("/machine/host/kernel", "string", "Kernel", QSysInfo::kernelVersion());
    d->declare("/machine/cpu/load", "double", "Processor load");
    d->declare("/machine/cpu/high", "bool", "Load is high", false);
    d->declare("/machine/cpu/count", "int", "Cores", QThread::idealThreadCount());
    for (const QByteArray &line : linesOf("/proc/stat")) {
        if (!line.startsWith("cpu") || line.startsWith("cpu "))
            continue;
        const QByteArray number = fieldsOf(line).constFirst().mid(3);
        d->declare(QByteArray("/machine/cpu/core" + number + "/load").constData(), "double",
                   QByteArray("Load of core " + number).constData());
        d->server->setLabel(QStringLiteral("/machine/cpu/core") + QString::fromLatin1(number),
                            QStringLiteral("Core ") + QString::fromLatin1(number));
    }
    d->declare("/machine/memory/total", "double", "Memory");
    d->declare("/machine/memory/used", "double", "Memory in use");
    d->declare("/machine/memory/available", "double", "Memory available");
    d->declare("/machine/load/1min", "double", "Load, 1 min");
    d->declare("/machine/load/5min", "double", "Load, 5 min");
    d->declare("/machine/load/15min", "double", "Load, 15 min");
    d->declare("/machine/uptime", "double", "Uptime");
    d->declare("/machine/disk/readRate", "double", "Read rate");
    d->declare("/machine/disk/writeRate", "double", "Write rate");
    d->declare("/machine/network/receiveRate", "double", "Receive rate");
    d->declare("/machine/network/sendRate", "double", "Send rate");
    d->declare("/machine/processes/count", "int", "Processes");
    d->declare("/machine/settings/refreshRate", "double", "Refresh rate", defaultRate, "RW");
    d->declare("/machine/settings/paused", "bool", "Paused", false, "RW");
    d->declare("/machine/settings/name", "string", "Display name", QSysInfo::machineHostName(),
               "RW");
    d->declare("/machine/settings/highLoad", "int", "High load from", 80, "RW");
    const std::pair<const char *, const char *> levels[] = {
        {"/machine", "This machine"},      {"/machine/host", "Host"},
        {"/machine/cpu", "Processor"},     {"/machine/memory", "Memory"},
        {"/machine/load", "Load average"}, {"/machine/disk", "Disks"},
        {"/machine/network", "Network"},   {"/machine/processes", "Processes"},
        {"/machine/settings", "Settings"},
    };
    for (const auto &[path, label] : levels)
        d->server->setLabel(QString::fromLatin1(path), QString::fromLatin1(label));

    d->server->setWriteHandler(QStringLiteral("/machine/settings/refreshRate"),
                               [this](const QVariant &value) {
                                   const double rate = value.toDouble();
                                   if (!(rate >= lowestRate && rate <= highestRate))
                                       return false;
                                   d->timer.setInterval(qRound(1000.0 / rate));
                                   return true;
                               });
    d->server->setWriteHandler(QStringLiteral("/machine/settings/name"), [](const QVariant &value) {
        return !value.toString().trimmed().isEmpty();
    });
    d->server->setWriteHandler(
        QStringLiteral("/machine/settings/highLoad"),
        [](const QVariant &value) { return value.toInt() >= 0 && value.toInt() <= 100; });

    d->cores.clear();
    d->counters.clear();
    d->sinceRefresh.invalidate();
    d->refresh();
    d->timer.start(qRound(1000.0 / defaultRate));
}

/*!
    Stops to measure. The keywords stay as they are.
*/
void TelemetryScene::stop()
{
    d->timer.stop();
}

} // namespace pellix::simulator
