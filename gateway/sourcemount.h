// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/source.h"
#include "server/keywordserver.h"

#include <QtCore/QObject>

#include <memory>

namespace pellix::gateway {

// The mounts that wait for a path that belongs to another mount, or for room for more keywords.
class PathQueue;

// Serves the keywords of a source below a level of a keyword server, and passes writes to the
// source. It owns neither of them, and either may be destroyed first.
class SourceMount : public QObject
{
    Q_OBJECT

public:
    struct Statistics
    {
        int keywords = 0;
        int online = 0; // keywords that are online
        quint64 values = 0; // reported values
        quint64 misfits = 0; // values that do not fit the type of their keyword
        quint64 conflicts = 0; // declarations of a path that belongs to another source
        quint64 refusedDeclarations = 0; // invalid, or beyond the limits
        int waiting = 0; // keywords that are not served, because there are too many
        quint64 writes = 0; // writes of clients
        quint64 refusedWrites = 0; // for any reason
        quint64 unconfirmedWrites = 0; // refused writes whose outcome is unknown
    };

    SourceMount(Source *source, server::KeywordServer *server, const QString &name,
                const QString &mount, const std::shared_ptr<PathQueue> &queue,
                QObject *parent = nullptr);
    // Removes the keywords.
    ~SourceMount() override;

    static std::shared_ptr<PathQueue> createQueue();

    Source *source() const;
    QString name() const;
    QString mount() const;
    bool isReady() const; // whether the source is ready
    Statistics statistics() const;
    // Serves the keywords that were beyond the limit of the server, in order, as far as there is
    // room now. Call this function when the limit has changed, or when other keywords were removed.
    void serveWaiting();
    // Refuses all pending writes, because the outcome will not be known in time.
    void giveUpWrites(const QString &reason);

private:
    friend class PathQueue;
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::gateway
