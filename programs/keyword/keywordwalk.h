// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordtypes.h"

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QSet>
#include <QtCore/QStringList>
#include <QtCore/QUuid>

#include <deque>
#include <functional>
#include <vector>

class Connection;

/*
    Finds all keywords below given ones, level by level, with several pending requests at a time.
    It continues after a lost connection.
*/
class KeywordWalk : public QObject
{
    Q_OBJECT

public:
    struct Item
    {
        QString keyword;
        QString type; // as sent by the server; empty for a level
        int depth = 0; // 0 for the roots
        std::vector<int> children; // indexes of items, in natural order
    };

    KeywordWalk(Connection *connection, pellix::client::PKeywordValueType type,
                pellix::client::PKeywordValueAccess access);

    // Keywords for which this function returns true are skipped, with everything below them.
    std::function<bool(const QString &keyword)> excluded;

    void start(const QStringList &roots, int depth); // 0: no limit
    const std::vector<Item> &items() const { return found; } // the roots come first
    QStringList keywords() const; // keywords with a value, in the order of the tree
    int pending() const { return int(queue.size()) + int(underWay.size()); }

Q_SIGNALS:
    void progressed();
    void finished();

private:
    void ask();
    void askAgain();
    void onResponse(const QUuid &id, const QVariant &data);
    void collect(int position, QStringList *keywords) const;

    Connection *const connection;
    const pellix::client::PKeywordValueType type;
    const pellix::client::PKeywordValueAccess access;
    int depthLimit = 0;
    std::vector<Item> found;
    QSet<QString> seen; // the tree of a server may be cyclic
    std::deque<int> queue;
    QHash<QUuid, int> underWay;
};
