// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/keywordserver.h"

#include <QtCore/QHash>
#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtCore/QSet>
#include <QtCore/QStringList>

#include <map>
#include <optional>
#include <unordered_map>

namespace pellix::server {

class KeywordServer::Private
{
public:
    explicit Private(KeywordServer *q) : q(q) { }

    // What an event says of a path at this moment.
    struct Record
    {
        QVariant value;
        QString type;
        bool connected = false;
        bool online = false;
        bool consistent = true;
        bool error = false;
        bool exists = false;

        bool operator==(const Record &other) const
        {
            return value == other.value && type == other.type && connected == other.connected
                && online == other.online && consistent == other.consistent && error == other.error
                && exists == other.exists;
        }
    };

    struct Aggregation
    {
        QString mode;
        QStringList children; // normalized
        Record last; // as told
        bool computing = false; // breaks cycles of aggregates over each other
    };

    // One watched name. A session may watch a keyword under several spellings.
    struct Watcher
    {
        KeywordSession *session;
        QString keyword;
        bool operator==(const Watcher &other) const
        {
            return session == other.session && keyword == other.keyword;
        }
    };

    // Whatever is known of a path: a declared keyword, an inner level, an aggregate, or just that
    // somebody waits for it. An entry without any of that is dropped.
    struct Entry
    {
        std::optional<Keyword> keyword;
        QString label;
        WriteHandler writeHandler;
        std::optional<Aggregation> aggregation;
        QList<Watcher> watchers;
        QSet<QString> aggregates; // the aggregates of which this is a child
        std::map<QString, QString> children; // name -> path, of the levels below
    };

    Record record(const QString &path);
    Record aggregateRecord(const QString &path, Aggregation &aggregation);
    Record aggregate(Aggregation &aggregation);
    QByteArray event(const QString &keyword, const Record &record) const;
    void changed(const QString &path);
    void notify(const QString &path);

    Entry *find(const QString &path);
    Entry &ensure(const QString &path);
    void addToParents(const QString &path);
    void drop(const QString &path);

    void receive(KeywordSession *session, const QByteArray &command);
    void create(KeywordSession *session, const QJsonObject &payload);
    void update(KeywordSession *session, const QJsonObject &payload);
    void index(KeywordSession *session, const QJsonObject &payload);
    void setAggregation(const QString &path, const QString &mode, const QStringList &children);
    void endAggregation(const QString &path);
    void unwatch(KeywordSession *session, const QString &keyword);
    void leave(KeywordSession *session);

    KeywordServer *const q;
    std::unordered_map<QString, Entry> entries; // stable addresses
    std::map<QString, QString> topLevel;
    QHash<KeywordSession *, QSet<QString>> sessions; // and the spellings that each watches
    QHash<KeywordSession *, QSet<QString>> refused; // paths whose last write was refused
    QHash<QString, Record> formed; // aggregates, while one over them is being formed
    int nesting = 0; // of those being formed
    int keywords = 0;
};

} // namespace pellix::server
