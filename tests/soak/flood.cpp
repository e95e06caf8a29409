// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/flood.h"

#include "tests/soak/memory.h"

#include "binding/keywordproxy.h"
#include "tests/support/socketclient.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

#include <algorithm>
#include <memory>
#include <vector>

using namespace pellix::client;
using namespace std::chrono_literals;

namespace {

// The data that a server buffers for the connection, in its own memory and in the system: enough
// that the connection is always busy, but not so much that a pong is delayed beyond the keep-alive
// time.
constexpr int sendBufferSize = 256 * 1024;
constexpr auto memoryInterval = 20ms;

QString keywordName(int i)
{
    return QStringLiteral("/flood/group%1/k%2").arg(i / 100).arg(i % 100);
}

// Not the simulator, which would need more time per event than the client.
class FloodServer : public QObject
{
public:
    explicit FloodServer(const FloodOptions &options)
        : options(options), server(QStringLiteral("flood"), QWebSocketServer::NonSecureMode)
    {
        server.setParent(this); // moves to the thread with this object
        connect(&server, &QWebSocketServer::newConnection, this, [this] {
            socket = server.nextPendingConnection();
            socket->setParent(this);
            const auto connections = findChildren<QTcpSocket *>(); // children of either object
            for (QTcpSocket *const connection : connections)
                connection->setSocketOption(QAbstractSocket::SendBufferSizeSocketOption,
                                            sendBufferSize);
            connect(socket, &QWebSocket::textMessageReceived, this, [this] {
                if (++creates == this->options.keywords)
                    send();
            });
            connect(socket, &QWebSocket::bytesWritten, this, &FloodServer::send);
        });
        for (int i = 0; i < options.keywords; ++i) {
            heads.push_back(QStringLiteral("{\"cmd\":\"keyEvent\",\"payload\":{\"connected\":true,"
                                           "\"consistent\":true,\"error\":false,\"keyword\":\"%1\","
                                           "\"online\":true,\"type\":\"int\",\"value\":")
                                .arg(keywordName(i)));
        }
    }

    // Called in the thread of this object.
    quint16 listen() { return server.listen(QHostAddress::LocalHost) ? server.serverPort() : 0; }

private:
    void send()
    {
        if (creates < options.keywords)
            return;
        while (sent < options.events && socket->bytesToWrite() < sendBufferSize) {
            const int keyword = sent % options.keywords;
            const int value = sent / options.keywords + 1;
            socket->sendTextMessage(heads[size_t(keyword)] + QString::number(value)
                                    + QLatin1String("}}"));
            ++sent;
        }
    }

    const FloodOptions options;
    QWebSocketServer server;
    QWebSocket *socket = nullptr;
    std::vector<QString> heads; // of the events, up to the value
    int creates = 0;
    int sent = 0;
};

} // namespace

FloodFigures runFlood(const FloodOptions &options)
{
    FloodFigures figures;
    const int lastValue = options.events / options.keywords;

    QThread thread;
    auto *const server = new FloodServer(options);
    server->moveToThread(&thread);
    QObject::connect(&thread, &QThread::finished, server, &QObject::deleteLater);
    thread.start();
    quint16 port = 0;
    QMetaObject::invokeMethod(
        server, [&] { port = server->listen(); }, Qt::BlockingQueuedConnection);

    QEventLoop loop;
    QElapsedTimer sinceFirst;
    QElapsedTimer sinceTurn;
    qint64 receivedAtTurn = 0;
    const auto give = [&](const QString &failure) {
        if (figures.failure.isEmpty())
            figures.failure = failure;
        loop.quit();
    };

    std::vector<int> values(size_t(options.keywords), 0);
    SocketClient client;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies;
    for (int i = 0; i < options.keywords; ++i) {
        proxies.push_back(std::make_unique<PKeywordProxy>());
        PKeywordProxy *const proxy = proxies.back().get();
        proxy->setClient(&client);
        proxy->setKeyword(keywordName(i));
        QObject::connect(proxy, &PKeywordProxy::valueChanged, &loop, [&, i, proxy] {
            if (figures.received == 0) {
                sinceFirst.start();
                sinceTurn.start();
            }
            ++figures.received;
            const int expected = ++values[size_t(i)];
            if (proxy->value() != QVariant(qlonglong(expected)))
                give(QStringLiteral("%1 got %2 instead of %3")
                         .arg(keywordName(i), proxy->value().toString())
                         .arg(expected));
            if (figures.received == options.events)
                loop.quit();
        });
    }

    QObject::connect(client.publisher(), &PPublisher::activeChanged, &loop, [&] {
        if (client.publisher()->active() || figures.received == 0)
            return;
        figures.linkLost = true;
        give(QStringLiteral("the connection was lost after %1 events").arg(figures.received));
    });

    // The measure of the event loop: a timer that waits like animations and clicks.
    QTimer turn;
    turn.setTimerType(Qt::PreciseTimer);
    QObject::connect(&turn, &QTimer::timeout, &loop, [&] {
        if (figures.received == 0)
            return;
        ++figures.turns;
        figures.longestPause = std::max(figures.longestPause, sinceTurn.restart());
        figures.largestBatch = std::max(figures.largestBatch, figures.received - receivedAtTurn);
        receivedAtTurn = figures.received;
    });
    turn.start(1ms);
    QTimer memory;
    QObject::connect(&memory, &QTimer::timeout, &loop, [&] {
        const qint64 resident = Memory::now().resident;
        if (figures.received == 0)
            figures.residentBefore = resident;
        figures.residentHighest = std::max(figures.residentHighest, resident);
    });
    memory.start(memoryInterval);
    QTimer patience;
    patience.setSingleShot(true);
    QObject::connect(&patience, &QTimer::timeout, &loop, [&] {
        give(QStringLiteral("%1 of %2 events came in time")
                 .arg(figures.received)
                 .arg(options.events));
    });
    patience.start(std::chrono::seconds(options.patienceSeconds));

    // All keywords are bound. Changes in memory from here on are caused by the flood.
    figures.residentBefore = figures.residentHighest = Memory::now().resident;
    client.setUrls({QStringLiteral("ws://127.0.0.1:%1").arg(port)});
    loop.exec();
    figures.milliseconds = sinceFirst.isValid() ? sinceFirst.elapsed() : 0;
    figures.longestPause =
        std::max(figures.longestPause, sinceTurn.isValid() ? sinceTurn.elapsed() : 0);

    for (int i = 0; i < options.keywords; ++i)
        figures.lastValuesRight += proxies[size_t(i)]->value() == QVariant(qlonglong(lastValue));
    if (figures.failure.isEmpty() && figures.lastValuesRight != options.keywords)
        figures.failure =
            QStringLiteral("only %1 keywords have their last value").arg(figures.lastValuesRight);
    thread.quit();
    thread.wait();
    return figures;
}
