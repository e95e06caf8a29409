// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/connection/keywordconnection.h"
#include "programs/keyword/settings.h"

#include <functional>

// A client that passes each message to a handler, unchanged, before it processes the message.
class ListeningClient : public pellix::extras::PKeywordConnection
{
public:
    std::function<void(const QByteArray &message)> onMessage;

protected:
    bool receiveCommand(const QByteArray &data) override
    {
        if (onMessage)
            onMessage(data);
        return PKeywordConnection::receiveCommand(data);
    }
};

/*
    The connection to the first of several servers that can be reached. It reconnects until the
    object is destroyed. Lost and restored connections are reported on standard error, and with
    setAnnounced(true), the failure of the first attempts as well.
*/
class Connection : public QObject
{
    Q_OBJECT

public:
    explicit Connection(const Settings &settings);
    ~Connection() override;

    ListeningClient *client() { return &webSocket; }
    bool isOpen() const { return webSocket.connected(); }
    QString problem() const; // why there is no connection, for people

    void setAnnounced(bool announced) { announcesAttempts = announced; }
    // Reads the files that the settings name. Returns the problem, or an empty string; only then
    // can the connection be opened.
    QString readFiles();
    void open();

Q_SIGNALS:
    void opened(); // also emitted for each restored connection
    void lost();
    void failed(); // there will be no further attempt

private:
    void onConnectedChanged();
    void onStateChanged();
    void onReasonChanged();

    const Settings settings;
    ListeningClient webSocket;
    bool announcesAttempts = false;
    bool announcedFailure = false;
    bool wasOpen = false;
    QString lastProblem; // begins with the address
};
