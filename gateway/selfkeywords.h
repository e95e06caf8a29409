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

// What a gateway tells of itself as keywords, so that a screen can show it with what it already
// has.
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
    QSet<QString> told; // of them, in this update
    QHash<QString, quint64> messages; // at the last update, by source
    QElapsedTimer sinceUpdate;
};

} // namespace pellix::gateway
