// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/configuration.h"
#include "gateway/source.h"

#include <QtCore/QObject>
#include <QtCore/QUrl>

#include <chrono>
#include <memory>

namespace pellix::server {
class KeywordServer;
}

namespace pellix::gateway {

class SourceMount;

// Serves the sources of a configuration: a keyword server, its listeners, and keywords with the
// state of the gateway itself.
class Gateway : public QObject
{
    Q_OBJECT

public:
    struct SourceStatus
    {
        QString name;
        bool isReady = false;
        bool wasReady = false; // at any time
        Source *source = nullptr;
        SourceMount *mount = nullptr;
    };

    explicit Gateway(QObject *parent = nullptr);
    // Does not wait for sources that block; they are abandoned.
    ~Gateway() override;

    // Applies the configuration. Listeners and sources that have not changed continue without
    // interruption. If it cannot listen on an address, the function changes nothing, sets error,
    // and returns false. In that case, the clients of a listener lose their connections if its port
    // was needed for another address.
    bool apply(const Configuration &configuration, QString *error);

    // Reopens the file of the audit lines, because it may have been moved. If that fails, the lines
    // are still written to the open file.
    void reopenAudit();

    // Disconnects the clients within the given time, a few at a time, and then stops the sources.
    // From this call on, new clients are refused and isReady() is false. Emits drained() at the
    // end, shortly after the given time at the latest.
    void drain(std::chrono::milliseconds within);

    bool isReady() const; // all listeners listen, and each source has been ready once
    bool isDraining() const;
    QList<SourceStatus> sources() const;
    QList<QUrl> urls() const;
    quint16 healthPort() const; // 0: none
    QByteArray metrics() const; // in the text format of Prometheus
    QString status() const; // one short line for people
    server::KeywordServer *keywordServer() const;

Q_SIGNALS:
    void statusChanged();
    void drained();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::gateway
