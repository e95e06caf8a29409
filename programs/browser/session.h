// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/connection/keywordconnection.h"

#include <QtCore/QDateTime>
#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QTimer>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>

// The connection of the browser: to the server in this process, or over a WebSocket to one of
// several addresses. You can switch between them at any time; bindings to client follow.
//
// An address may contain a secret, such as a token, and a separate token may be set. The window
// shows neither of them, and they are never saved.
class Session : public QObject
{
    Q_OBJECT
    Q_PROPERTY(pellix::client::PKeywordClient *client READ client NOTIFY clientChanged)
    Q_PROPERTY(QStringList addresses READ addresses WRITE setAddresses NOTIFY addressesChanged)
    Q_PROPERTY(QString shownAddress READ shownAddress NOTIFY shownAddressChanged)
    Q_PROPERTY(QString caFile READ caFile WRITE setCaFile NOTIFY filesChanged)
    Q_PROPERTY(
        QString certificateFile READ certificateFile WRITE setCertificateFile NOTIFY filesChanged)
    Q_PROPERTY(QString keyFile READ keyFile WRITE setKeyFile NOTIFY filesChanged)
    Q_PROPERTY(bool hasToken READ hasToken NOTIFY hasTokenChanged)
    Q_PROPERTY(bool inProcess READ inProcess NOTIFY addressesChanged)
    Q_PROPERTY(bool connected READ connected NOTIFY connectedChanged)
    Q_PROPERTY(QDateTime lostAt READ lostAt NOTIFY connectedChanged)
    Q_PROPERTY(QString reason READ reason NOTIFY reasonChanged)
    Q_PROPERTY(bool unusable READ unusable NOTIFY stateChanged)
    Q_PROPERTY(int retryIn READ retryIn NOTIFY retryInChanged)
    Q_PROPERTY(
        bool autoReconnect READ autoReconnect WRITE setAutoReconnect NOTIFY autoReconnectChanged)
    Q_PROPERTY(double eventsPerSecond READ eventsPerSecond NOTIFY eventsPerSecondChanged)
    QML_ELEMENT
    QML_UNCREATABLE("The program creates the session")

public:
    // Creates the client that is used without an address, whose server is in this process. It is
    // created when it is first needed, and owned by the session.
    using CreateInProcess = std::function<pellix::client::PKeywordClient *(Session *session)>;

    explicit Session(CreateInProcess createInProcess, QObject *parent = nullptr);
    ~Session() override;

    pellix::client::PKeywordClient *client() const; // null until addresses are set

    // An empty list selects the server in this process. Invalid WebSocket addresses are refused;
    // see problem().
    QStringList addresses() const;
    void setAddresses(const QStringList &addresses);
    QString shownAddress() const; // of the server in use; empty for the one in this process
    bool inProcess() const;

    // PEM files for wss:// addresses: the trusted authorities, a certificate, and its key.
    QString caFile() const;
    void setCaFile(const QString &fileName);
    QString certificateFile() const;
    void setCertificateFile(const QString &fileName);
    QString keyFile() const;
    void setKeyFile(const QString &fileName);

    // The token belongs to the current addresses. Setting others discards it, so that it is never
    // sent to another server.
    bool hasToken() const;
    Q_INVOKABLE void setToken(const QString &token);

    bool connected() const;
    QDateTime lostAt() const; // invalid while connected, and before the first connection
    QString reason() const; // why there is no connection, if known
    bool unusable() const; // no connection is possible with the current settings
    int retryIn() const; // milliseconds until the next attempt; 0 if none is scheduled

    bool autoReconnect() const;
    void setAutoReconnect(bool autoReconnect);

    double eventsPerSecond() const;

    // The addresses in a text, separated by spaces or commas. A current address as it is shown,
    // without its secret, stands for the complete one.
    Q_INVOKABLE QStringList parseAddresses(const QString &text) const;
    // The addresses as a text, without their secrets.
    Q_INVOKABLE QString shown(const QStringList &addresses) const;
    // A description of the first problem with the addresses, or an empty string.
    Q_INVOKABLE QString problem(const QStringList &addresses) const;

    Q_INVOKABLE void disconnectFromServer();
    Q_INVOKABLE void tryNow(); // without waiting for the next attempt

    // Call this function for each message from the server.
    void countEvent() { ++events; }

Q_SIGNALS:
    void clientChanged();
    void addressesChanged();
    void shownAddressChanged();
    void filesChanged();
    void hasTokenChanged();
    void connectedChanged();
    void reasonChanged();
    void stateChanged();
    void retryInChanged();
    void autoReconnectChanged();
    void eventsPerSecondChanged();

private:
    void adopt(pellix::client::PKeywordClient *client);
    pellix::extras::PKeywordConnection *connection() const; // null for the server in this process
    pellix::client::PKeywordClient *createConnection();
    void setFile(QString *file, const QString &fileName,
                 void (pellix::extras::PKeywordConnection::*set)(const QString &));
    void onActiveChanged();
    void measure();

    const CreateInProcess createInProcess;
    pellix::client::PKeywordClient *inProcessClient = nullptr;
    pellix::client::PKeywordClient *current = nullptr;
    QStringList list;
    QDateTime lost;
    bool wasConnected = false;
    bool reconnecting = true;
    QString authorities;
    QString certificate;
    QString key;
    QString token;

    QTimer rateTimer;
    qint64 measuredAt = 0;
    int events = 0;
    double rate = 0;
};

// A client for any transport that notifies the session of each received message.
template <typename Client> class CountedClient : public Client
{
public:
    explicit CountedClient(Session *session) : Client(session), session(session) { }

protected:
    bool receiveCommand(const QByteArray &data) override
    {
        session->countEvent();
        return Client::receiveCommand(data);
    }

private:
    Session *const session;
};
