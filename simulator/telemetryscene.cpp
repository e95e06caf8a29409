// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "simulator/telemetryscene.h"

#include "server/keywordserver.h"

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

using server::KeywordServer;

namespace {

constexpr double defaultRate = 5.0; // Hz
constexpr double lowestRate = 0.2;
constexpr double highestRate = 50.0;
constexpr double sectorBytes = 512.0; // the unit of the kernel's disk statistics
constexpr double bytesPerKibibyte = 1024.0;

QList<QByteArray> fieldsOf(const QByteArray &line)
{
    return line.simplified().split(' ');
}

// Returns nothing if the field is missing or is not a number.
std::optional<double> numberAt(const QList<QByteArray> &fields, qsizetype index)
{
    bool isNumber = false;
    const double number = fields.value(index).toDouble(&isNumber);
    return isNumber ? std::optional<double>(number) : std::nullopt;
}

// The path of the load of a core, or of all cores, by its name in the statistics of the kernel.
QString loadPath(const QByteArray &name)
{
    return name == "cpu"
        ? QStringLiteral("/machine/cpu/load")
        : QStringLiteral("/machine/cpu/core%1/load").arg(QString::fromLatin1(name.mid(3)));
}

// Adds a known number, in units of the given number of bytes, to the sum. The sum stays unset while
// nothing is known.
void addBytes(std::optional<double> &sum, const std::optional<double> &part, double unit)
{
    if (part)
        sum = sum.value_or(0) + *part * unit;
}

} // namespace

class Q_DECL_HIDDEN TelemetryScene::Private
{
public:
    struct CoreTimes
    {
        double busy = 0;
        double total = 0;
    };

    QList<QByteArray> linesOf(const char *file) const;
    QList<QByteArray> firstFieldsOf(const char *file) const;
    bool isWholeDisk(const QByteArray &name) const;
    void declare(const char *path, const char *type, const char *label, const QVariant &value = {},
                 const char *access = "R");
    void set(const QString &path, const std::optional<double> &value);
    void setOnline(const QString &path, bool online);
    void setRate(const QString &path, const char *counter, const std::optional<double> &total,
                 double seconds);
    void refresh();
    void readCores();
    void setLoad(const QString &path, const QHash<QString, CoreTimes> &times);
    void compareLoad();
    void readMemory();
    void readLoad();
    void readUptime();
    void readDisks(double seconds);
    void readNetwork(double seconds);
    void readProcesses();

    QPointer<KeywordServer> server;
    QDir root {QStringLiteral("/")}; // of the file system that contains the files of the kernel
    QTimer timer;
    QElapsedTimer sinceRefresh;
    QStringList loadPaths; // of each core, and of all cores together
    std::optional<double> load; // of all cores together, in percent
    QHash<QString, CoreTimes> cores; // by load path
    QHash<QByteArray, double> counters;
};

QList<QByteArray> TelemetryScene::Private::linesOf(const char *file) const
{
    QFile source(root.filePath(QString::fromLatin1(file)));
    if (!source.open(QIODevice::ReadOnly))
        return {};
    return source.readAll().split('\n');
}

QList<QByteArray> TelemetryScene::Private::firstFieldsOf(const char *file) const
{
    return fieldsOf(linesOf(file).value(0));
}

bool TelemetryScene::Private::isWholeDisk(const QByteArray &name) const
{
    return root.exists(QLatin1String("sys/block/") + QString::fromLatin1(name))
        && !name.startsWith("loop") && !name.startsWith("ram");
}

void TelemetryScene::Private::declare(const char *path, const char *type, const char *label,
                                      const QVariant &value, const char *access)
{
    KeywordServer::Keyword keyword;
    keyword.path = QString::fromUtf8(path);
    keyword.type = QString::fromUtf8(type);
    keyword.label = QString::fromUtf8(label);
    keyword.access = QString::fromUtf8(access);
    keyword.value = value;
    keyword.online = value.isValid(); // a measured keyword goes online with its first value
    server->declare(keyword);
}

// Sets a measured value. A keyword that cannot be measured goes offline and keeps its last value.
void TelemetryScene::Private::set(const QString &path, const std::optional<double> &value)
{
    if (value)
        server->setValue(path, *value);
    setOnline(path, value.has_value());
}

void TelemetryScene::Private::setOnline(const QString &path, bool online)
{
    server->setState(path, true, online, true, false);
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
    QHash<QString, CoreTimes> times;
    for (const QByteArray &line : linesOf("proc/stat")) {
        const QList<QByteArray> fields = fieldsOf(line);
        if (!line.startsWith("cpu") || fields.size() < 8)
            continue;
        CoreTimes now;
        bool complete = true;
        for (int i = 1; i <= 8 && i < fields.size(); ++i) {
            const std::optional<double> ticks = numberAt(fields, i);
            complete &= ticks.has_value();
            now.total += ticks.value_or(0);
            if (i != 4 && i != 5) // neither idle nor waiting for I/O
                now.busy += ticks.value_or(0);
        }
        if (complete)
            times.insert(loadPath(fields.constFirst()), now);
    }
    for (const QString &path : std::as_const(loadPaths))
        setLoad(path, times);
}

void TelemetryScene::Private::setLoad(const QString &path, const QHash<QString, CoreTimes> &times)
{
    std::optional<double> percent;
    if (!times.contains(path)) {
        cores.remove(path);
    } else {
        const CoreTimes now = times.value(path);
        const CoreTimes before = cores.value(path, now);
        const bool isFirst = !cores.contains(path);
        if (!isFirst && !(now.total > before.total))
            return; // the counters of the kernel have not changed yet
        cores.insert(path, now);
        if (!isFirst)
            percent = 100.0 * (now.busy - before.busy) / (now.total - before.total);
    }
    set(path, percent);
    if (path == loadPath("cpu"))
        load = percent;
}

void TelemetryScene::Private::compareLoad()
{
    const double limit = server->value(QStringLiteral("/machine/settings/highLoad")).toDouble();
    const QString path = QStringLiteral("/machine/cpu/high");
    if (load)
        server->setValue(path, *load > limit);
    setOnline(path, load.has_value());
}

void TelemetryScene::Private::readMemory()
{
    QHash<QByteArray, double> bytes;
    for (const QByteArray &line : linesOf("proc/meminfo")) {
        const QList<QByteArray> fields = fieldsOf(line);
        if (const std::optional<double> size = numberAt(fields, 1))
            bytes.insert(fields.at(0).chopped(1), *size * bytesPerKibibyte);
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
    const QList<QByteArray> fields = firstFieldsOf("proc/loadavg");
    set(QStringLiteral("/machine/load/1min"), numberAt(fields, 0));
    set(QStringLiteral("/machine/load/5min"), numberAt(fields, 1));
    set(QStringLiteral("/machine/load/15min"), numberAt(fields, 2));
}

void TelemetryScene::Private::readUptime()
{
    set(QStringLiteral("/machine/uptime"), numberAt(firstFieldsOf("proc/uptime"), 0));
}

void TelemetryScene::Private::readDisks(double seconds)
{
    std::optional<double> read, written;
    for (const QByteArray &line : linesOf("proc/diskstats")) {
        const QList<QByteArray> fields = fieldsOf(line);
        if (!isWholeDisk(fields.value(2)))
            continue;
        addBytes(read, numberAt(fields, 5), sectorBytes);
        addBytes(written, numberAt(fields, 9), sectorBytes);
    }
    setRate(QStringLiteral("/machine/disk/readRate"), "read", read, seconds);
    setRate(QStringLiteral("/machine/disk/writeRate"), "written", written, seconds);
}

void TelemetryScene::Private::readNetwork(double seconds)
{
    std::optional<double> received, sent;
    for (const QByteArray &line : linesOf("proc/net/dev")) {
        const qsizetype colon = line.indexOf(':');
        if (colon < 0 || line.left(colon).trimmed() == "lo")
            continue;
        const QList<QByteArray> fields = fieldsOf(line.mid(colon + 1));
        addBytes(received, numberAt(fields, 0), 1);
        addBytes(sent, numberAt(fields, 8), 1);
    }
    setRate(QStringLiteral("/machine/network/receiveRate"), "received", received, seconds);
    setRate(QStringLiteral("/machine/network/sendRate"), "sent", sent, seconds);
}

void TelemetryScene::Private::readProcesses()
{
    const QStringList entries =
        QDir(root.filePath(QStringLiteral("proc"))).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
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
    \namespace pellix::simulator
    \inmodule PellixClientSimulator
    \inheaderfile simulator/faultkeywords.h
    \brief Contains scenes for a keyword server, and a server with faults.
*/

/*!
    \class pellix::simulator::TelemetryScene
    \inmodule PellixClientSimulator
    \inheaderfile simulator/telemetryscene.h
    \ingroup PellixClientSimulatorClasses
    \brief The TelemetryScene class declares keywords with the state of the machine on which it
    runs.

    All keywords are below /machine and are read from the files of the kernel, five times per second
    by default. Sizes are in bytes, rates in bytes per second, loads of cores in percent, and times
    in seconds. Keywords that are not available on this machine stay offline. Keywords that can no
    longer be read go offline and keep their last values.

    The keywords below /machine/settings are writable: refreshRate in Hz, from 0.2 to 50; paused,
    which stops the measurements; name, the display name of the machine, not empty; and highLoad, a
    limit in percent from 0 to 100, with which /machine/cpu/high compares the load.
*/

/*!
    Constructs a scene on \a server, which is not owned. Nothing is declared before start(). If
    \a parent is given, it owns the scene.
*/
TelemetryScene::TelemetryScene(KeywordServer *server, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>())
{
    d->server = server;
    connect(&d->timer, &QTimer::timeout, this, [this] {
        d->refresh();
        if (d->server)
            d->compareLoad();
    });
}

/*!
    Destroys the scene. Its keywords do not change.
*/
TelemetryScene::~TelemetryScene() = default;

/*!
    Sets the root of the kernel's files to \a folder: the scene reads the directories \c proc and
    \c sys in it. Call this function before start().
*/
void TelemetryScene::setRootFolder(const QString &folder)
{
    d->root.setPath(folder);
}

/*!
    Declares the keywords and starts the measurements. If called again, it declares them again, with
    default settings.
*/
void TelemetryScene::start()
{
    if (!d->server)
        return;
    d->declare("/machine/host/name", "string", "Host name", QSysInfo::machineHostName());
    d->declare("/machine/host/system", "string", "Operating system", QSysInfo::prettyProductName());
    d->declare("/machine/host/kernel", "string", "Kernel", QSysInfo::kernelVersion());
    d->declare("/machine/cpu/load", "double", "Processor load");
    d->declare("/machine/cpu/high", "bool", "Load is high");
    d->declare("/machine/cpu/count", "int", "Cores", QThread::idealThreadCount());
    d->loadPaths = QStringList {loadPath("cpu")};
    for (const QByteArray &line : d->linesOf("proc/stat")) {
        if (!line.startsWith("cpu") || line.startsWith("cpu "))
            continue;
        const QByteArray name = fieldsOf(line).constFirst();
        const QByteArray number = name.mid(3);
        const QString path = loadPath(name);
        d->declare(qPrintable(path), "double", QByteArray("Load of core " + number).constData());
        d->server->setLabel(QStringLiteral("/machine/cpu/core") + QString::fromLatin1(number),
                            QStringLiteral("Core ") + QString::fromLatin1(number));
        d->loadPaths.append(path);
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

    d->server->setWriteCheck(QStringLiteral("/machine/settings/refreshRate"),
                             [this](const QVariant &value) {
                                 const double rate = value.toDouble();
                                 if (!(rate >= lowestRate && rate <= highestRate))
                                     return false;
                                 d->timer.setInterval(qRound(1000.0 / rate));
                                 return true;
                             });
    d->server->setWriteCheck(QStringLiteral("/machine/settings/name"), [](const QVariant &value) {
        return !value.toString().trimmed().isEmpty();
    });
    d->server->setWriteCheck(
        QStringLiteral("/machine/settings/highLoad"),
        [](const QVariant &value) { return value.toInt() >= 0 && value.toInt() <= 100; });

    d->cores.clear();
    d->load.reset();
    d->counters.clear();
    d->sinceRefresh.invalidate();
    d->refresh();
    d->timer.start(qRound(1000.0 / defaultRate));
}

/*!
    Stops the measurements. The keywords do not change.
*/
void TelemetryScene::stop()
{
    d->timer.stop();
}

} // namespace pellix::simulator
