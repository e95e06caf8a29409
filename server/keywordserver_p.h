// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/keywordserver.h"
#include "server/keywordsession.h"
#include "server/keywordtree_p.h"
#include "server/record_p.h"
#include "server/sendingbudget_p.h"
#include "server/sessionstate_p.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QJsonObject>
#include <QtCore/QPointer>
#include <QtCore/QSet>
#include <QtCore/QTimer>

#include <array>
#include <deque>
#include <map>
#include <set>
#include <utility>
#include <vector>

QT_BEGIN_NAMESPACE
class QIODevice;
QT_END_NAMESPACE

namespace pellix::server {

class ObjectKeywords;

// A client's write that is pending.
struct PendingWrite
{
    QString path;
    QString keyword; // as the client spelt it
    QVariant value; // the whole new one
    QVariant change; // what a relative write adds
    QVariant before; // the value to show again, if this one was assumed
    bool isRelative = false;
    bool isAssumed = false;
    Peer peer;
    QPointer<KeywordSession> writer; // null once it has left
    qint64 bytes = 0; // that it takes while it waits
    qint64 deadline = 0; // ms on the server's clock
};

enum class Decision {
    Refused,
    Accepted,
    AcceptedAsReported // the value stays as it is
};

class Q_DECL_HIDDEN KeywordServer::Private
{
public:
    explicit Private(KeywordServer *q);
    ~Private();

    // What is known
    Record record(const SessionState *session, Node *node, const QString &path);
    Record record(const SessionState *session, const Aggregate::Child &child);
    Record formed(const SessionState *session, const QString &path);
    Record labelRecord(const SessionState *session, const QString &path);
    Node *labelledFor(const SessionState &session, const QString &path);
    Record aggregateRecord(Aggregate &aggregate);
    Record aggregated(Aggregate &aggregate);
    void endRound();
    bool isVisible(const SessionState &session, Node *node);
    Node *nodeAt(const QString &path) { return tree.find(KeywordServer::normalizedPath(path)); }

    // What changed
    void changed(Node *node);
    enum class Forming {
        Now,
        WhenThereIsTime
    };
    void changed(std::vector<Aggregate *> aggregates, Forming forming = Forming::WhenThereIsTime);
    static constexpr qint64 mostFormedAtOnce = 100'000; // children of aggregates, for a session
    bool hasTimeFor(SessionState *session);
    void formThoseBehind();
    void labelChanged(const QString &path);
    std::vector<Node *> labelledAbove(Node *node);
    void visibilityChanged(const std::vector<Node *> &labelled, const QString &keyword,
                           bool isDeclared);
    void tell(Node *node);
    void tell(Aggregate &aggregate);
    enum class Place {
        Any,
        Last
    };
    void enqueue(Watch *watch, Place place = Place::Any);
    void enqueueAnswer(SessionState *session, const QByteArray &answer);
    void enqueueReply(SessionState *session, Reply reply);
    void enqueueRefusal(SessionState *session, const QString &keyword);
    void send(SessionState *session);
    bool mustWait(SessionState *session, const Waiting &next);
    void resumeStarved();
    void sendAll();
    void transmit(SessionState *session, const QByteArray &message);
    QByteArray messageFor(Watch *watch);
    QByteArray messageFor(SessionState *session, const Reply &reply);
    QByteArray indexAnswer(SessionState *session, const QByteArray &query);

    // Commands of clients
    void receive(SessionState *session, const QByteArray &command);
    void create(SessionState *session, const QString &keyword, const QJsonObject &payload);
    void countRefusedCreate(const SessionState *session, bool isNew, qsizetype children);
    void update(SessionState *session, const QJsonObject &payload);
    void index(SessionState *session, const QJsonObject &payload);
    void unwatch(SessionState *session, const QString &keyword);
    void removeWatch(Watch *watch);
    void endWatch(Watch *watch);
    static bool isRequested(const Node *node);
    void noteReleased(const Node *node);
    void noteReleased(const QString &path);
    void tellReleased();
    void join(SessionState *session);
    void leave(SessionState *session);
    void setAggregate(Watch *asking, const QString &path, const QString &mode,
                      const QStringList &children, qint64 bytes);
    void endAggregate(Aggregate *aggregate);
    void updateRights(SessionState *session);
    void updateRightsOf(const QString &role);

    // Writes
    QVariant wholeValue(const Node &node, const QVariant &given, bool isRelative) const;
    void refuse(const PendingWrite &write, const QString &outcome, const QString &reason);
    void store(const PendingWrite &write);
    void accepted(const PendingWrite &write, const QVariant &value);
    void decide(quint64 id, Decision decision, const QVariant &value, const QString &reason);
    void audit(const PendingWrite &write, const QString &outcome, const QString &reason);
    void discard(const std::map<quint64, PendingWrite> &discarded, const QString &reason);
    SessionState *writerOf(const PendingWrite &write) const;
    bool hasRoomFor(const SessionState *session, qint64 bytes) const;
    void noteRefusal(SessionState *session, const QString &path);
    bool takeRefusal(SessionState *session, const QString &path);
    void forget(quint64 id);
    bool handOver(quint64 id, const PendingWrite &write, const QVariant &value);
    void takeBack(quint64 id, const PendingWrite &write);
    void expireWrites();

    // Objects that are served
    bool isNew(const QByteArray &reported);
    bool hasRoomFor(const QString &level, const QStringList &paths) const;
    void start(const QString &level, std::unique_ptr<ObjectKeywords> keywords);

    KeywordServer *const q;
    KeywordTree tree;
    QHash<KeywordSession *, SessionState *> sessions;
    std::deque<SessionState *> toSend;
    QHash<QString, std::shared_ptr<const Rights>> roles;
    Limits limits;
    Statistics counts;
    const std::shared_ptr<SendingBudget> budget = std::make_shared<SendingBudget>();
    QPointer<QIODevice> auditDevice;
    std::map<quint64, PendingWrite> writes;
    std::set<std::pair<qint64, quint64>> deadlines; // of the writes, with their numbers
    quint64 lastWrite = 0;
    qint64 writeBytes = 0; // of all that are not decided
    QTimer writeTimer;
    QElapsedTimer clock;
    quint64 lastVersion = 0;
    int batch = 0; // of changes; nothing is sent before its end
    bool sendingAll = false;
    quint64 lastAggregate = 0;
    QSet<QString> released; // paths that nobody asked for any longer, a moment ago
    // Aggregates are formed once in a round, in which nothing changes.
    quint64 round = 1;
    bool inRound = false;
    std::vector<Aggregate *> formedInRound;
    QTimer starvedTimer;
    QTimer formTimer;
    int nesting = 0; // of those being formed

    // The last messages, as several sessions are told of the same change.
    struct Encoded
    {
        quint64 version = 0;
        QString keyword;
        QByteArray message;
    };
    std::array<Encoded, 256> encoded;
    Encoded longEncoded; // one alone, as they could be as long as a client likes

    QSet<QByteArray> reportedProperties; // for which messages have been logged
    std::map<QString, std::unique_ptr<ObjectKeywords>> served; // by their level; destroyed first
};

} // namespace pellix::server
