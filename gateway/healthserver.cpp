// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/healthserver.h"

#include <QtCore/QHash>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

namespace pellix::gateway {

namespace {

using namespace std::chrono_literals;

constexpr int mostConnections = 32;
constexpr qsizetype greatestRequest = qsizetype(8) * 1024; // bytes of the request line and headers

QByteArray reasonOf(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 400:
        return "Bad Request";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 431:
        return "Request Header Fields Too Large";
    default:
        return "Service Unavailable";
    }
}

HealthServer::Page plain(int status)
{
    return {status, "text/plain; charset=utf-8", reasonOf(status).toLower() + '\n'};
}

QByteArray response(const HealthServer::Page &page, bool hasBody)
{
    QByteArray text = "HTTP/1.1 " + QByteArray::number(page.status) + ' ' + reasonOf(page.status)
        + "\r\nContent-Type: " + page.type
        + "\r\nContent-Length: " + QByteArray::number(page.body.size())
        + "\r\nCache-Control: no-store\r\nConnection: close\r\n";
    if (page.status == 405)
        text += "Allow: GET, HEAD\r\n";
    text += "\r\n";
    return hasBody ? text + page.body : text;
}

} // namespace

class HealthServer::Private
{
public:
    void serve(QTcpSocket *connection);
    void read(QTcpSocket *connection);
    void answer(QTcpSocket *connection, const Page &page, bool hasBody = true) const;

    QTcpServer server;
    QHash<QByteArray, Handler> pages;
    std::chrono::milliseconds timeout = 5s;
    int connections = 0;
};

HealthServer::HealthServer(QObject *parent) : QObject(parent), d(std::make_unique<Private>())
{
    connect(&d->server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *const connection = d->server.nextPendingConnection())
            d->serve(connection);
    });
}

HealthServer::~HealthServer() = default;

void HealthServer::setPage(const QByteArray &path, const Handler &handler)
{
    d->pages.insert(path, handler);
}

void HealthServer::setTimeout(std::chrono::milliseconds timeout)
{
    d->timeout = timeout;
}

bool HealthServer::listen(const QHostAddress &address, quint16 port)
{
    return d->server.listen(address, port);
}

void HealthServer::close()
{
    d->server.close();
}

quint16 HealthServer::port() const
{
    return d->server.serverPort();
}

QString HealthServer::errorString() const
{
    return d->server.errorString();
}

void HealthServer::Private::serve(QTcpSocket *connection)
{
    if (connections == mostConnections) {
        connection->abort();
        connection->deleteLater();
        return;
    }
    ++connections;
    connection->setReadBufferSize(greatestRequest + 1);
    connect(connection, &QTcpSocket::disconnected, &server, [this, connection] {
        --connections;
        connection->deleteLater();
    });
    connect(connection, &QTcpSocket::readyRead, connection,
            [this, connection] { read(connection); });
    // Limits the time of the connection, even if the client reads or writes slowly.
    QTimer::singleShot(timeout, connection, [connection] { connection->abort(); });
    read(connection);
}

void HealthServer::Private::read(QTcpSocket *connection)
{
    const QByteArray request = connection->peek(greatestRequest + 1);
    const qsizetype end = request.indexOf("\r\n\r\n");
    if (end < 0) {
        if (request.size() > greatestRequest)
            answer(connection, plain(431));
        return;
    }
    const QList<QByteArray> line = request.left(request.indexOf("\r\n")).split(' ');
    if (line.size() != 3 || !line.at(2).startsWith("HTTP/1.")) {
        answer(connection, plain(400));
        return;
    }
    const bool isHead = line.at(0) == "HEAD";
    if (!isHead && line.at(0) != "GET") {
        answer(connection, plain(405));
        return;
    }
    const QByteArray path = line.at(1).split('?').constFirst();
    const Handler handler = pages.value(path);
    answer(connection, handler ? handler() : plain(404), !isHead);
}

void HealthServer::Private::answer(QTcpSocket *connection, const Page &page, bool hasBody) const
{
    // Reply only once, even if the client sends more.
    QObject::disconnect(connection, &QTcpSocket::readyRead, nullptr, nullptr);
    connection->readAll();
    connection->write(response(page, hasBody));
    connection->disconnectFromHost();
}

} // namespace pellix::gateway
