// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/source.h"
#include "server/keywordserver.h"

#include <QtCore/QObject>

#include <memory>

namespace pellix::gateway {

// Which mounts wait for a path that another one has.
class PathQueue;

// Serves what a source reports under a level of a keyword server, and takes writes to it. Neither
// is owned, and either may be destroyed first.
class SourceMount : public QObject
{
    Q_OBJECT

public:
    struct Statistics
    {
        int keywords = 0;
        int online = 0; // of them
        quint64 values = 0; // reported
        quint64 misfits = 0; // values that do not fit the type of their keyword
        quint64 conflicts = 0; // declarations of a path that is somebody else's
        quint64 refusedDeclarations = 0; // beyond the limits, or not valid
        quint64 writes = 0; // of clients
        quint64 refusedWrites = 0; // for whatever reason
        quint64 unconfirmedWrites = 0; // of these: what became of them is not known
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
    bool isReady() const; // the source is
    Statistics statistics() const;

private:
    friend class PathQueue;
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::gateway
