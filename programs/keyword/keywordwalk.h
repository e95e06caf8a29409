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
    Finds what is below some keywords, level by level, with several requests under way. It goes on
    after the connection was lost.
*/
class KeywordWalk : public QObject
{
    Q_OBJECT

public:
    struct Item
    {
        QString keyword;
        QString type; // the server's word; empty for a level
        int depth = 0; // 0 for what was asked for
        std::vector<int> children; // positions among the items, in natural order
    };

    KeywordWalk(Connection *connection, pellix::client::PKeywordValueType type,
                pellix::client::PKeywordValueAccess access);

    // What it says yes to is not even looked at.
    std::function<bool(const QString &keyword)> excluded;

    void start(const QStringList &roots, int depth); // 0: no limit
    const std::vector<Item> &items() const { return found; } // the roots come first
    QStringList keywords() const; // those that have a value, in the order of the tree
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
    QSet<QString> seen; // a server whose tree is a ring
    std::deque<int> queue;
    QHash<QUuid, int> underWay;
};
