// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"

namespace pellix::client {

class PELLIXCLIENT_KEYWORD_EXPORT PInProcessKeywordClient : public PKeywordClient
{
    Q_OBJECT
    Q_PROPERTY(bool connected READ connected NOTIFY connectedChanged)

public:
    explicit PInProcessKeywordClient(QObject *parent = nullptr);
    ~PInProcessKeywordClient() override;

    bool connected() const;

    void afterSignalsConnected();

Q_SIGNALS:
    void connectedChanged();
    void sendToServer(const QByteArray &data);

public Q_SLOTS:
    void receiveFromServer(const QByteArray &data);

protected:
    bool sendCommand(const QByteArray &data) override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::client
