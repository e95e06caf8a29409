// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"

namespace pellix::client {

class PELLIXCLIENT_KEYWORD_EXPORT PWebSocketKeywordClient : public PKeywordClient
{
    Q_OBJECT
    Q_PROPERTY(QString url READ url NOTIFY urlChanged)
    Q_PROPERTY(QStringList urls READ urls WRITE setUrls NOTIFY urlsChanged)
    Q_PROPERTY(
        bool autoReconnect READ autoReconnect WRITE setAutoReconnect NOTIFY autoReconnectChanged)
    Q_PROPERTY(bool connected READ connected NOTIFY connectedChanged)

public:
    explicit PWebSocketKeywordClient(QObject *parent = nullptr);
    ~PWebSocketKeywordClient() override;

    QString url() const;

    QList<QString> urls() const;
    void setUrls(const QList<QString> &urls);

    bool autoReconnect() const;
    void setAutoReconnect(bool autoReconnect);

    bool connected() const;

    Q_INVOKABLE void disconnect(); // hides QObject::disconnect: part of the interface

Q_SIGNALS:
    void urlChanged();
    void urlsChanged();
    void autoReconnectChanged();
    void connectedChanged();

protected:
    void timerEvent(QTimerEvent *event) override;
    bool sendCommand(const QByteArray &data) override;

private:
    void reconnect();

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::client
