// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/shared/clientlink_p.h"

#include <QtCore/QHash>
#include <QtCore/QStringList>

#include <functional>
#include <memory>

namespace pellix::extras {

/*
    Finds the keywords that match patterns, with index queries. In a pattern, a level of one star
    matches exactly one level, and a level of two stars any number of levels, including none.

    The number of keywords and of queries is limited. It starts when there is a connection; when the
    connection is lost, pending queries are repeated. After its destruction, it sends no more
    queries.
*/
class KeywordResolver
{
public:
    struct Found
    {
        QHash<QString, QStringList> keywords; // of each pattern, in natural order
        bool complete = true;
    };
    using Done = std::function<void(const Found &)>;

    static bool isPattern(const QString &keyword);

    KeywordResolver(ClientLink *link, const QStringList &patterns, int limit, const Done &done);
    ~KeywordResolver();
    void start();

private:
    struct Walk;
    const std::shared_ptr<Walk> walk;
};

} // namespace pellix::extras
