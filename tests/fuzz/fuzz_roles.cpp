// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Sessions with four roles on one server. Each line is a step:
//
//   0{...} to 4{...}  the command of a session: 0 and 1 have full rights, 2 is guest, 3 viewer,
//                     and 4 writer
//   p2  r2  !2        the session is paused, resumed, or closed and reopened
//   v5  d5            the keyword with this number gets another value, or is declared or removed
//   g2                the role of the session is removed or set again
//   l1                the level with this number gets another label, or none
//   w  W              the oldest pending write is accepted, or refused
//   k2                (only after a first line "~") the session ends within its next message
//   c  s              (only after "~") the server is cleared, or deleted, within the next message
//
// Data that a role must not read must not affect the role: for each role there is another world in
// which that data is missing or different, and the role must receive exactly the same messages in
// both, even after a first line "=", which lets the sessions reach their limits. After a first line
// "~", there is only one world, in which everything may be destroyed within anything. At the end,
// unless there were limits or destruction, no client may have an obsolete value.

#include "server/keywordserver.h"
#include "server/keywordsession.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSet>

#include <functional>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

using namespace pellix::server;

namespace {

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

struct Sort
{
    const char *path;
    const char *type;
    const char *access;
    const char *readers; // out of "gvw": guest, viewer, writer
    const char *writers;
};

constexpr Sort sorts[] = {
    {"/o/a", "int", "RW", "gvw", "vw"}, {"/o/b", "double", "RW", "gvw", "vw"},
    {"/o/r", "int", "R", "gvw", "vw"},  {"/o/h", "int", "RW", "gvw", "w"}, // has a handler
    {"/p/a", "int", "RW", "vw", "w"},   {"/p/x/s", "string", "RW", "vw", "w"},
    {"/p/t", "bool", "RW", "vw", "w"},  {"/s/a", "int", "RW", "w", ""},
    {"/s/x/s", "string", "W", "", ""},  {"/s/o", "object", "RW", "w", ""},
};
constexpr int sortCount = int(std::size(sorts));
constexpr int handled = 3;
// All keywords below one of them have the same readers: its label is missing in another world only
// if it cannot be read.
constexpr const char *levels[] = {"/o", "/p", "/p/x"};
constexpr const char *roles[] = {"*", "*", "guest", "viewer", "writer"};
constexpr int sessionCount = int(std::size(roles));

bool isAmong(int session, const char *initials)
{
    // cppcheck-suppress arrayIndexOutOfBoundsCond ; there are as many sessions as roles
    return session < 2 || QByteArray(initials).contains(roles[session][0]);
}

bool mayRead(int session, const Sort &sort)
{
    return isAmong(session, sort.readers);
}

bool mayWrite(int session, const Sort &sort)
{
    return isAmong(session, sort.writers);
}

bool isWritable(const Sort &sort)
{
    return QByteArray(sort.access).endsWith('W');
}

Role roleOf(int session)
{
    if (session == 2)
        return {q("guest"), {q("/o/*")}, {q("/s/**"), q("/p/*")}};
    if (session == 3)
        return {q("viewer"), {q("/o/*"), q("/p/**")}, {q("/o/a"), q("/o/b"), q("/o/r"), q("/s/a")}};
    return {q("writer"), {q("/*/*"), q("/p/x/s"), q("/s/o")}, {q("/o/*"), q("/p/**")}};
}

QVariant valueOf(const Sort &sort, int number)
{
    switch (sort.type[0]) {
    case 'b':
        return number % 2 == 0;
    case 'd':
        return number + 0.5;
    case 's':
        return QString::number(number);
    case 'o':
        return QVariantMap {{q("n"), number}};
    }
    return number;
}

// A client. It records the messages that it must still receive.
class Peer
{
public:
    Peer(KeywordServer *server, int number)
        : session(server->openSession({q("peer"), q("::1"), q(roles[number])}))
    {
        QObject::connect(session.get(), &KeywordSession::send, session.get(),
                         [this](const QByteArray &message) { take(message); });
    }

    void take(const QByteArray &message)
    {
        const std::function<void()> then = std::exchange(whenTold, {});
        told.append(message);
        const QJsonObject object = QJsonDocument::fromJson(message).object();
        const QJsonObject payload = object.value(q("payload")).toObject();
        if (object.value(q("cmd")) == QJsonValue(q("keyIndex"))) {
            --indexes;
        } else {
            FUZZ_CHECK(client.receiveCommand(message));
            const QString keyword = payload.value(q("keyword")).toString();
            asked.remove(keyword);
            last.insert(keyword, payload.value(q("value")));
            if (payload.value(q("error")).toBool() && refusals.value(keyword) > 0)
                --refusals[keyword];
        }
        if (then)
            then(); // may delete this
    }

    std::unique_ptr<KeywordSession> session;
    RecordingClient client;
    QList<QByteArray> told; // since the last clear()
    QHash<QString, int> asked; // keywords of which an event must arrive
    QHash<QString, int> refusals; // refusals that must arrive
    QHash<QString, QJsonValue> last; // the values in the last events
    QSet<QString> watched; // unless the limits have refused it
    int indexes = 0;
    std::function<void()> whenTold;
};

class World
{
public:
    // The values that this session must not read are missing or different.
    explicit World(int blind = -1, bool missing = false) : blind(blind), missing(missing)
    {
        for (int i = 0; i < sortCount; ++i)
            declare(i);
        for (int i = 2; i < sessionCount; ++i)
            FUZZ_CHECK(server->setRole(roleOf(i)));
    }

    bool isHidden(int sort) const { return blind >= 0 && !mayRead(blind, sorts[sort]); }
    void declare(int i)
    {
        if (missing && isHidden(i))
            return;
        KeywordServer::Keyword keyword;
        keyword.path = q(sorts[i].path);
        keyword.type = q(sorts[i].type);
        keyword.access = q(sorts[i].access);
        keyword.label = isHidden(i) ? q("hidden") : keyword.path.mid(1);
        keyword.value = next(i);
        FUZZ_CHECK(server->declare(keyword));
        if (server && i == handled) { // a client may have received an event and deleted it
            server->setWriteHandler(
                keyword.path, [this](const WriteRequest &request) { requests.push_back(request); });
        }
    }
    QVariant next(int i) const { return valueOf(sorts[i], isHidden(i) ? steps + 1001 : steps); }
    void restrict()
    {
        isRestricted = true;
        Limits limits;
        limits.watchedKeywords = 16;
        limits.aggregatedKeywords = 4;
        limits.listedKeywords = 2;
        limits.valueBytes = 20;
        limits.sessionBytes = 4000;
        server->setLimits(limits);
    }
    void open()
    {
        for (int i = 0; i < sessionCount; ++i)
            peers.push_back(std::make_unique<Peer>(server.get(), i));
    }
    void step(const QByteArray &line);
    void command(int number, const QByteArray &text);
    void chaos(const QByteArray &line);

    const int blind;
    const bool missing;
    bool isRestricted = false;
    int steps = 0;
    std::unique_ptr<KeywordServer> server = std::make_unique<KeywordServer>();
    std::vector<std::unique_ptr<Peer>> peers;
    std::vector<WriteRequest> requests;
};

// Determines the messages that the sessions must receive, as far as they depend only on the
// command.
void expect(KeywordServer *server, Peer *peer, int number, const QJsonObject &message)
{
    const QString name = message.value(q("cmd")).toString();
    const QJsonObject payload = message.value(q("payload")).toObject();
    const QString keyword = payload.value(q("keyword")).toString();
    const QString path = KeywordServer::normalizedPath(keyword);
    if (name == q("keyIndex"))
        ++peer->indexes;
    if (name == q("keyCreateOrUpdate") && !keyword.isEmpty()) {
        ++peer->asked[reread(keyword)];
        peer->watched.insert(reread(keyword));
    } else if (name == q("keyDestroy")) {
        peer->asked.remove(reread(keyword));
        peer->watched.remove(reread(keyword));
    }
    if (name != q("keyUpdate"))
        return;
    bool isPossible = false;
    for (const Sort &sort : sorts) {
        isPossible |= q(sort.path) == path && server->contains(path) && isWritable(sort)
            && mayWrite(number, sort);
    }
    if (!isPossible && !path.isEmpty())
        ++peer->refusals[reread(keyword)];
}

void World::command(int i, const QByteArray &text)
{
    Peer *const peer = peers[std::size_t(i)].get();
    if (!peer->session)
        return;
    std::vector<QVariant> before;
    for (const Sort &sort : sorts)
        before.push_back(server->value(q(sort.path)));
    if (blind < 0)
        expect(server.get(), peer, i, QJsonDocument::fromJson(text).object());
    peer->session->receive(text);
    for (int j = 0; server && j < sortCount; ++j) {
        if (!mayWrite(i, sorts[j]) || !isWritable(sorts[j]))
            FUZZ_CHECK(server->value(q(sorts[j].path)) == before[std::size_t(j)]);
    }
}

void World::step(const QByteArray &line)
{
    ++steps;
    const int digit = line.size() > 1 ? line.at(1) - '0' : 0;
    const bool isSession = digit >= 0 && digit < sessionCount;
    const bool isSort = digit >= 0 && digit < sortCount;
    const char what = line.isEmpty() ? '\0' : line.at(0);
    if (what >= '0' && what < '0' + sessionCount) {
        command(what - '0', line.mid(1));
    } else if (isSession && QByteArray("pr!").contains(what)) {
        std::unique_ptr<Peer> &peer = peers[std::size_t(digit)];
        if (what == '!' || !peer->session) {
            peer.reset();
            peer = std::make_unique<Peer>(server.get(), digit);
        } else if (what == 'p') {
            peer->session->pause();
        } else {
            peer->session->resume();
        }
    } else if (isSort && what == 'v') {
        server->setValue(q(sorts[digit].path), next(digit));
    } else if (isSort && what == 'd') {
        if (server->contains(q(sorts[digit].path)))
            server->remove(q(sorts[digit].path));
        else
            declare(digit);
    } else if (what == 'l' && digit >= 0 && digit < int(std::size(levels))) {
        server->setLabel(q(levels[digit]), steps % 2 ? QString::number(steps) : QString());
    } else if (isSession && digit >= 2 && what == 'g') {
        if (!server->removeRole(q(roles[digit])))
            server->setRole(roleOf(digit));
    } else if ((what == 'w' || what == 'W') && !requests.empty()) {
        const WriteRequest request = requests.front();
        requests.erase(requests.begin());
        if (what == 'w')
            request.accept();
        else
            request.refuse();
    }
}

void World::chaos(const QByteArray &line)
{
    const int digit = line.size() > 1 ? line.at(1) - '0' : 0;
    const bool isSession = digit >= 0 && digit < sessionCount;
    if (line.startsWith('c')) {
        server->clear();
    } else if (isSession && line.startsWith('k')) {
        Peer *const peer = peers[std::size_t(digit)].get();
        peer->whenTold = [peer] { peer->session.reset(); };
    } else if (isSession && line.startsWith('s')) {
        peers[std::size_t(digit)]->whenTold = [this] { server.reset(); };
    } else {
        step(line);
    }
}

void runChaos(const QList<QByteArray> &lines)
{
    World world;
    world.open();
    for (const QByteArray &line : lines) {
        world.chaos(line);
        if (!world.server)
            break;
    }
    if (lines.size() % 2)
        world.server.reset();
}

// Makes the hash of the server reach its maximum size, so that the memory use can be compared.
void makeRoom(KeywordServer *server)
{
    const std::unique_ptr<KeywordSession> session(server->openSession());
    QJsonArray children;
    for (int i = 0; i < 1000; ++i)
        children.append(QString::number(i));
    session->receive(QJsonDocument(QJsonObject {{q("cmd"), q("keyCreateOrUpdate")},
                                                {q("payload"),
                                                 QJsonObject {{q("keyword"), q("x")},
                                                              {q("children"), children}}}})
                         .toJson());
}

// Nobody has kept an obsolete value: that of the last event is also that of a new reply.
void checkValues(Peer *peer)
{
    const QHash<QString, QJsonValue> told = peer->last;
    for (const QString &keyword : std::as_const(peer->watched)) {
        const QJsonObject payload {{q("keyword"), keyword}};
        peer->session->receive(
            QJsonDocument(QJsonObject {{q("cmd"), q("keyCreateOrUpdate")}, {q("payload"), payload}})
                .toJson());
        FUZZ_CHECK(peer->last.value(keyword) == told.value(keyword));
    }
}

void checkEnd(World *world, qint64 before)
{
    for (const auto &peer : world->peers) {
        peer->session->resume();
        if (!world->isRestricted)
            checkValues(peer.get());
        FUZZ_CHECK(peer->asked.isEmpty());
        FUZZ_CHECK(peer->indexes == 0);
        for (const int left : std::as_const(peer->refusals))
            FUZZ_CHECK(left == 0);
        FUZZ_CHECK(peer->session->waitingBytes() == 0);
    }
    for (const WriteRequest &request : world->requests)
        request.refuse();
    world->peers.clear();
    for (int i = 0; i < sortCount; ++i) {
        if (!world->server->contains(q(sorts[i].path)))
            world->declare(i);
    }
    const Statistics statistics = world->server->statistics();
    FUZZ_CHECK(statistics.clients == 0);
    FUZZ_CHECK(statistics.watchedKeywords == 0);
    if (before > 0)
        FUZZ_CHECK(statistics.memoryBytes == before);
}

} // namespace

void runInput(const QByteArray &input)
{
    if (input.size() > 4096)
        return;
    const QList<QByteArray> lines = input.split('\n');
    if (lines.constFirst() == "~") {
        runChaos(lines.mid(1));
        return;
    }

    World real;
    const bool isRestricted = lines.constFirst() == "=";
    qint64 before = 0;
    if (input.size() % 16 == 0) { // not always, because it takes time
        makeRoom(real.server.get());
        before = real.server->statistics().memoryBytes;
    }
    if (isRestricted)
        real.restrict();
    real.open();
    std::vector<std::unique_ptr<World>> others;
    for (int blind = 2; blind < sessionCount; ++blind) {
        if (input.size() > 1500 && blind != 2 + int(input.size() % 3))
            continue; // only one, because a long input would take too long
        others.push_back(std::make_unique<World>(blind, input.size() % 2 == 0));
        if (isRestricted)
            others.back()->restrict();
        others.back()->open();
    }
    for (const QByteArray &line : lines) {
        real.step(line);
        for (const auto &other : others) {
            other->step(line);
            const auto blind = std::size_t(other->blind);
            FUZZ_CHECK(real.peers[blind]->told == other->peers[blind]->told);
            other->peers[blind]->told.clear();
        }
        for (const auto &peer : real.peers)
            peer->told.clear();
    }
    checkEnd(&real, before);
    for (const auto &other : others) {
        if (input.size() % 3 == 0)
            other->server.reset();
    }
}
