// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/clientidentification.h"
#include "server/peer.h"
#include "server/serverglobal.h"
#include "server/statistics.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslKey>

#include <chrono>
#include <memory>

QT_BEGIN_NAMESPACE
class QTcpSocket;
class QWebSocket;
QT_END_NAMESPACE

namespace pellix::server {

class KeywordServer;

class PELLIXCLIENT_SERVER_EXPORT WebSocketKeywordServer : public QObject
{
    Q_OBJECT

public:
    enum class Refusal {
        BadRequest,
        ForeignOrigin,
        NoCredentials,
        WrongCredentials,
        TooManyAttempts,
        TooManyClients
    };
    Q_ENUM(Refusal)

    explicit WebSocketKeywordServer(KeywordServer *server, QObject *parent = nullptr);
    ~WebSocketKeywordServer() override;

    bool setTls(const QSslCertificate &certificate, const QSslKey &key);
    bool setTls(const QList<QSslCertificate> &chain, const QSslKey &key);
    int certificateDays() const;
    void setUnencryptedAllowed(bool allowed);
    bool setIdentification(const ClientIdentification &identification);
    ClientIdentification identification() const;
    void endSessions(const QString &role);
    void setAllowedOrigins(const QStringList &origins);
    static bool isOrigin(const QString &text);
    std::chrono::milliseconds handshakeTimeout() const;
    void setHandshakeTimeout(std::chrono::milliseconds timeout);
    int maximumClients() const;
    void setMaximumClients(int clients);
    int maximumHandshakes() const;
    void setMaximumHandshakes(int handshakes);
    int maximumAttempts() const;
    void setMaximumAttempts(int attempts);

    bool listen(const QHostAddress &address = QHostAddress::LocalHost, quint16 port = 0);
    void close();
    QHostAddress address() const;
    quint16 port() const;
    QUrl url() const;
    QList<QUrl> urls() const;
    QString errorString() const;
    int clientCount() const;
    int handshakeCount() const;
    quint64 refusedClients(Refusal reason) const;
    quint64 droppedHandshakes() const;
    Statistics statistics() const;

    void closeClients();
    int closeClients(int most);

Q_SIGNALS:
    void clientCountChanged();

protected:
    virtual void accept(QTcpSocket *connection);
    virtual void deliver(QWebSocket *client, const QByteArray &message);
    void sendTo(QWebSocket *client, const QString &text);
    void sendTo(QWebSocket *client, const QByteArray &data);

    KeywordServer *keywordServer() const;
    QList<QTcpSocket *> connections() const;
    QList<QWebSocket *> clients() const;
    Peer peerOf(QWebSocket *client) const;
    void abortClients();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::server
