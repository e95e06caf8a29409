// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/otherprocess.h"

#include "benchmarks/eventtext.h"
#include "benchmarks/spellings.h"
#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"
#include "server/writerequest.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTextStream>
#include <QtCore/QTimer>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

#include <ctime>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <vector>

#ifdef HAVE_REMOTEOBJECTS
int serveRemoteObjects(int count);
#endif

using namespace pellix::server;

namespace {

constexpr int startTime = 30000; // milliseconds
constexpr int longestWait = 120000; // milliseconds
constexpr qint64 mostWaitingBytes = 1 << 20;
constexpr int mostClients = 2000; // more than in any benchmark

void announce(quint16 port)
{
    QTextStream(stdout) << port << Qt::endl;
}

// Texts as WebSocket frames, one after the other. Sending them costs next to nothing, so that the
// receiver is what limits the rate.
class EventFrames
{
public:
    explicit EventFrames(const std::vector<QByteArray> &texts)
    {
        for (const QByteArray &text : texts) {
            starts.push_back(bytes.size());
            bytes += "\x81\x7e" + bigEndian(quint16(text.size())) + text;
        }
        starts.push_back(bytes.size());
    }

    size_t count() const { return starts.size() - 1; }
    qint64 write(QTcpSocket *socket, size_t first, size_t last) const
    {
        return socket->write(bytes.constData() + starts[first], starts[last] - starts[first]);
    }

private:
    static QByteArray bigEndian(quint16 size)
    {
        return QByteArray(1, char(size >> 8)) + char(size & 0xff);
    }

    QByteArray bytes;
    std::vector<qsizetype> starts;
};

// The events that one client has requested.
class EventSource : public QObject
{
public:
    EventSource(const EventFrames &frames, QWebSocket *client, QTcpSocket *connection)
        : QObject(client), frames(frames), connection(connection)
    {
        connect(connection, &QTcpSocket::bytesWritten, this, &EventSource::send);
        connect(client, &QWebSocket::textMessageReceived, this, &EventSource::receive);
    }

private:
    void receive(const QString &command)
    {
        const QJsonObject payload =
            QJsonDocument::fromJson(command.toUtf8()).object()[QLatin1String("payload")].toObject();
        if (payload[QLatin1String("keyword")].toString() != QLatin1String("/go"))
            return;
        left = size_t(payload[QLatin1String("value")].toInteger());
        send();
    }

    void send()
    {
        while (left > 0 && connection->bytesToWrite() < mostWaitingBytes) {
            const size_t sent = std::min({left, frames.count() - next, size_t(1000)});
            frames.write(connection, next, next + sent);
            next = (next + sent) % frames.count();
            left -= sent;
        }
    }

    const EventFrames &frames;
    QTcpSocket *const connection;
    size_t next = 0;
    size_t left = 0;
};

// Accepts WebSocket connections from any number of clients at once. Each comes with the connection
// below it.
int serveBare(const std::function<void(QWebSocket *, QTcpSocket *)> &serve)
{
    std::map<quint16, QTcpSocket *> connections; // by the port of the client
    QTcpServer listener;
    listener.setListenBacklogSize(mostClients);
    QWebSocketServer server(QStringLiteral("bare"), QWebSocketServer::NonSecureMode);
    QObject::connect(&listener, &QTcpServer::newConnection, &server, [&] {
        while (QTcpSocket *const connection = listener.nextPendingConnection()) {
            connections[connection->peerPort()] = connection;
            server.handleConnection(connection);
        }
    });
    QObject::connect(&server, &QWebSocketServer::newConnection, &server, [&] {
        QWebSocket *const socket = server.nextPendingConnection();
        QObject::connect(socket, &QWebSocket::disconnected, socket, &QObject::deleteLater);
        serve(socket, connections.at(socket->peerPort()));
    });
    if (!listener.listen(QHostAddress::LocalHost, 0))
        return 1;
    announce(listener.serverPort());
    return QCoreApplication::exec();
}

// When a client writes a number to the keyword /go, sends that many events to it, as fast as it
// accepts them.
int serveEvents(const std::vector<QByteArray> &texts)
{
    const EventFrames frames(texts);
    return serveBare([&frames](QWebSocket *socket, QTcpSocket *connection) {
        new EventSource(frames, socket, connection);
    });
}

int serveEcho()
{
    const QString answer = QString::fromUtf8(eventText(keywordName(0), 1));
    return serveBare([answer](QWebSocket *socket, QTcpSocket *) {
        QObject::connect(socket, &QWebSocket::textMessageReceived, socket,
                         [socket, answer](const QString &) { socket->sendTextMessage(answer); });
    });
}

// Sends the given number of texts to each client, and receives none.
int serveGreetings(int count)
{
    const QString text = QString::fromUtf8(eventText(keywordName(0), 1));
    return serveBare([text, count](QWebSocket *socket, QTcpSocket *) {
        for (int i = 0; i < count; ++i)
            socket->sendTextMessage(text);
    });
}

int serveKeywords(int keywords)
{
    KeywordServer server;
    for (int i = 0; i < keywords; ++i) {
        server.declare(
            {keywordName(i), QStringLiteral("double"), QStringLiteral("RW"), QString(), 1.5 + i});
    }
    WebSocketKeywordServer transport(&server);
    if (!transport.listen(QHostAddress::LocalHost, 0))
        return 1;
    announce(transport.port());
    return QCoreApplication::exec();
}

// All clients have a role with limited rights. Sending is limited as by default, but the numbers of
// clients and of pending handshakes are not, because all clients connect at once. When a client
// writes a number to /go, the server changes that many keywords.
int servePanels(int keywords)
{
    KeywordServer server;
    server.setRole({QStringLiteral("panel"),
                    {QStringLiteral("/plant/**"), QStringLiteral("/go")},
                    {QStringLiteral("/plant/*/*/speed"), QStringLiteral("/go")}});
    for (int i = 0; i < keywords; ++i) {
        server.declare(
            {keywordName(i), QStringLiteral("double"), QStringLiteral("RW"), QString(), 1.5 + i});
    }
    KeywordServer::Keyword start;
    start.path = QStringLiteral("/go");
    start.type = QStringLiteral("int");
    start.access = QStringLiteral("RW");
    server.declare(start);
    double value = 1000.25;
    server.setWriteHandler(start.path, [&](const WriteRequest &request) {
        value = value < 9000 ? value + 1 : 1000.25; // always written with the same length
        for (int i = 0; i < request.value().toInt(); ++i)
            server.setValue(keywordName(i), value);
        request.accept();
    });
    WebSocketKeywordServer transport(&server);
    ClientIdentification identification;
    identification.role = QStringLiteral("panel");
    transport.setIdentification(identification);
    transport.setMaximumClients(mostClients);
    transport.setMaximumHandshakes(mostClients);
    if (!transport.listen(QHostAddress::LocalHost, 0))
        return 1;
    announce(transport.port());
    return QCoreApplication::exec();
}

} // namespace

OtherProcess::OtherProcess(const QString &role, const QStringList &arguments)
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(),
                  QStringList {QStringLiteral("--role"), role} + arguments);
    QElapsedTimer timer;
    timer.start();
    while (!process.canReadLine() && timer.elapsed() < startTime) {
        if (!process.waitForReadyRead(startTime))
            return;
    }
    port = process.readLine().trimmed().toUShort();
}

OtherProcess::~OtherProcess()
{
    process.closeWriteChannel(); // requests the process to exit
    if (!process.waitForFinished(5000)) {
        process.kill();
        process.waitForFinished();
    }
}

QString OtherProcess::url() const
{
    return QStringLiteral("ws://127.0.0.1:%1").arg(port);
}

int serveRole(const QString &role, const QStringList &arguments)
{
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &input, [] {
        char byte = 0;
        if (read(STDIN_FILENO, &byte, 1) <= 0)
            QCoreApplication::quit();
    });
    const int count = arguments.value(0).toInt();
    if (role == QLatin1String("events"))
        return serveEvents(eventTexts(count));
    if (role == QLatin1String("spellings"))
        return serveEvents(textsInAllSpellings(count));
    if (role == QLatin1String("echo"))
        return serveEcho();
    if (role == QLatin1String("keywords"))
        return serveKeywords(count);
    if (role == QLatin1String("greeter"))
        return serveGreetings(count);
    if (role == QLatin1String("panels"))
        return servePanels(count);
#ifdef HAVE_REMOTEOBJECTS
    if (role == QLatin1String("remoteobjects"))
        return serveRemoteObjects(count);
#endif
    QTextStream(stderr) << "benchmarks: no role '" << role << "'" << Qt::endl;
    return 1;
}

double processorTime(qint64 process)
{
    clockid_t clock {};
    timespec time {};
    if (clock_getcpuclockid(pid_t(process), &clock) != 0 || clock_gettime(clock, &time) != 0)
        return 0;
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

bool waitFor(const std::function<bool()> &condition)
{
    QElapsedTimer timer;
    timer.start();
    QTimer wake; // checks the time limit if there are no other events
    wake.start(1000);
    while (!condition()) {
        if (timer.elapsed() > longestWait)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

bool smokeRun()
{
    return qEnvironmentVariableIsSet("PELLIX_BENCHMARK_SMOKE");
}
