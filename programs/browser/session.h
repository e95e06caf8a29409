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
// some addresses. Both can be changed at any time; whoever is bound to client then moves along.
//
// An address may carry a secret, such as a token, and a token may go with it. The window shows
// neither, and nothing saves them.
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
    // Offers what is to be had without an address: a client whose server lives in this process.
    // It is created when it is needed first, and owned by the session.
    using CreateInProcess = std::function<pellix::client::PKeywordClient *(Session *session)>;

    explicit Session(CreateInProcess createInProcess, QObject *parent = nullptr);
    ~Session() override;

    pellix::client::PKeywordClient *client() const; // null until addresses are set

    // Without addresses it is the server in this process. What is no WebSocket address is refused,
    // see problem().
    QStringList addresses() const;
    void setAddresses(const QStringList &addresses);
    QString shownAddress() const; // of the server in use; empty for the one in this process
    bool inProcess() const;

    // PEM files for wss:// addresses: the authorities to trust, a certificate and its key.
    QString caFile() const;
    void setCaFile(const QString &fileName);
    QString certificateFile() const;
    void setCertificateFile(const QString &fileName);
    QString keyFile() const;
    void setKeyFile(const QString &fileName);

    // The token goes with the addresses that are set, and is forgotten with them: other servers are
    // not to see it.
    bool hasToken() const;
    Q_INVOKABLE void setToken(const QString &token);

    bool connected() const;
    QDateTime lostAt() const; // invalid while connected, and before the first connection
    QString reason() const; // why there is no connection, as far as that is known
    bool unusable() const; // there will be none with the present settings
    int retryIn() const; // milliseconds until the next attempt; 0 while there is none to wait for

    bool autoReconnect() const;
    void setAutoReconnect(bool autoReconnect);

    double eventsPerSecond() const;

    // The addresses in a text, separated by blanks or commas. One that is shown without its secret
    // stands for the address that is set.
    Q_INVOKABLE QStringList parseAddresses(const QString &text) const;
    // The addresses as a text, without their secrets.
    Q_INVOKABLE QString shown(const QStringList &addresses) const;
    // What is wrong with them, in words, or an empty text.
    Q_INVOKABLE QString problem(const QStringList &addresses) const;

    Q_INVOKABLE void disconnectFromServer();
    Q_INVOKABLE void tryNow(); // rather than in a while

    // To be called for each message that comes from the server.
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

// A client of any transport that tells the session about each message it receives.
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
