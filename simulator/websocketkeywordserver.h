// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "simulator/simulatorglobal.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslKey>

#include <chrono>
#include <memory>

namespace pellix::simulator {

class KeywordServer;

class PELLIXCLIENT_SIMULATOR_EXPORT WebSocketKeywordServer : public QObject
{
    Q_OBJECT

public:
    explicit WebSocketKeywordServer(KeywordServer *server, QObject *parent = nullptr);
    ~WebSocketKeywordServer() override;

    bool setTls(const QSslCertificate &certificate, const QSslKey &key);
    void setAllowedOrigins(const QStringList &origins);
    static bool isOrigin(const QString &text);
    std::chrono::milliseconds handshakeTimeout() const;
    void setHandshakeTimeout(std::chrono::milliseconds timeout);
    bool listen(const QHostAddress &address = QHostAddress::LocalHost, quint16 port = 0);
    void close();
    quint16 port() const;
    QUrl url() const;
    QList<QUrl> urls() const;
    QString errorString() const;
    int clientCount() const;

    // Faults, for tests of clients
    void setSilent(bool silent);
    void setAnswerDelay(std::chrono::milliseconds delay);
    void setDuplicateIndexItems(bool duplicate);
    void setWrongRequestIds(bool wrong);
    void closeClients();
    void abortClients();
    void sendText(const QString &text);
    void sendBinary(const QByteArray &data);
    bool restart();

Q_SIGNALS:
    void clientCountChanged();
    void restarted();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::simulator
