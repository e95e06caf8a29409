// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "pubsub/publisher.h"

#include <QtCore/QStringList>

#include <functional>
#include <utility>

// The client of most tests: records each command as text, receives messages, and replies on
// request.
class RecordingClient : public pellix::client::PKeywordClient
{
public:
    explicit RecordingClient(QObject *parent = nullptr) : PKeywordClient(parent)
    {
        publisher()->setActive(true);
    }

    using PKeywordClient::event; // in addition to the overload below
    using PKeywordClient::receiveCommand;

    bool receive(const QString &message) { return receiveCommand(message.toUtf8()); }

    bool event(const QString &keyword, const QString &value,
               const QString &type = QStringLiteral("string"))
    {
        return receive(QStringLiteral(R"({"cmd":"keyEvent","payload":{"keyword":"%1","value":%2,)"
                                      R"("type":"%3","connected":true,"online":true,)"
                                      R"("consistent":true,"error":false}})")
                           .arg(keyword, value, type));
    }

    // The commands sent since the last call, one per line.
    QString taken() { return std::exchange(sent, {}).join(QLatin1Char('\n')); }

    QStringList sent;
    bool accepts = true;
    std::function<void(const QByteArray &)> answer; // runs inside sendCommand

protected:
    bool sendCommand(const QByteArray &data) override
    {
        sent << QString::fromUtf8(data);
        const bool result = accepts; // the handler may delete this client
        if (answer) {
            const auto handler = answer; // may be replaced while the handler runs
            handler(data);
        }
        return result;
    }
};
