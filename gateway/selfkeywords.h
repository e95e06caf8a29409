// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/gateway.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace pellix::gateway {

// Provides the state of a gateway as keywords, so that a screen can show it like any other keyword.
class SelfKeywords
{
public:
    SelfKeywords(server::KeywordServer *server, const QString &mount);
    ~SelfKeywords();

    QString mount() const { return level; }
    void update(const QList<Gateway::SourceStatus> &sources);

private:
    void set(const QString &path, const char *type, const char *label, const QVariant &value);

    server::KeywordServer *const server; // outlives this
    const QString level;
    QSet<QString> declared;
    QSet<QString> told; // those set in the current update
    QHash<QString, quint64> messages; // count at the last update, by source
    QElapsedTimer sinceUpdate;
};

} // namespace pellix::gateway
