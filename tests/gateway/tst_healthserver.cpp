// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/healthserver.h"

#include <QtNetwork/QTcpSocket>
#include <QtTest/QTest>

#include <memory>
#include <vector>

using namespace pellix::gateway;
using namespace std::chrono_literals;

class tst_HealthServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void answers_data();
    void answers();
    void requests_mayComeInParts();
    void slow_isDropped_data();
    void slow_isDropped();
    void connections_areLimited();

private:
    std::unique_ptr<HealthServer> server;
};

void tst_HealthServer::init()
{
    server = std::make_unique<HealthServer>();
    server->setPage("/page", [] { return HealthServer::Page {200, "text/plain", "body\n"}; });
    server->setPage("/away", [] { return HealthServer::Page {503, "text/plain", "no\n"}; });
    QCOMPARE(server->port(), quint16(0));
    QVERIFY(server->listen(QHostAddress::LocalHost, 0));
}

void tst_HealthServer::answers_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("end");
    const auto row = [](const char *name, const QByteArray &request, const char *line,
                        const QByteArray &end) {
        QTest::newRow(name) << request << QByteArray(line) << end;
    };
    row("GET", "GET /page HTTP/1.1\r\nHost: a\r\n\r\n", "HTTP/1.1 200 OK", "\r\n\r\nbody\n");
    row("HTTP/1.0", "GET /page HTTP/1.0\r\n\r\n", "HTTP/1.1 200 OK", "\r\n\r\nbody\n");
    row("query", "GET /page?a=b HTTP/1.1\r\n\r\n", "HTTP/1.1 200 OK", "\r\n\r\nbody\n");
    row("HEAD", "HEAD /page HTTP/1.1\r\n\r\n", "HTTP/1.1 200 OK", "Connection: close\r\n\r\n");
    row("other status", "GET /away HTTP/1.1\r\n\r\n", "HTTP/1.1 503 Service Unavailable",
        "\r\n\r\nno\n");
    row("not there", "GET /pages HTTP/1.1\r\n\r\n", "HTTP/1.1 404 Not Found", "not found\n");
    row("the top", "GET / HTTP/1.1\r\n\r\n", "HTTP/1.1 404 Not Found", "not found\n");
    row("POST", "POST /page HTTP/1.1\r\n\r\n", "HTTP/1.1 405 Method Not Allowed",
        "method not allowed\n");
    row("no HTTP", "hello\r\n\r\n", "HTTP/1.1 400 Bad Request", "bad request\n");
    row("HTTP/2", "PRI * HTTP/2.0\r\n\r\n", "HTTP/1.1 400 Bad Request", "bad request\n");
    row("two at once", "GET /page HTTP/1.1\r\n\r\nGET /page HTTP/1.1\r\n\r\n", "HTTP/1.1 200 OK",
        "Connection: close\r\n\r\nbody\n");
    row("too long", "GET /page HTTP/1.1\r\nA: " + QByteArray(10000, 'a'),
        "HTTP/1.1 431 Request Header Fields Too Large", "request header fields too large\n");
    row("bytes", QByteArray("\0\xff\r\n\r\n", 6), "HTTP/1.1 400 Bad Request", "bad request\n");
}

void tst_HealthServer::answers()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, end);
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, server->port());
    socket.write(request);
    QByteArray answer;
    QTRY_VERIFY((answer += socket.readAll(), answer.endsWith(end)));
    QCOMPARE(answer.left(answer.indexOf("\r\n")), line);
    QCOMPARE(answer.count("HTTP/1.1 "), 1);
    QTRY_COMPARE(socket.state(), QAbstractSocket::UnconnectedState);
}

void tst_HealthServer::requests_mayComeInParts()
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, server->port());
    for (const char part : QByteArray("GET /page HTTP/1.1\r\nHost: a\r\n\r\n")) {
        socket.write(&part, 1);
        QTRY_COMPARE(socket.bytesToWrite(), 0);
    }
    QTRY_COMPARE(socket.state(), QAbstractSocket::UnconnectedState);
    QVERIFY(socket.readAll().endsWith("body\n"));
}

void tst_HealthServer::slow_isDropped_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::newRow("says nothing") << QByteArray();
    QTest::newRow("half a request") << QByteArray("GET /page");
}

void tst_HealthServer::slow_isDropped()
{
    QFETCH(QByteArray, request);
    server->setTimeout(50ms);
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, server->port());
    QTRY_COMPARE(socket.state(), QAbstractSocket::ConnectedState);
    socket.write(request);
    QTRY_COMPARE(socket.state(), QAbstractSocket::UnconnectedState);
}

void tst_HealthServer::connections_areLimited()
{
    std::vector<std::unique_ptr<QTcpSocket>> sockets;
    for (int i = 0; i < 40; ++i) {
        sockets.push_back(std::make_unique<QTcpSocket>());
        sockets.back()->connectToHost(QHostAddress::LocalHost, server->port());
        QTRY_VERIFY(sockets.back()->state() != QAbstractSocket::ConnectingState);
    }
    const auto connected = [&] {
        return std::count_if(sockets.cbegin(), sockets.cend(), [](const auto &socket) {
            return socket->state() == QAbstractSocket::ConnectedState;
        });
    };
    QTRY_COMPARE(connected(), 32);
    sockets.clear();
    // Closed connections make room for new ones.
    const auto isAnswered = [&] {
        QTcpSocket next;
        next.connectToHost(QHostAddress::LocalHost, server->port());
        next.write("GET /page HTTP/1.1\r\n\r\n");
        return QTest::qWaitFor([&] { return next.state() == QAbstractSocket::UnconnectedState; })
            && next.readAll().endsWith("body\n");
    };
    QTRY_VERIFY(isAnswered());
}

QTEST_GUILESS_MAIN(tst_HealthServer)
#include "tst_healthserver.moc"
