// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "extras/extrasglobal.h"

#include <QtCore/QStringList>
#include <QtCore/QVariantMap>
#include <QtQml/QQmlParserStatus>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace pellix::client {
class WebSocket;
}

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_EXPORT PKeywordConnection : public pellix::client::PKeywordClient,
                                                      public QQmlParserStatus
{
    Q_OBJECT
    Q_INTERFACES(QQmlParserStatus)
    Q_PROPERTY(QStringList urls READ urls WRITE setUrls NOTIFY urlsChanged)
    Q_PROPERTY(bool enabled READ enabled WRITE setEnabled NOTIFY enabledChanged)
    Q_PROPERTY(
        bool autoReconnect READ autoReconnect WRITE setAutoReconnect NOTIFY autoReconnectChanged)
    Q_PROPERTY(
        int minRetryDelay READ minRetryDelay WRITE setMinRetryDelay NOTIFY minRetryDelayChanged)
    Q_PROPERTY(
        int maxRetryDelay READ maxRetryDelay WRITE setMaxRetryDelay NOTIFY maxRetryDelayChanged)
    Q_PROPERTY(int handshakeTimeout READ handshakeTimeout WRITE setHandshakeTimeout NOTIFY
                   handshakeTimeoutChanged)
    Q_PROPERTY(QString token READ token WRITE setToken NOTIFY tokenChanged)
    Q_PROPERTY(QVariantMap headers READ headers WRITE setHeaders NOTIFY headersChanged)
    Q_PROPERTY(bool allowPlainCredentials READ allowPlainCredentials WRITE setAllowPlainCredentials
                   NOTIFY allowPlainCredentialsChanged)
    Q_PROPERTY(QString caFile READ caFile WRITE setCaFile NOTIFY caFileChanged)
    Q_PROPERTY(QString certificateFile READ certificateFile WRITE setCertificateFile NOTIFY
                   certificateFileChanged)
    Q_PROPERTY(QString keyFile READ keyFile WRITE setKeyFile NOTIFY keyFileChanged)
    Q_PROPERTY(bool connected READ connected NOTIFY connectedChanged)
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(QString address READ address NOTIFY addressChanged)
    Q_PROPERTY(QString reason READ reason NOTIFY reasonChanged)
    Q_PROPERTY(int retryIn READ retryIn NOTIFY retryInChanged)
    QML_ELEMENT

public:
    enum State {
        Disconnected,
        Connecting,
        Connected,
        Waiting,
        Unusable,
    };
    Q_ENUM(State)

    explicit PKeywordConnection(QObject *parent = nullptr);
    ~PKeywordConnection() override;

    QStringList urls() const;
    void setUrls(const QStringList &urls);

    bool enabled() const;
    void setEnabled(bool enabled);
    bool autoReconnect() const;
    void setAutoReconnect(bool autoReconnect);
    int minRetryDelay() const;
    void setMinRetryDelay(int milliseconds);
    int maxRetryDelay() const;
    void setMaxRetryDelay(int milliseconds);
    int handshakeTimeout() const;
    void setHandshakeTimeout(int milliseconds);

    QString token() const;
    void setToken(const QString &token);
    QVariantMap headers() const;
    void setHeaders(const QVariantMap &headers);
    bool allowPlainCredentials() const;
    void setAllowPlainCredentials(bool allow);
    QString caFile() const;
    void setCaFile(const QString &fileName);
    QString certificateFile() const;
    void setCertificateFile(const QString &fileName);
    QString keyFile() const;
    void setKeyFile(const QString &fileName);

    bool connected() const;
    State state() const;
    QString address() const;
    QString reason() const;
    int retryIn() const;

    Q_INVOKABLE void open();
    Q_INVOKABLE void close();

Q_SIGNALS:
    void urlsChanged();
    void enabledChanged();
    void autoReconnectChanged();
    void minRetryDelayChanged();
    void maxRetryDelayChanged();
    void handshakeTimeoutChanged();
    void tokenChanged();
    void headersChanged();
    void allowPlainCredentialsChanged();
    void caFileChanged();
    void certificateFileChanged();
    void keyFileChanged();
    void connectedChanged();
    void stateChanged();
    void addressChanged();
    void reasonChanged();
    void retryInChanged();

protected:
    void classBegin() override;
    void componentComplete() override;
    bool sendCommand(const QByteArray &data) override;

private:
    using Signal = void (PKeywordConnection::*)();

    template <typename Value> void set(Value *setting, const Value &value, Signal changed);
    void setDelay(int *setting, int milliseconds, const char *name, Signal changed);
    void restart();
    void chooseTargets();
    void attempt();
    void follow(pellix::client::WebSocket *socket);
    void onSocketState();
    void onSocketError();
    void onConnected();
    void keepAlive();
    void end(const QString &reason);
    void wait();
    void countDown();
    void tell();

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::extras
