// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/changingkeywords.h"
#include "tests/soak/memory.h"

#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include <unistd.h>

using namespace pellix::server;
using namespace std::chrono_literals;

/*
    The server for a run of clients, in a separate process, so that its memory can be measured.

    It reads lines from standard input: "change <count>", where 0 stands for endless changes,
    "stop", and "sample". It prints its reports as lines of JSON, and exits at the end of its input.
*/
namespace {

constexpr auto changeInterval = 2ms;
constexpr int mostTicksAtOnce = 10; // limit for the changes to catch up on a busy machine

void tell(const QJsonObject &object)
{
    const QByteArray line = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fflush(stdout);
}

void tellWarning(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        tell({{QStringLiteral("warning"), text}});
}

qint64 microsecondsNow()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

class ChangingServer : public QObject
{
public:
    struct Options
    {
        int keywords = 0;
        int changesPerSecond = 0;
        int stalledMs = 0;
        bool valuesAreTimes = false;
    };

    explicit ChangingServer(const Options &options) : options(options)
    {
        Limits limits = server.limits();
        limits.stalledTime = std::chrono::milliseconds(options.stalledMs);
        server.setLimits(limits);
        for (int i = 0; i < options.keywords; ++i) {
            KeywordServer::Keyword keyword;
            keyword.path = ChangingKeywords::name(i);
            keyword.type = QStringLiteral("int");
            keyword.value = 0;
            server.declare(keyword);
            paths.append(keyword.path);
        }
        ticker.setTimerType(Qt::PreciseTimer);
        ticker.setInterval(changeInterval);
        connect(&ticker, &QTimer::timeout, this, &ChangingServer::tick);
        sinceStart.start();
    }

    bool listen()
    {
        if (!sockets.listen())
            return false;
        tell({{QStringLiteral("port"), sockets.port()}});
        return true;
    }

    void obey(const QByteArray &line)
    {
        if (line.startsWith("change ")) {
            end = line.mid(7).toLongLong();
            end = end > 0 ? changes + end : 0;
            due = 0;
            sinceTick.start();
            ticker.start();
        } else if (line == "stop") {
            stop();
        } else if (line == "sample") {
            sample();
        }
    }

    void sample()
    {
        const Memory memory = Memory::now();
        const Statistics statistics = sockets.statistics();
        tell({{QStringLiteral("ms"), sinceStart.elapsed()},
              {QStringLiteral("resident"), memory.resident},
              {QStringLiteral("allocated"), memory.heap},
              {QStringLiteral("changes"), changes},
              {QStringLiteral("clients"), statistics.clients},
              {QStringLiteral("sendingBytes"), statistics.sendingBytes},
              {QStringLiteral("events"), qint64(statistics.events)},
              {QStringLiteral("sentBytes"), qint64(statistics.bytesOut)},
              {QStringLiteral("skipped"), qint64(statistics.skippedValues)},
              {QStringLiteral("dropped"), qint64(statistics.droppedClients)}});
    }

private:
    // Makes the changes that are due. Changes that were missed on a busy machine are skipped.
    void tick()
    {
        const double most = double(mostTicksAtOnce) * double(changeInterval.count())
            * options.changesPerSecond / 1000;
        due += double(sinceTick.nsecsElapsed()) * options.changesPerSecond / 1e9;
        due = std::min(due, std::max(most, 1.0));
        sinceTick.start();
        for (; due >= 1; --due) {
            const qint64 value =
                options.valuesAreTimes ? microsecondsNow() : changes / options.keywords + 1;
            server.setValue(paths.at(qsizetype(changes % options.keywords)), value);
            if (++changes == end) {
                stop();
                return;
            }
        }
    }

    void stop()
    {
        ticker.stop();
        tell({{QStringLiteral("stopped"), changes}});
    }

    const Options options;
    KeywordServer server;
    WebSocketKeywordServer sockets {&server};
    QStringList paths;
    qint64 changes = 0;
    qint64 end = 0;
    double due = 0;
    QTimer ticker;
    QElapsedTimer sinceTick;
    QElapsedTimer sinceStart;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("soak-server"));
    qInstallMessageHandler(tellWarning);

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("The server of a run of the program soak."));
    parser.addHelpOption();
    const QCommandLineOption keywords(QStringLiteral("keywords"),
                                      QStringLiteral("Serve <count> keywords."),
                                      QStringLiteral("count"), QStringLiteral("10000"));
    const QCommandLineOption rate(QStringLiteral("rate"),
                                  QStringLiteral("Make <count> changes per second."),
                                  QStringLiteral("count"), QStringLiteral("10000"));
    const QCommandLineOption stalledTime(
        QStringLiteral("stalled-time"),
        QStringLiteral("Disconnect a client that reads nothing for <ms> milliseconds."),
        QStringLiteral("ms"), QStringLiteral("30000"));
    const QCommandLineOption sampleInterval(
        QStringLiteral("sample-interval"),
        QStringLiteral("Tell the memory every <ms> milliseconds."), QStringLiteral("ms"),
        QStringLiteral("5000"));
    const QCommandLineOption times(
        QStringLiteral("times"),
        QStringLiteral("Values are the microseconds at which they were set."));
    parser.addOptions({keywords, rate, stalledTime, sampleInterval, times});
    parser.process(application);

    ChangingServer server({std::max(1, parser.value(keywords).toInt()),
                           std::max(1, parser.value(rate).toInt()),
                           std::max(1, parser.value(stalledTime).toInt()), parser.isSet(times)});
    if (!server.listen())
        return 1;
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout, &server, &ChangingServer::sample);
    sampler.start(std::max(1, parser.value(sampleInterval).toInt()));

    QByteArray input;
    QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &server, [&server, &input] {
        char bytes[256];
        const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
        if (count <= 0) {
            QCoreApplication::quit();
            return;
        }
        input.append(bytes, qsizetype(count));
        for (qsizetype end = input.indexOf('\n'); end >= 0; end = input.indexOf('\n')) {
            server.obey(input.left(end));
            input.remove(0, end + 1);
        }
    });
    return QCoreApplication::exec();
}
