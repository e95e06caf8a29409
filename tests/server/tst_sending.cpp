// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/server/testclient.h"

#include <QtCore/QRegularExpression>
#include <QtTest/QTest>

using namespace pellix::server;
using namespace std::chrono_literals;

constexpr qint64 kibibyte = 1024;

class tst_Sending : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void paused_isToldTheNewestValues();
    void paused_keepsAnswersInTheirOrder();
    void paused_countsWhatIsAskedForAgain();
    void paused_refusalIsNotTheLastWord();
    void paused_insideOfSending();
    void paused_costsTheSameForAnyNumberOfChanges();
    void paused_forgetsWhatIsLetGo();
    void write_withoutAKeywordLeavesNothing();
    void answered_mayEndAnything_data();
    void answered_mayEndAnything();
    void resumed_mayEndAnything_data();
    void resumed_mayEndAnything();
    void setConnected_tellsOnlyThoseWhoWatch();
    void spellings_areAllTold();
    void limit_ofWatchedKeywords();
    void limit_ofMemory();
    void limit_ofMemoryCountsAggregates();
    void limit_ofMemoryIsOne();
    void limit_ofMemoryCountsNothingThatWasLetGo();
    void limit_ofAggregatedKeywords();
    void limit_ofListedKeywords();
    void limit_ofAnAnswer();
    void limits_haveDefaults();
    void limit_ofKeywords();
    void limit_ofAValue();
    void limit_ofACommand();
    void limits_areNotForTheProgramItself();
    void statistics_areCounted();
    void prometheus_isWellFormed();
    void prometheus_tellsTheLimits();

private:
    std::unique_ptr<KeywordServer> server;
};

void tst_Sending::init()
{
    server = std::make_unique<KeywordServer>();
    server->declare(keyword("/p/a", "int", 1));
    server->declare(keyword("/p/b", "int", 2));
    server->declare(keyword("/p/c", "int", 3));
}

void tst_Sending::paused_isToldTheNewestValues()
{
    Client slow(server.get()), fast(server.get());
    for (const char *path : {"/p/a", "/p/b"}) {
        slow.create(path);
        fast.create(path);
    }
    slow.taken();
    fast.taken();
    slow.session->pause();
    QVERIFY(slow.session->isPaused());
    for (int i = 10; i < 20; ++i) {
        server->setValue(q("/p/b"), i);
        server->setValue(q("/p/a"), i);
    }
    QCOMPARE(fast.seen.size(), 20);
    QCOMPARE(slow.taken(), QString());
    slow.session->resume();
    QCOMPARE(slow.taken(), q("/p/b=19 coc- | /p/a=19 coc-"));
    QCOMPARE(server->statistics().skippedValues, quint64(18));
    server->setValue(q("/p/a"), 20);
    QCOMPARE(slow.taken(), q("/p/a=20 coc-"));
}

void tst_Sending::paused_keepsAnswersInTheirOrder()
{
    Client client(server.get());
    client.create("/p/a");
    client.taken();
    client.session->pause();
    client.command("keyIndex", R"({"factory":"p"})");
    server->setValue(q("/p/a"), 5);
    client.update("/p/none", "1");
    client.command("keyIndex", "{}");
    QVERIFY(client.session->waitingBytes() > 100);
    client.session->resume();
    QCOMPARE(client.taken(), q("/p/a /p/b /p/c | /p/a=5 coc- | /p/none=null --ce | /p"));
    QCOMPARE(client.session->waitingBytes(), qint64(0));
}

void tst_Sending::paused_countsWhatIsAskedForAgain()
{
    Client client(server.get());
    client.session->pause();
    client.create("/p/a");
    client.create("/p/b");
    QCOMPARE(client.session->waitingBytes(), qint64(0)); // one value per keyword does not count
    for (int i = 0; i < 1000; ++i)
        client.create("/p/a");
    QVERIFY(client.session->waitingBytes() > 1000);
    client.session->resume();
    QCOMPARE(client.taken(), q("/p/b=2 coc- | /p/a=1 coc-"));
    QCOMPARE(client.session->waitingBytes(), qint64(0));
}

// A refusal contains the value at its time. Later changes are sent after it.
void tst_Sending::paused_refusalIsNotTheLastWord()
{
    server->setWriteCheck(q("/p/a"), [](const QVariant &) { return false; });
    Client client(server.get());
    client.create("/p/a");
    client.taken();
    client.session->pause();
    server->setValue(q("/p/a"), 5);
    client.update("/p/a", "7");
    server->setValue(q("/p/a"), 6);
    server->setValue(q("/p/a"), 8);
    client.session->resume();
    QCOMPARE(client.taken(), q("/p/a=8 coce | /p/a=8 coc-"));
}

void tst_Sending::paused_insideOfSending()
{
    Client client(server.get());
    for (const char *path : {"/p/a", "/p/b", "/p/c"})
        client.create(path);
    client.taken();
    connect(client.session.get(), &KeywordSession::send, client.session.get(),
            [&client] { client.session->pause(); });
    client.session->pause();
    server->setValue(q("/p/c"), 30);
    server->setValue(q("/p/a"), 10);
    server->setValue(q("/p/b"), 20);
    QStringList told;
    for (int i = 0; i < 4; ++i) {
        client.session->resume();
        told << client.taken();
    }
    QCOMPARE(told, QStringList({q("/p/c=30 coc-"), q("/p/a=10 coc-"), q("/p/b=20 coc-"), q("")}));
}

void tst_Sending::paused_costsTheSameForAnyNumberOfChanges()
{
    Client client(server.get());
    client.create("/p/a");
    client.session->pause();
    const qint64 before = server->statistics().memoryBytes;
    for (int i = 0; i < 100000; ++i)
        server->setValue(q("/p/a"), i);
    QCOMPARE(server->statistics().memoryBytes, before);
    QCOMPARE(client.session->waitingBytes(), qint64(0));
    client.taken();
    client.session->resume();
    QCOMPARE(client.taken(), q("/p/a=99999 coc-"));
}

void tst_Sending::paused_forgetsWhatIsLetGo()
{
    Client client(server.get());
    client.create("/p/a");
    client.create("/p/b");
    client.taken();
    client.session->pause();
    server->setValue(q("/p/a"), 10);
    server->setValue(q("/p/b"), 20);
    client.command("keyDestroy", R"({"keyword":"/p/a"})");
    client.session->resume();
    QCOMPARE(client.taken(), q("/p/b=20 coc-"));

    client.session->pause();
    server->setValue(q("/p/b"), 21);
    server->clear();
    client.session->resume();
    QCOMPARE(client.taken(), QString());
}

void tst_Sending::write_withoutAKeywordLeavesNothing()
{
    Client client(server.get());
    for (const char *payload : {"{}", R"({"value":1})", R"({"keyword":7})", R"({"keyword":""})"})
        client.command("keyUpdate", payload);
    QCOMPARE(client.session->waitingBytes(), qint64(0));
}

void tst_Sending::answered_mayEndAnything_data()
{
    QTest::addColumn<QString>("deleted");
    QTest::addColumn<QByteArray>("command");
    for (const char *deleted : {"session", "clear", "server"}) {
        const auto row = [deleted](const char *name, const char *payload) {
            QTest::addRow("%s %s", deleted, name)
                << q(deleted)
                << QByteArray(R"({"cmd":")") + name + R"(","payload":)" + payload + '}';
        };
        row("keyCreateOrUpdate", R"({"keyword":"/p/a"})");
        row("keyCreateOrUpdate", R"({"keyword":"/x","children":["/p/a"],"aggregation":"sum"})");
        row("keyUpdate", R"({"keyword":"/p/none","value":1})");
        row("keyUpdate", R"({"keyword":"/p/b","value":9})");
        row("keyIndex", R"({"factory":"p"})");
    }
}

void tst_Sending::answered_mayEndAnything()
{
    QFETCH(QString, deleted);
    QFETCH(QByteArray, command);
    Client client(server.get());
    client.create("/p/b");
    int calls = 0;
    connect(client.session.get(), &KeywordSession::send, this, [&] {
        ++calls;
        if (deleted == q("session"))
            client.session.reset();
        else if (deleted == q("clear"))
            server->clear();
        else
            server.reset();
    });
    client.session->receive(command);
    QCOMPARE(calls, 1);
}

void tst_Sending::resumed_mayEndAnything_data()
{
    QTest::addColumn<QString>("deleted");
    for (const char *deleted : {"session", "other", "keyword", "clear", "server"})
        QTest::newRow(deleted) << q(deleted);
}

void tst_Sending::resumed_mayEndAnything()
{
    QFETCH(QString, deleted);
    auto client = std::make_unique<Client>(server.get());
    auto other = std::make_unique<Client>(server.get());
    for (const char *path : {"/p/a", "/p/b"}) {
        client->create(path);
        other->create(path);
    }
    client->taken();
    client->session->pause();
    server->setValue(q("/p/a"), 10);
    server->setValue(q("/p/b"), 20);
    int calls = 0;
    connect(client->session.get(), &KeywordSession::send, this, [&] {
        ++calls;
        if (deleted == q("session"))
            client->session.reset();
        else if (deleted == q("other"))
            other->session.reset();
        else if (deleted == q("keyword"))
            server->remove(q("/p/b"));
        else if (deleted == q("clear"))
            server->clear();
        else
            server.reset();
    });
    client->session->resume();
    QVERIFY(calls >= 1);
    if (server)
        QCOMPARE(server->sessionCount(), deleted == q("session") || deleted == q("other") ? 1 : 2);
}

void tst_Sending::setConnected_tellsOnlyThoseWhoWatch()
{
    for (int i = 0; i < 1000; ++i)
        server->declare(keyword(qPrintable(q("/source/k%1").arg(i)), "int", i));
    Client client(server.get());
    client.create("/source/k7");
    client.create("/source/k9");
    client.create("/p/a");
    client.taken();
    const quint64 events = server->statistics().events;
    QCOMPARE(server->setConnected(q("/source"), false), 1000);
    QCOMPARE(server->statistics().events, events + 2);
    QStringList told = client.taken().split(q(" | "));
    told.sort();
    QCOMPARE(told, QStringList({q("/source/k7=7 --c-"), q("/source/k9=9 --c-")}));
    QCOMPARE(server->setConnected(q("/source/k9"), true), 1);
    QCOMPARE(client.taken(), q("/source/k9=9 coc-"));
    QCOMPARE(server->setConnected(q("/nowhere"), true), 0);
    QCOMPARE(server->setConnected(q("/"), true), 1003);
    QCOMPARE(client.taken(), q("/source/k7=7 coc-"));
}

void tst_Sending::spellings_areAllTold()
{
    Client client(server.get()), other(server.get());
    client.create("p/a");
    client.create("/p/a");
    other.create("p#a");
    client.taken();
    other.taken();
    server->setValue(q("/p/a"), 5);
    QCOMPARE(client.taken(), q("p/a=5 coc- | /p/a=5 coc-"));
    QCOMPARE(other.taken(), q("p#a=5 coc-"));
}

void tst_Sending::limit_ofWatchedKeywords()
{
    Limits limits = server->limits();
    limits.watchedKeywords = 2;
    server->setLimits(limits);
    Client client(server.get(), "*");
    for (const char *path : {"/p/a", "/p/b", "/p/c", "/p/a"})
        client.create(path);
    QCOMPARE(client.taken(), q("/p/a=1 coc- | /p/b=2 coc- | /p/c=null --c- | /p/a=1 coc-"));
    QCOMPARE(server->statistics().refusedCreates, quint64(1));
    QCOMPARE(server->statistics().createsBeyondKeywords, quint64(1));
    server->setValue(q("/p/c"), 4);
    QCOMPARE(client.taken(), QString());
    client.command("keyDestroy", R"({"keyword":"/p/b"})");
    client.create("/p/c");
    QCOMPARE(client.taken(), q("/p/c=4 coc-"));
}

void tst_Sending::limit_ofMemory()
{
    Limits limits = server->limits();
    limits.sessionBytes = 100 * kibibyte;
    server->setLimits(limits);
    Client client(server.get(), "*");
    const QString name(1000, QLatin1Char('x'));
    for (int i = 0; i < 1000; ++i)
        client.create(qPrintable(q("/%1%2").arg(name).arg(i)));
    QCOMPARE(client.seen.size(), 1000); // each command gets a reply
    QVERIFY(server->statistics().refusedCreates > 900);
    QCOMPARE(server->statistics().createsBeyondMemory, server->statistics().refusedCreates);
    QVERIFY(server->statistics().memoryBytes < 400 * kibibyte);
    client.session.reset();
    QVERIFY(server->statistics().memoryBytes < 10 * kibibyte);
}

// Includes aggregates of keywords that are already watched, and the names of their children.
void tst_Sending::limit_ofMemoryCountsAggregates()
{
    Limits limits = server->limits();
    limits.sessionBytes = 200 * kibibyte;
    server->setLimits(limits);
    Client client(server.get(), "*");
    for (int i = 0; i < 100; ++i)
        client.create(qPrintable(q("/agg%1").arg(i)));
    client.taken();
    for (int i = 0; i < 100; ++i) {
        QStringList children;
        for (int child = 0; child < 100; ++child)
            children << q("\"/child%1/%2\"")
                            .arg(i)
                            .arg(QString(100, QLatin1Char('x')) + QString::number(child));
        client.command("keyCreateOrUpdate",
                       qPrintable(q(R"({"keyword":"/agg%1","children":[%2],"aggregation":"sum"})")
                                      .arg(i)
                                      .arg(children.join(QLatin1Char(',')))));
    }
    QCOMPARE(client.seen.size(), 100); // each command gets a reply
    QVERIFY(server->statistics().refusedCreates > 90);
    QVERIFY(server->statistics().memoryBytes < 600 * kibibyte);
    client.session.reset();
    QVERIFY(server->statistics().memoryBytes < 50 * kibibyte);
}

// Subscriptions, refused writes, and writes that wait share the limit.
void tst_Sending::limit_ofMemoryIsOne()
{
    Limits limits = server->limits();
    limits.sessionBytes = 100 * 1024;
    server->setLimits(limits);
    std::vector<WriteRequest> requests;
    server->setWriteHandler(
        q("/p/a"), [&requests](const WriteRequest &request) { requests.push_back(request); });
    Client client(server.get(), "*");
    while (server->statistics().writesBeyondMemory == 0)
        client.update("/p/a", "5");
    client.taken();
    const qint64 before = server->statistics().memoryBytes;
    for (int i = 0; i < 100; ++i) {
        client.create(qPrintable(q("/unknown/%1").arg(i)));
        client.update(qPrintable(q("/refused/%1").arg(i)), "1");
    }
    QCOMPARE(client.seen.size(), 200); // each command gets a reply
    QVERIFY(server->statistics().createsBeyondMemory > 95);
    QVERIFY(server->statistics().memoryBytes < before + 5 * 1024);

    requests.clear(); // which refuses them
    client.create("/another");
    QCOMPARE(client.seen.constLast(), q("/another=null --c-"));
    QCOMPARE(server->statistics().watchedKeywords, qint64(1));
}

void tst_Sending::limit_ofMemoryCountsNothingThatWasLetGo()
{
    Limits limits = server->limits();
    limits.sessionBytes = 20 * kibibyte;
    server->setLimits(limits);
    Client client(server.get(), "*");
    client.create("/p/a"); // is kept
    for (int i = 0; i < 1000; ++i) {
        client.create(qPrintable(q("/unknown/%1").arg(i)));
        client.command("keyCreateOrUpdate",
                       R"({"keyword":"/agg","children":["/p/a","/none"],"aggregation":"sum"})");
        client.command("keyCreateOrUpdate",
                       R"({"keyword":"/agg","children":["/p/b","/other"],"aggregation":"sum"})");
        client.command("keyDestroy", qPrintable(q(R"({"keyword":"/unknown/%1"})").arg(i)));
        client.command("keyDestroy", R"({"keyword":"/agg"})");
    }
    QCOMPARE(server->statistics().refusedCreates, quint64(0));
}

void tst_Sending::limit_ofAggregatedKeywords()
{
    Limits limits = server->limits();
    limits.aggregatedKeywords = 2;
    server->setLimits(limits);
    Client client(server.get(), "*");
    client.command("keyCreateOrUpdate",
                   R"({"keyword":"/x","children":["/p/a","/p/b","/p/c"],"aggregation":"sum"})");
    QCOMPARE(client.taken(), q("/x=null --c-"));
    client.command("keyCreateOrUpdate",
                   R"({"keyword":"/x","children":["/p/a","/p/b"],"aggregation":"sum"})");
    QCOMPARE(client.taken(), q("/x=3 coc-"));
    client.command("keyCreateOrUpdate",
                   R"({"keyword":"/x","children":["/p/a","/p/b","/p/c"],"aggregation":"sum"})");
    QCOMPARE(client.taken(), q("/x=3 coc-")); // unchanged
    QCOMPARE(server->statistics().refusedCreates, quint64(2));
    QCOMPARE(server->statistics().createsBeyondChildren, quint64(2));
}

void tst_Sending::limit_ofListedKeywords()
{
    Limits limits = server->limits();
    limits.listedKeywords = 2;
    server->setLimits(limits);
    Client client(server.get(), "*");
    client.command("keyIndex", R"({"factory":"p"})");
    QCOMPARE(client.taken(), q("/p/a /p/b"));
    QCOMPARE(server->statistics().cutAnswers, quint64(1));
}

// The reply contains complete entries only.
void tst_Sending::limit_ofAnAnswer()
{
    constexpr int children = 1000;
    const QString name(500, QLatin1Char('x'));
    for (int i = 0; i < children; ++i)
        server->declare(keyword(qPrintable(q("/many/%1%2").arg(name).arg(i)), "int", 1));
    Limits limits = server->limits();
    limits.answerBytes = 100 * kibibyte;
    server->setLimits(limits);
    Client client(server.get(), "*"), own(server.get());
    client.command("keyIndex", R"({"factory":"many"})");
    own.command("keyIndex", R"({"factory":"many"})");
    const qsizetype listed = client.taken().split(QLatin1Char(' ')).size();
    QVERIFY2(listed > 100 && listed < 200, qPrintable(QString::number(listed)));
    const qsizetype length = client.messages.constLast().size();
    QVERIFY2(length > 99 * kibibyte && length < 101 * kibibyte,
             qPrintable(QString::number(length)));
    QCOMPARE(own.taken().split(QLatin1Char(' ')).size(), children);
    QCOMPARE(server->statistics().cutAnswers, quint64(1));
    // The reply contains the request.
    const QByteArray uuid(60 * 1024, 'x');
    client.command("keyIndex", "{\"factory\":\"many\",\"uuid\":\"" + uuid + "\"}");
    const qsizetype fewer = client.taken().split(QLatin1Char(' ')).size();
    QVERIFY2(fewer > 40 && fewer < listed / 2, qPrintable(QString::number(fewer)));
    const qsizetype same = client.messages.constLast().size();
    QVERIFY2(same > 99 * 1024 && same < 101 * 1024, qPrintable(QString::number(same)));
    QCOMPARE(server->statistics().cutAnswers, quint64(2));
    client.command("keyIndex", R"({"factory":"p"})");
    QCOMPARE(client.taken(), q("/p/a /p/b /p/c"));
    QCOMPARE(server->statistics().cutAnswers, quint64(2));
}

// All are positive, and far from an overflow.
void tst_Sending::limits_haveDefaults()
{
    const Limits limits = server->limits();
    QCOMPARE(limits.watchedKeywords, 50000);
    QCOMPARE(limits.commandsPerSecond, 50000);
    QCOMPARE(limits.commandBytes, 1 << 20);
    QCOMPARE(limits.valueBytes, 1 << 18);
    QCOMPARE(limits.aggregatedKeywords, 1000);
    QCOMPARE(limits.listedKeywords, 10000);
    QCOMPARE(limits.keywords, 1000000);
    QCOMPARE(limits.sessionBytes, qint64(8) << 20);
    QCOMPARE(limits.sendingBytes, qint64(1) << 16);
    QCOMPARE(limits.totalSendingBytes, qint64(1) << 26);
    QCOMPARE(limits.stalledTime, 30s);
    QCOMPARE(limits.writeTime, 10s);
    QCOMPARE(limits.answerBytes, qint64(2) << 20);
    // A new limit needs a line above.
    [[maybe_unused]] const auto &[a, b, c, d, e, f, g, h, i, j, k, l, m] = limits;
}

void tst_Sending::limit_ofKeywords()
{
    Limits limits = server->limits();
    limits.keywords = 3;
    server->setLimits(limits);
    QVERIFY(!server->declare(keyword("/p/d", "int", 4)));
    QVERIFY(server->declare(keyword("/p/a", "int", 4))); // it exists already
    QCOMPARE(server->keywordCount(), 3);
    QCOMPARE(server->statistics().refusedDeclarations, quint64(1));
}

void tst_Sending::limit_ofAValue()
{
    server->declare(keyword("/p/text", "string", q("short")));
    server->declare(keyword("/p/list", "object", QVariantList()));
    Limits limits = server->limits();
    limits.valueBytes = 100;
    server->setLimits(limits);
    Client client(server.get(), "*");
    client.create("/p/text");
    client.create("/p/list");
    client.taken();
    const QByteArray text = '"' + QByteArray(200, 'x') + '"';
    client.update("/p/text", text.constData());
    QCOMPARE(client.taken(), q("/p/text=\"short\" coce"));
    client.update("/p/list", ('[' + text + ']').constData());
    QCOMPARE(client.taken(), q("/p/list=[] coce"));
    QCOMPARE(server->statistics().refusedWrites, quint64(2));
    QCOMPARE(server->statistics().writesBeyondLength, quint64(2));
}

void tst_Sending::limit_ofACommand()
{
    Limits limits = server->limits();
    limits.commandBytes = 100;
    server->setLimits(limits);
    Client client(server.get(), "*");
    client.create(QByteArray(200, 'x').constData());
    QCOMPARE(client.taken(), QString());
    QCOMPARE(server->statistics().longCommands, quint64(1));
    client.create("/p/a");
    QCOMPARE(client.taken(), q("/p/a=1 coc-"));
}

void tst_Sending::limits_areNotForTheProgramItself()
{
    Limits limits = server->limits();
    limits.watchedKeywords = limits.listedKeywords = limits.commandBytes = 1;
    limits.sessionBytes = 1;
    server->setLimits(limits);
    Client client(server.get());
    client.create("/p/a");
    client.create("/p/b");
    client.command("keyIndex", R"({"factory":"p"})");
    QCOMPARE(client.taken(), q("/p/a=1 coc- | /p/b=2 coc- | /p/a /p/b /p/c"));
}

void tst_Sending::statistics_areCounted()
{
    Client client(server.get());
    client.create("/p/a");
    client.update("/p/a", "5");
    client.update("/p/none", "5");
    const Statistics statistics = server->statistics();
    QCOMPARE(statistics.clients, qint64(1));
    QCOMPARE(statistics.keywords, qint64(3));
    QCOMPARE(statistics.watchedKeywords, qint64(1));
    QCOMPARE(statistics.commands, quint64(3));
    QCOMPARE(statistics.events, quint64(3));
    QCOMPARE(statistics.writes, quint64(2));
    QCOMPARE(statistics.refusedWrites, quint64(1));
    quint64 bytes = 0;
    for (const QByteArray &message : std::as_const(client.messages))
        bytes += quint64(message.size());
    QCOMPARE(statistics.bytesOut, bytes);
    client.session.reset();
    QCOMPARE(server->statistics().clients, qint64(0));
    QCOMPARE(server->statistics().watchedKeywords, qint64(0));
}

void tst_Sending::prometheus_isWellFormed()
{
    Client client(server.get());
    client.create("/p/a");
    const QList<QByteArray> lines = server->statistics().toPrometheus().split('\n');
    QVERIFY(lines.last().isEmpty());
    QSet<QByteArray> names, series;
    QByteArray name;
    for (qsizetype i = 0; i + 1 < lines.size(); ++i) {
        if (lines.at(i).startsWith("# HELP ")) {
            name = lines.at(i).split(' ').at(2);
            QVERIFY(lines.at(i).endsWith('.'));
            QVERIFY(!names.contains(name));
            names.insert(name);
            const bool isCounter = name.endsWith("_total");
            QCOMPARE(lines.at(++i), "# TYPE " + name + (isCounter ? " counter" : " gauge"));
            continue;
        }
        const QList<QByteArray> value = lines.at(i).split(' ');
        QCOMPARE(value.size(), 2);
        static const QRegularExpression form(q("^(\\w+)(\\{(reason|limit)=\"\\w+\"\\})?$"));
        const auto match = form.match(QString::fromLatin1(value.first()));
        QVERIFY2(match.hasMatch(), value.first().constData());
        QCOMPARE(match.captured(1).toLatin1(), name);
        QVERIFY(!series.contains(value.first()));
        series.insert(value.first());
        bool isNumber = false;
        value.last().toLongLong(&isNumber);
        QVERIFY(isNumber);
    }
    QVERIFY(lines.contains("pellix_keywords 3"));
    QVERIFY(lines.contains("pellix_watched_keywords 1"));
    QVERIFY(names.size() >= 20);
}

// The sum over the labels of a metric is the total.
void tst_Sending::prometheus_tellsTheLimits()
{
    Statistics statistics;
    statistics.refusedCreates = 6;
    statistics.createsBeyondKeywords = 1;
    statistics.createsBeyondChildren = 2;
    statistics.createsBeyondMemory = 3;
    statistics.refusedWrites = 9;
    statistics.writesBeyondLength = 2;
    statistics.writesBeyondMemory = 3;
    statistics.badRequests = 1;
    statistics.foreignOrigins = 2;
    statistics.missingCredentials = 3;
    statistics.wrongCredentials = 4;
    statistics.excessAttempts = 5;
    statistics.excessClients = 6;
    statistics.longCommands = 7;
    statistics.sendingPauses = 8;
    statistics.delayedAggregates = 9;
    statistics.droppedHandshakes = 10;
    const QList<QByteArray> lines = statistics.toPrometheus().split('\n');
    for (const char *line : {
             R"(pellix_refused_creates_total{limit="watched_keywords"} 1)",
             R"(pellix_refused_creates_total{limit="aggregated_keywords"} 2)",
             R"(pellix_refused_creates_total{limit="session_bytes"} 3)",
             R"(pellix_refused_writes_total{limit="value_bytes"} 2)",
             R"(pellix_refused_writes_total{limit="session_bytes"} 3)",
             R"(pellix_refused_writes_total{limit="none"} 4)",
             R"(pellix_refused_clients_total{reason="bad_request"} 1)",
             R"(pellix_refused_clients_total{reason="foreign_origin"} 2)",
             R"(pellix_refused_clients_total{reason="no_credentials"} 3)",
             R"(pellix_refused_clients_total{reason="wrong_credentials"} 4)",
             R"(pellix_refused_clients_total{reason="too_many_attempts"} 5)",
             R"(pellix_refused_clients_total{reason="too_many_clients"} 6)",
             "pellix_long_commands_total 7",
             "pellix_sending_pauses_total 8",
             "pellix_delayed_aggregates_total 9",
             "pellix_dropped_handshakes_total 10",
         })
        QVERIFY2(lines.contains(line), line);
}

QTEST_GUILESS_MAIN(tst_Sending)
#include "tst_sending.moc"
