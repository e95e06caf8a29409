// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/websocketkeywordclient.h"

#include <QtCore/QTimer>

#include <functional>

QT_BEGIN_NAMESPACE
class QWebSocket;
QT_END_NAMESPACE

// A client that shows each message as it came, before it takes it, and the socket below.
class ListeningClient : public pellix::client::PWebSocketKeywordClient
{
public:
    std::function<void(const QByteArray &message)> onMessage;

    // While it tells that the connection was made or lost; null at other times.
    QWebSocket *callingSocket() const;

protected:
    bool receiveCommand(const QByteArray &data) override
    {
        if (onMessage)
            onMessage(data);
        return PWebSocketKeywordClient::receiveCommand(data);
    }
};

/*
    The connection to the first of some servers that can be reached. Once open it is kept, or made
    again, for as long as it lives. What happens to it is said on standard error: only a loss and a
    return, unless it is announced, which says that the first attempts fail, too.
*/
class Connection : public QObject
{
    Q_OBJECT

public:
    Connection(const QStringList &urls, bool reconnects);
    ~Connection() override;

    ListeningClient *client() { return &webSocket; }
    bool isOpen() const { return webSocket.connected(); }
    QString address() const; // of the server in use, without secrets
    QString problem() const; // why there is none, for people

    void setAnnounced(bool announced) { announcesAttempts = announced; }
    void open();

Q_SIGNALS:
    void opened(); // each time
    void lost();
    void failed(); // and is not tried again

private:
    void onActiveChanged();
    QString lossReason() const;
    void onLost();
    void onTransportProblem(const QString &problem);
    void onAttemptFailed();
    void tryNext();

    ListeningClient webSocket;
    QStringList urls; // the one in use comes first
    const bool reconnects;
    bool announcesAttempts = false;
    bool announcedFailure = false;
    bool wasOpen = false;
    bool failurePending = false;
    int failures = 0;
    QString lastProblem;
    QTimer nextTimer;
    QTimer patience; // with one server of several
};
