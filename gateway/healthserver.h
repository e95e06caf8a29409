// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtNetwork/QHostAddress>

#include <chrono>
#include <functional>
#include <memory>

namespace pellix::gateway {

// Serves a few pages over HTTP, for monitoring. Each connection gets one reply.
class HealthServer : public QObject
{
    Q_OBJECT

public:
    struct Page
    {
        int status = 200;
        QByteArray type;
        QByteArray body;
    };
    using Handler = std::function<Page()>;

    explicit HealthServer(QObject *parent = nullptr);
    ~HealthServer() override;

    void setPage(const QByteArray &path, const Handler &handler); // such as "/healthz"
    void setTimeout(std::chrono::milliseconds timeout); // for a connection as a whole

    bool listen(const QHostAddress &address, quint16 port);
    void close(); // stops listening
    quint16 port() const; // 0: not listening
    QString errorString() const;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::gateway
