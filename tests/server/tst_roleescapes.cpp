// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/clientidentification.h"
#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"
#include "tests/server/testclient.h"
#include "tests/support/rawclient.h"
#include "tests/support/waitfor.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QJsonDocument>
#include <QtTest/QTest>

#include <functional>
#include <memory>

using namespace pellix::server;

namespace {

// Secrets that only full rights may read. They occur in no other value, label, or path.
constexpr int secretNumber = 86753091;
const char *const secretText = "HIDDEN";

QByteArray command(const char *name, const QByteArray &payload)
{
    return QByteArray("{\"cmd\":\"") + name + "\",\"payload\":{" + payload + "}}";
}

QByteArray keywordOf(const char *spelling)
{
    return QByteArray("\"keyword\":\"") + spelling + '"';
}

QByteArray over(const char *spelling, const char *mode, const char *path = "/x")
{
    return command("keyCreateOrUpdate",
                   keywordOf(path) + ",\"children\":[\"" + spelling
                       + "\",\"/plant/one\"],\"aggregation\":\"" + mode + '"');
}

} // namespace

Q_DECLARE_METATYPE(std::function<void(KeywordServer *)>)

// Over real sockets, with two tokens: a guest, who must not read anything below /secret and /dev,
// tries all possibilities, next to a client with full rights, who receives all of it.
class tst_RoleEscapes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void guest_isToldNothing_data();
    void guest_isToldNothing();
    void guest_changesNothing_data();
    void guest_changesNothing();
    void delayedAggregate_tellsNothing_data();
    void delayedAggregate_tellsNothing();
    void sameName_isNoSameSession();
    void memory_isCountedAlike_data();
    void memory_isCountedAlike();

private:
    std::unique_ptr<RawClient> open(const QByteArray &token);
    static void send(RawClient *client, const QByteArray &command)
    {
        QByteArray frame = RawClient::frame(1, command);
        client->send(frame);
    }
    // The reply arrives after those of all earlier requests.
    static bool isServed(RawClient *client)
    {
        static int number = 0;
        const QByteArray unique = "served" + QByteArray::number(++number);
        send(client, command("keyIndex", "\"uuid\":\"" + unique + '"'));
        return waitFor([&] { return client->received.contains(unique); }, 30000);
    }
    static bool holdsASecret(const QByteArray &received)
    {
        return received.contains(secretText) || received.contains(QByteArray::number(secretNumber))
            || received.contains(QByteArray::number(secretNumber + 1))
            || received.contains(QByteArray::number(secretNumber + 2));
    }
    void change()
    {
        keywords->setValue(q("/secret/a"), secretNumber + 1);
        keywords->setValue(q("/dev/1/temp"), secretNumber + 1);
        keywords->setValue(q("/secret/text"), q("HIDDEN again"));
        keywords->setLabel(q("/secret/a"), q("HIDDEN label again"));
        keywords->setLabel(q("/secret"), q("HIDDEN level again"));
        keywords->setState(q("/secret/a"), false, true, true, true);
        keywords->remove(q("/secret/b"));
        keywords->declare(keyword("/secret/b", "int", secretNumber + 2, "RW", "HIDDEN b"));
        keywords->setConnected(q("/"), false);
        keywords->setConnected(q("/"), true);
    }

    std::unique_ptr<KeywordServer> keywords;
    std::unique_ptr<WebSocketKeywordServer> listener;
    QByteArray guestToken;
    QByteArray ownerToken;
};

void tst_RoleEscapes::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    keywords = std::make_unique<KeywordServer>();
    for (const char *path : {"/secret/a", "/secret/b", "/dev/1/temp"})
        QVERIFY(keywords->declare(keyword(path, "int", secretNumber, "RW", "HIDDEN label")));
    QVERIFY(keywords->declare(keyword("/secret/text", "string", q(secretText))));
    QVERIFY(keywords->declare(keyword("/plant/one", "int", 1)));
    QVERIFY(keywords->declare(keyword("/plant/shown", "int", 2)));
    QVERIFY(keywords->setLabel(q("/secret"), q("HIDDEN level")));
    QVERIFY(keywords->setRole({q("guest"),
                               {q("/plant/*"), q("/dev/*"), q("/SECRET/**"), q("/secre")},
                               {q("/plant/one"), q("/secret/**"), q("/dev/**")}}));
    listener = std::make_unique<WebSocketKeywordServer>(keywords.get());
    ClientIdentification identification;
    guestToken = identification.tokens.create(q("guest"), q("guest"));
    ownerToken = identification.tokens.create(q("owner"), ClientIdentification::fullRights);
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listener->listen());
}

void tst_RoleEscapes::cleanup()
{
    listener.reset();
    keywords.reset();
}

std::unique_ptr<RawClient> tst_RoleEscapes::open(const QByteArray &token)
{
    auto client = std::make_unique<RawClient>(listener->url());
    return client->open("Authorization: Bearer " + token + "\r\n") ? std::move(client) : nullptr;
}

void tst_RoleEscapes::guest_isToldNothing_data()
{
    QTest::addColumn<QByteArray>("asked");
    QTest::addColumn<bool>("ownerIsTold"); // whether the same command gives it to the owner
    for (const char *spelling :
         {"/secret/a", "secret/a", "/secret/a/", "//secret//a", "/secret#a", "#secret#a#",
          "secret#a", "/#secret/#a", "/secret/a/Label", "secret#a#Label", "/secret/Label",
          "/secret/text", "/dev/1/temp", "dev#1/temp", "/dev/1/temp/Label", "/dev/1/temp#Label/"}) {
        QTest::addRow("create %s", spelling)
            << command("keyCreateOrUpdate", keywordOf(spelling)) << true;
        QTest::addRow("refused write to %s", spelling)
            << command("keyUpdate", keywordOf(spelling) + ",\"value\":[]")
            << !QByteArray(spelling).contains("Label");
        QTest::addRow("eql over %s", spelling) << over(spelling, "eql") << false;
    }
    for (const char *spelling : {"/SECRET/a", "/secret/A", "/secret/%61", "/secret%2fa",
                                 "/secret/./a", "/plant/../secret/a", "/secret\\\\a", "/secre/t/a",
                                 "/secret/a\\u0000", "\\uFEFF/secret/a", "/secret/*", "/**",
                                 "/secret/a?", "/secret/a/Label/Label", "/secret/ a"}) {
        QTest::addRow("create %s", spelling)
            << command("keyCreateOrUpdate", keywordOf(spelling)) << false;
        QTest::addRow("write to %s", spelling)
            << command("keyUpdate", keywordOf(spelling) + ",\"value\":7") << false;
    }
    for (const char *mode : {"sum", "min", "max", "bool_and", "unknown", ""}) {
        const bool tells = QByteArray(mode) == "sum" || QByteArray(mode) == "max";
        QTest::addRow("aggregate %s", mode) << over("/secret/a", mode) << tells;
        QTest::addRow("aggregate %s in its place", mode)
            << over("/secret/a", mode, "/secret/b") << true;
    }
    QTest::newRow("eql of labels") << command(
        "keyCreateOrUpdate", R"("keyword":"/x","children":["/secret/a/Label"],"aggregation":"eql")")
                                   << true;
    QTest::newRow("eql alone") << command(
        "keyCreateOrUpdate", R"("keyword":"/x","children":["secret#a"],"aggregation":"eql")")
                               << true;
    for (const char *payload :
         {R"("factory":"secret")", R"("keyQuery":["secret"])", R"("instance":"secret")",
          R"("factory":"dev","keyQuery":["1"])", R"("factory":"dev/1")",
          R"("factory":"dev","instance":"1")", R"("factory":"secret","type":"int")",
          R"("factory":"secret","access":"RW")"}) {
        QTest::addRow("index %s", payload) << command("keyIndex", payload) << false;
    }
}

void tst_RoleEscapes::guest_isToldNothing()
{
    QFETCH(QByteArray, asked);
    QFETCH(bool, ownerIsTold);
    const auto guest = open(guestToken);
    const auto owner = open(ownerToken);
    QVERIFY(guest && owner);
    for (RawClient *client : {guest.get(), owner.get()}) {
        send(client, asked);
        QVERIFY(isServed(client));
    }
    const QByteArray atFirst = guest->received;
    change();
    for (RawClient *client : {guest.get(), owner.get()}) {
        send(client, asked); // repeated in the resulting state
        QVERIFY(isServed(client));
    }
    QVERIFY2(!holdsASecret(guest->received), guest->received.constData());
    if (ownerIsTold)
        QVERIFY2(holdsASecret(owner->received), owner->received.constData());
    QVERIFY(!guest->received.contains("\"name\":\"/secret"));
    QVERIFY(!guest->received.contains("\"name\":\"/dev/1/temp\""));
    QCOMPARE(keywords->value(q("/secret/a")).toInt(), secretNumber + 1); // was not changed either
}

void tst_RoleEscapes::guest_changesNothing_data()
{
    QTest::addColumn<QByteArray>("spelling");
    for (const char *spelling :
         {"/secret/a", "secret#a", "//secret/a//", "/dev/1/temp", "dev#1#temp", "/plant/shown",
          "#plant#shown", "/plant/one/Label", "/secret/text", "/new", "/plant/new"})
        QTest::newRow(spelling) << QByteArray(spelling);
}

void tst_RoleEscapes::guest_changesNothing()
{
    QFETCH(QByteArray, spelling);
    const auto guest = open(guestToken);
    QVERIFY(guest);
    const QStringList paths {q("/secret/a"),    q("/secret/b"),  q("/dev/1/temp"),
                             q("/secret/text"), q("/plant/one"), q("/plant/shown")};
    QVariantList before;
    for (const QString &path : paths)
        before << keywords->value(path);
    for (const char *value : {"7", "7.5", "true", "\"text\"", "null", "[]", "{}"}) {
        for (const char *mode : {"", ",\"valueChangeMode\":\"relative\""}) {
            send(
                guest.get(),
                command("keyUpdate", "\"keyword\":\"" + spelling + "\",\"value\":" + value + mode));
        }
    }
    send(guest.get(), over("/plant/one", "sum", spelling.constData()));
    QVERIFY(isServed(guest.get()));
    QVariantList after;
    for (const QString &path : paths)
        after << keywords->value(path);
    QCOMPARE(after, before);
    QCOMPARE(keywords->keywordCount(), int(paths.size()));
    QCOMPARE(keywords->statistics().refusedWrites, quint64(14));
    QVERIFY(!holdsASecret(guest->received));
}

// An aggregate belongs to its session and its rights, even if other sessions use the same name.
void tst_RoleEscapes::delayedAggregate_tellsNothing_data()
{
    using Change = std::function<void(KeywordServer *)>;
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<Change>("change");
    QTest::newRow("value") << QByteArray(
        "/secret/a") << Change([](KeywordServer *server) { server->setValue(q("/secret/a"), 7); });
    QTest::newRow("label") << QByteArray("/secret/a/Label") << Change([](KeywordServer *server) {
        server->setLabel(q("/secret/a"), q("HIDDEN other"));
    });
    QTest::newRow("label of a level")
        << QByteArray("/secret/Label")
        << Change([](KeywordServer *server) { server->setLabel(q("/secret"), q("HIDDEN other")); });
    QTest::newRow("removed") << QByteArray(
        "/secret/a") << Change([](KeywordServer *server) { server->remove(q("/secret/a")); });
    QTest::newRow("declared") << QByteArray("/secret/new") << Change([](KeywordServer *server) {
        server->declare(keyword("/secret/new", "int", secretNumber));
    });
}

// Aggregates are formed later when their session has used its time. An event of one that has not
// changed would tell that something happens to a keyword that the session may not read.
void tst_RoleEscapes::delayedAggregate_tellsNothing()
{
    QFETCH(QByteArray, path);
    QFETCH(std::function<void(KeywordServer *)>, change);
    const std::unique_ptr<KeywordSession> session(
        keywords->openSession({q("guest"), q("127.0.0.1"), q("guest")}));
    int hidden = 0;
    int shown = 0; // the last value
    connect(session.get(), &KeywordSession::send, this, [&](const QByteArray &message) {
        hidden += message.contains("/over/hidden");
        if (message.contains("/over/shown"))
            shown = QJsonDocument::fromJson(message)[q("payload")][q("value")].toInt();
    });
    const auto aggregate = [&](const QByteArray &name, const QByteArray &child, int children) {
        const QByteArray list = ('"' + child + "\",").repeated(children).chopped(1);
        session->receive(command("keyCreateOrUpdate",
                                 keywordOf(name.constData()) + ",\"children\":[" + list
                                     + "],\"aggregation\":\"eql\""));
    };
    aggregate("/over/hidden", path, 1);
    aggregate("/over/shown", "/plant/shown", 1);
    QCOMPARE(hidden, 1);
    QCOMPARE(shown, 2);
    for (int i = 0; i < 15; ++i)
        aggregate("/many/" + QByteArray::number(i), "/plant/one", 1000);
    int value = 2;
    const QDeadlineTimer deadline(60000);
    for (int round = 0; round < 10; ++round) {
        const quint64 delayed = keywords->statistics().delayedAggregates;
        for (int i = 0; keywords->statistics().delayedAggregates == delayed; ++i) {
            QVERIFY(!deadline.hasExpired());
            keywords->setValue(q("/plant/one"), i);
            if (i % 20 == 19)
                QCoreApplication::processEvents(); // forms all that are delayed
        }
        change(keywords.get());
        keywords->setValue(q("/plant/shown"), ++value);
    }
    QTRY_COMPARE(shown, value); // formed after those that are older
    QCOMPARE(hidden, 1);
}

void tst_RoleEscapes::sameName_isNoSameSession()
{
    const auto guest = open(guestToken);
    const auto second = open(guestToken);
    const auto owner = open(ownerToken);
    QVERIFY(guest && second && owner);
    send(owner.get(), over("/secret/a", "max"));
    QVERIFY(isServed(owner.get()));
    send(guest.get(), over("/secret/a", "max"));
    send(second.get(),
         command("keyCreateOrUpdate",
                 R"("keyword":"/x","children":["/plant/shown"],"aggregation":"max")"));
    for (RawClient *client : {guest.get(), second.get(), owner.get()})
        QVERIFY(isServed(client));
    QVERIFY(owner->received.contains(QByteArray::number(secretNumber)));
    QVERIFY(guest->received.contains(R"("keyword":"/x","online":false,"type":"int","value":1})"));
    QVERIFY(second->received.contains(R"("keyword":"/x","online":true,"type":"int","value":2})"));

    for (RawClient *client : {guest.get(), second.get(), owner.get()})
        client->received.clear();
    change();
    keywords->setValue(q("/plant/one"), 11);
    keywords->setValue(q("/plant/shown"), 12);
    send(owner.get(), command("keyDestroy", keywordOf("/x")));
    for (RawClient *client : {guest.get(), second.get(), owner.get()})
        QVERIFY(isServed(client));
    QVERIFY(owner->received.contains(QByteArray::number(secretNumber + 1)));
    QVERIFY(guest->received.contains(R"("type":"int","value":11})"));
    QVERIFY(second->received.contains(R"("type":"int","value":12})"));
    QVERIFY(!second->received.contains("11}"));
    for (RawClient *client : {guest.get(), second.get()})
        QVERIFY2(!holdsASecret(client->received), client->received.constData());
}

void tst_RoleEscapes::memory_isCountedAlike_data()
{
    QTest::addColumn<QByteArray>("hidden"); // exists, but the guest must not know
    QTest::addColumn<QByteArray>("missing");
    const auto create = [](const QByteArray &path) {
        return command("keyCreateOrUpdate", keywordOf(path.constData()));
    };
    const auto row = [&](const char *name, const char *hidden, const char *missing) {
        QTest::newRow(name) << create(hidden) << create(missing);
    };
    row("a keyword", "/secret/a", "/secret/z");
    row("a keyword in another spelling", "secret##a", "secret##z");
    row("a level", "/secret", "/secrez");
    row("a label", "/secret/a/Label", "/secret/z/Label");
    row("a keyword of another client", "/watched", "/not-one");
    row("a label of another client", "/secret/b/Label", "/secret/y/Label");
    const auto write = [](const char *path) {
        return command("keyUpdate", keywordOf(path) + ",\"value\":1");
    };
    QTest::newRow("a refused write") << write("/secret/a") << write("/secret/z");
    QTest::newRow("an aggregate") << over("/secret/a", "sum") << over("/secret/z", "sum");
    QTest::newRow("an aggregate in its place")
        << over("/plant/one", "sum", "/secret/a") << over("/plant/one", "sum", "/secret/z");
}

// Otherwise, the guest could subscribe until the limit, and learn from the number whether there is
// something at a path.
void tst_RoleEscapes::memory_isCountedAlike()
{
    QFETCH(QByteArray, hidden);
    QFETCH(QByteArray, missing);
    const auto owner = open(ownerToken);
    QVERIFY(owner);
    for (const char *path : {"/watched", "/secret/b/Label"})
        send(owner.get(), command("keyCreateOrUpdate", keywordOf(path)));
    QVERIFY(isServed(owner.get()));
    Limits limits = keywords->limits();
    limits.sessionBytes = 8000;
    keywords->setLimits(limits);

    QList<qsizetype> fitting; // the subscriptions for which there is memory
    for (const QByteArray &asked : {hidden, missing}) {
        const auto guest = open(guestToken);
        QVERIFY(guest);
        send(guest.get(), asked);
        QVERIFY(isServed(guest.get()));
        guest->received.clear();
        QByteArray spelling = "/plant/one";
        for (int i = 0; i < 40; ++i) {
            send(guest.get(), command("keyCreateOrUpdate", keywordOf(spelling.constData())));
            spelling += '/'; // which is two bytes more
        }
        QVERIFY(isServed(guest.get()));
        fitting << guest->received.count("\"value\":1}");
        QVERIFY(fitting.constLast() > 10 && fitting.constLast() < 40);
    }
    QCOMPARE(fitting.at(0), fitting.at(1));
}

QTEST_GUILESS_MAIN(tst_RoleEscapes)
#include "tst_roleescapes.moc"
