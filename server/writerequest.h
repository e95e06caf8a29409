// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/peer.h"

#include <QtCore/QVariant>

#include <memory>

namespace pellix::server {

class KeywordServer;
struct PendingWrite;

class PELLIXCLIENT_SERVER_EXPORT WriteRequest
{
public:
    WriteRequest();
    WriteRequest(const WriteRequest &other);
    WriteRequest &operator=(const WriteRequest &other);
    ~WriteRequest();

    bool isPending() const;
    QString path() const;
    QVariant value() const;
    bool isRelative() const;
    QVariant change() const;
    Peer peer() const;

    void accept() const;
    void accept(const QVariant &value) const;
    void acceptAsReported() const;
    void refuse(const QString &reason = QString()) const;

private:
    friend class KeywordServer;
    class Handle;
    WriteRequest(KeywordServer *server, quint64 id, const PendingWrite &write);

    std::shared_ptr<Handle> d;
};

} // namespace pellix::server
