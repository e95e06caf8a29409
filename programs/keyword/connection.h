// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/connection/keywordconnection.h"
#include "programs/keyword/settings.h"

#include <functional>

// A client that shows each message as it came, before it takes it.
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
    The connection to the first of some servers that can be reached. Once open it is kept, or made
    again, for as long as it lives. What happens to it is said on standard error: only a loss and a
    return, unless it is announced, which says that the first attempts fail, too.
*/
class Connection : public QObject
{
    Q_OBJECT

public:
    explicit Connection(const Settings &settings);
    ~Connection() override;

    ListeningClient *client() { return &webSocket; }
    bool isOpen() const { return webSocket.connected(); }
    QString problem() const; // why there is none, for people

    void setAnnounced(bool announced) { announcesAttempts = announced; }
    // What is wrong with the files that the settings name, or an empty text: then it can be opened.
    QString readFiles();
    void open();

Q_SIGNALS:
    void opened(); // each time
    void lost();
    void failed(); // and is not tried again

private:
    void onConnectedChanged();
    void onStateChanged();
    void onReasonChanged();

    const Settings settings;
    ListeningClient webSocket;
    bool announcesAttempts = false;
    bool announcedFailure = false;
    bool wasOpen = false;
    QString lastProblem; // with an address before it
};
