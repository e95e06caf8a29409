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

// Serves sources as a configuration says: a keyword server, its listeners, and what the gateway
// tells of itself.
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
    // Waits for nobody: a source that hangs is left to itself.
    ~Gateway() override;

    // Does what the configuration says from now on. What is the same goes on undisturbed. Returns
    // false, and changes nothing, if an address cannot be listened on; error then says why.
    bool apply(const Configuration &configuration, QString *error);

    // Opens the file of the audit lines anew, as it may have been moved away. If that fails, the
    // lines go on into the one that is open.
    void reopenAudit();

    // Has clients leave within the time, a few at a time, and then stops the sources. New clients
    // are refused, and isReady() is false, from now on. Ends with drained(), soon after the time at
    // the latest.
    void drain(std::chrono::milliseconds within);

    bool isReady() const; // everything listens, and each source has been subscribed once
    bool isDraining() const;
    QList<SourceStatus> sources() const;
    QList<QUrl> urls() const;
    quint16 healthPort() const; // 0: none
    QByteArray metrics() const; // in the text format of Prometheus
    QString status() const; // in a few words
    server::KeywordServer *keywordServer() const;

Q_SIGNALS:
    void statusChanged();
    void drained();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::gateway
