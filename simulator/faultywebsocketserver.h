// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/websocketkeywordserver.h"
#include "simulator/simulatorglobal.h"

#include <chrono>
#include <memory>

namespace pellix::simulator {

class PELLIXCLIENT_SIMULATOR_EXPORT FaultyWebSocketServer : public server::WebSocketKeywordServer
{
    Q_OBJECT

public:
    explicit FaultyWebSocketServer(server::KeywordServer *server, QObject *parent = nullptr);
    ~FaultyWebSocketServer() override;

    void setSilent(bool silent);
    void setAnswerDelay(std::chrono::milliseconds delay);
    void setDuplicateIndexItems(bool duplicate);
    void setWrongRequestIds(bool wrong);
    using WebSocketKeywordServer::abortClients;
    void sendText(const QString &text);
    void sendBinary(const QByteArray &data);
    bool restart();

Q_SIGNALS:
    void restarted();

protected:
    void accept(QTcpSocket *connection) override;
    void deliver(QWebSocket *client, const QByteArray &message) override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::simulator
