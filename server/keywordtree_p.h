// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/record_p.h"
#include "server/writerequest.h"

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <memory>
#include <set>
#include <vector>

namespace pellix::server {

struct Aggregate;
class SessionState;
struct Watch;

// In the order in which they were made.
struct ByAge
{
    bool operator()(const Aggregate *a, const Aggregate *b) const;
};

// What few nodes have.
struct NodeExtras
{
    QString label;
    std::function<void(const WriteRequest &)> writeHandler;
    // Clients can cause very many of both.
    std::set<Aggregate *, ByAge> aggregates; // of which this is a child
    std::set<quint64> writes; // that are not decided yet, in their order
    quint64 lastAccepted = 0; // of all writes
};

// The data of a path: a declared keyword, an inner level, or only its subscribers. A node without
// any of these is removed.
struct Node
{
    Node *parent = nullptr;
    QString path; // normalized
    QVariant value;
    std::vector<Node *> children;
    Watch *watches = nullptr; // the first one
    Watch *lastWatch = nullptr;
    std::unique_ptr<NodeExtras> extras;
    quint64 version = 0; // another one whenever its event is another one
    quint32 position = 0; // among the children of its parent
    Type type = Type::None;
    Access access = Access::Read;
    bool declared = false;
    bool connected = true;
    bool online = true;
    bool consistent = true;
    bool error = false;
    bool assumesWrites = false;
    bool listed = false; // it, or what is below it, is declared
    bool sorted = true; // its children are

    QString name() const { return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1); }
    NodeExtras &more();
};

// One name to which a session is subscribed. It may subscribe to a keyword in several spellings.
struct Watch
{
    Node *node;
    SessionState *session;
    QString keyword; // as the client spelt it
    Watch *next = nullptr; // of the node
    Watch *previous = nullptr;
    quint32 bytes = 0; // that it has its session use
    quint32 turn = 0; // which of its places in the session's queue counts
    bool queued = false;
    bool refusedBehind = false; // a refusal of this keyword waits behind it
    bool showsRefusal = false; // the last event of it is a refusal, sent or still waiting
    bool hidden = false; // its session may not read it
    bool showsLabel = false; // it is that of a label which its session may read and which is set

    // Otherwise, the keyword appears not to exist.
    bool showsKeyword() const { return node->declared && !hidden; }
};

class KeywordTree
{
public:
    KeywordTree();
    ~KeywordTree();

    Node *root() { return &top; }
    Node *find(const QString &path) const { return nodes.value(path, nullptr); }
    Node *ensure(const QString &path);
    void declare(Node *node);
    // The keyword is no longer declared.
    void undeclare(Node *node);
    // Removes a node without data, and the levels above it that are no longer needed.
    void drop(Node *node);
    void clear();
    const std::vector<Node *> &sortedChildren(Node *node);

    int keywordCount() const { return keywords; }
    qint64 bytes() const;

private:
    void unlist(Node *node);

    Node top;
    QHash<QString, Node *> nodes;
    int keywords = 0;
    qint64 pathBytes = 0;
};

} // namespace pellix::server
