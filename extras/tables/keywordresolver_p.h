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
    Finds the keywords that patterns stand for, by index queries. In a pattern, a level of one star
    stands for exactly one level, and a level of two stars for any number of levels, none included.

    It is bounded by the number of keywords, and of queries. It begins when there is a link; one
    that is lost has the queries under way repeated. Destroyed, it asks for nothing more.
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
