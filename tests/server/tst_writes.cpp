// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/server/testclient.h"

#include <QtCore/QBuffer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>
#include <functional>
#include <vector>

using namespace pellix::server;
using namespace std::chrono_literals;

namespace {

// A device that calls a function whenever a line is written.
class Device : public QIODevice
{
public:
    Device() { open(QIODevice::WriteOnly); }
    std::function<void()> whenWritten;

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *, qint64 size) override
    {
        whenWritten();
        return size;
    }
};

} // namespace

class tst_Writes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void request_saysWhoWantsWhat();
    void accepted_laterIsShownThen();
    void accepted_withWhatTheSourceMadeOfIt();
    void accepted_withAValueThatDoesNotFitIsRefused();
    void accepted_asReportedLeavesTheValue_data();
    void accepted_asReportedLeavesTheValue();
    void accepted_asReportedEndsARefusal();
    void accepted_endsARefusalInEachSpelling();
    void accepted_asReportedMayRemoveTheKeyword();
    void accepted_endsARefusalOnce();
    void accepted_endsARefusalThatWaits();
    void refused_isToldToTheWriterAlone();
    void relative_addsToWhatIsPending();
    void relative_countsFromTheValueAgainAfterARefusal();
    void first_decisionCounts();
    void forgotten_isRefused();
    void notDecided_timesOut();
    void notDecided_timesOutInItsOwnTime();
    void assumed_isShownAtOnce();
    void assumed_isTakenBackWhenRefused();
    void assumed_isNotTakenBackOverANewerValue();
    void assumed_severalAreTakenBackInAnyOrder_data();
    void assumed_severalAreTakenBackInAnyOrder();
    void assumed_severalExpire();
    void assumed_isNotTakenBackOverALaterOne();
    void assumed_isNotTakenBackOverOneThatWasAccepted();
    void assumed_isTakenBackToAValueThatWasReported();
    void assumed_endsARefusalOnce();
    void withoutAHandler_theServerKeepsTheValue();
    void session_mayLeaveMeanwhile();
    void keyword_mayBeRemovedMeanwhile();
    void server_mayGoMeanwhile();
    void handler_mayDeleteAnything_data();
    void handler_mayDeleteAnything();
    void assumed_takenBackMayEndAnything_data();
    void assumed_takenBackMayEndAnything();
    void audit_mayEndAnything_data();
    void audit_mayEndAnything();
    void handler_mayReplaceItself();
    void audit_hasALineForEachWrite();
    void audit_saysWhy_data();
    void audit_saysWhy();
    void audit_escapesControlCharacters_data();
    void audit_escapesControlCharacters();
    void discarded_isAudited();
    void refused_afterTheRoleLostReading_data();
    void refused_afterTheRoleLostReading();

private:
    // Stores requests to /p/v, a double with the value 10.
    void keepRequests(bool assumed = false)
    {
        KeywordServer::Keyword value = keyword("/p/v", "double", 10.0);
        value.assumesWrites = assumed;
        QVERIFY(server->declare(value));
        server->setWriteHandler(
            q("/p/v"), [this](const WriteRequest &request) { requests.push_back(request); });
    }

    std::unique_ptr<KeywordServer> server;
    std::vector<WriteRequest> requests;
};

void tst_Writes::init()
{
    requests.clear();
    server = std::make_unique<KeywordServer>();
    server->declare(keyword("/p/n", "int", 3));
}

void tst_Writes::request_saysWhoWantsWhat()
{
    keepRequests();
    QVERIFY(server->setRole({q("operator"), {q("/**")}, {q("/p/*")}}));
    Client client(server.get(), "operator", "panel 1");
    client.update("p#v", "25");
    client.update("/p/v", "0.5", true);
    QCOMPARE(requests.size(), std::size_t(2));
    const WriteRequest &first = requests[0], &second = requests[1];
    QVERIFY(first.isPending() && second.isPending());
    QCOMPARE(first.path(), q("/p/v"));
    QCOMPARE(first.value(), QVariant(25.0));
    QVERIFY(!first.isRelative());
    QVERIFY(!first.change().isValid());
    QCOMPARE(first.peer().name, q("panel 1"));
    QCOMPARE(first.peer().role, q("operator"));
    QCOMPARE(first.peer().address, q("127.0.0.1:1"));
    QVERIFY(second.isRelative());
    QCOMPARE(second.change(), QVariant(0.5));
    QCOMPARE(second.value(), QVariant(25.5));

    const WriteRequest none;
    QVERIFY(!none.isPending());
    none.accept();
    none.refuse();
    QCOMPARE(none.path(), QString());
    QVERIFY(!none.value().isValid());
}

void tst_Writes::accepted_laterIsShownThen()
{
    keepRequests();
    Client writer(server.get()), other(server.get());
    writer.create("/p/v");
    other.create("/p/v");
    writer.taken();
    other.taken();
    QSignalSpy written(server.get(), &KeywordServer::valueWritten);
    writer.update("/p/v", "25");
    QCOMPARE(writer.taken(), QString());
    QCOMPARE(server->value(q("/p/v")), QVariant(10.0));
    requests[0].accept();
    QVERIFY(!requests[0].isPending());
    QCOMPARE(writer.taken(), q("/p/v=25 coc-"));
    QCOMPARE(other.taken(), q("/p/v=25 coc-"));
    QCOMPARE(written.count(), 1);
    QCOMPARE(written.first().last(), QVariant(25.0));
}

void tst_Writes::accepted_withWhatTheSourceMadeOfIt()
{
    keepRequests();
    Client writer(server.get());
    writer.create("/p/v");
    writer.taken();
    writer.update("/p/v", "250");
    requests[0].accept(100);
    QCOMPARE(writer.taken(), q("/p/v=100 coc-"));
    QCOMPARE(server->value(q("/p/v")), QVariant(100.0));
}

void tst_Writes::accepted_asReportedLeavesTheValue_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("a number") << QVariant(10.0);
    QTest::newRow("none") << QVariant();
}

void tst_Writes::accepted_asReportedLeavesTheValue()
{
    QFETCH(QVariant, value);
    QVERIFY(server->declare(keyword("/p/v", "double", value)));
    server->setWriteHandler(q("/p/v"),
                            [this](const WriteRequest &request) { requests.push_back(request); });
    QBuffer lines;
    QVERIFY(lines.open(QIODevice::ReadWrite));
    server->setAuditDevice(&lines);
    Client writer(server.get());
    writer.create("/p/v");
    writer.taken();
    QSignalSpy written(server.get(), &KeywordServer::valueWritten);
    writer.update("/p/v", "25");
    requests[0].acceptAsReported();
    QVERIFY(!requests[0].isPending());
    QCOMPARE(writer.taken(), QString());
    QCOMPARE(server->value(q("/p/v")), value);
    QCOMPARE(written.count(), 1);
    QCOMPARE(written.first().last(), value);
    const QJsonObject line = QJsonDocument::fromJson(lines.data()).object();
    QCOMPARE(line.value(q("outcome")).toString(), q("accepted"));
    QCOMPARE(line.value(q("value")).toDouble(), 25.0);
}

void tst_Writes::accepted_asReportedEndsARefusal()
{
    keepRequests();
    Client writer(server.get());
    writer.create("/p/v");
    writer.update("/p/v", "25");
    requests[0].refuse();
    writer.taken();
    writer.update("/p/v", "26");
    requests[1].acceptAsReported();
    QCOMPARE(writer.taken(), q("/p/v=10 coc-"));
}

void tst_Writes::accepted_endsARefusalInEachSpelling()
{
    keepRequests();
    Client writer(server.get());
    writer.create("/p/v");
    writer.create("p#v");
    writer.update("p#v", "25");
    requests[0].refuse();
    QCOMPARE(writer.taken(), q("/p/v=10 coc- | p#v=10 coc- | p#v=10 coce"));
    writer.update("/p/v", "10");
    requests[1].accept();
    QCOMPARE(writer.taken(), q("p#v=10 coc-"));
    writer.update("/p/v", "10");
    requests[2].accept();
    QCOMPARE(writer.taken(), QString()); // it was not refused
}

// The writer is told of it, and may do anything then.
void tst_Writes::accepted_asReportedMayRemoveTheKeyword()
{
    keepRequests();
    Client writer(server.get());
    QVariantList written;
    connect(server.get(), &KeywordServer::valueWritten, this,
            [&](const QString &, const QVariant &value) { written << value; });
    writer.update("/p/v", "25");
    requests[0].refuse();
    connect(writer.session.get(), &KeywordSession::send, this,
            [this] { server->remove(q("/p/v")); });
    writer.update("/p/v", "26");
    requests[1].acceptAsReported();
    QVERIFY(!server->contains(q("/p/v")));
    QCOMPARE(written, QVariantList {10.0});
}

// An event that has been sent in the meantime has ended the refusal, such as when a device reports
// a value before the write is accepted.
void tst_Writes::accepted_endsARefusalOnce()
{
    keepRequests();
    Client writer(server.get());
    writer.create("/p/v");
    writer.update("/p/v", "25");
    requests[0].refuse();
    writer.taken();
    writer.update("/p/v", "26");
    server->setValue(q("/p/v"), 26.0);
    QCOMPARE(writer.taken(), q("/p/v=26 coc-"));
    requests[1].acceptAsReported();
    QCOMPARE(writer.taken(), QString());
    // For a name without a subscription, the reply is the only event.
    writer.update("p#v", "27");
    requests[2].refuse();
    QCOMPARE(writer.taken(), q("p#v=26 coce"));
    server->setValue(q("/p/v"), 28.0);
    writer.taken();
    writer.update("p#v", "28");
    requests[3].accept();
    QCOMPARE(writer.taken(), q("p#v=28 coc-"));
}

void tst_Writes::accepted_endsARefusalThatWaits()
{
    keepRequests();
    Client writer(server.get());
    writer.create("/p/v");
    writer.taken();
    writer.session->pause();
    server->setValue(q("/p/v"), 11.0);
    writer.update("/p/v", "25");
    requests[0].refuse();
    writer.update("/p/v", "11");
    requests[1].accept();
    writer.session->resume();
    QCOMPARE(writer.taken(), q("/p/v=11 coc- | /p/v=11 coce | /p/v=11 coc-"));
}

void tst_Writes::accepted_withAValueThatDoesNotFitIsRefused()
{
    keepRequests();
    Client writer(server.get());
    writer.create("/p/v");
    writer.taken();
    writer.update("/p/v", "250");
    requests[0].accept(q("much"));
    QCOMPARE(writer.taken(), q("/p/v=10 coce"));
}

void tst_Writes::refused_isToldToTheWriterAlone()
{
    keepRequests();
    Client writer(server.get()), other(server.get());
    writer.create("/p/v");
    other.create("/p/v");
    writer.taken();
    other.taken();
    writer.update("/p/v", "25");
    requests[0].refuse(q("the valve is stuck"));
    QCOMPARE(writer.taken(), q("/p/v=10 coce"));
    QCOMPARE(other.taken(), QString());
    // The next write gets a reply, although it does not change the value.
    writer.update("/p/v", "10");
    requests[1].accept();
    QCOMPARE(writer.taken(), q("/p/v=10 coc-"));
}

void tst_Writes::relative_addsToWhatIsPending()
{
    keepRequests();
    Client first(server.get()), second(server.get());
    first.update("/p/v", "5", true);
    second.update("/p/v", "5", true);
    QCOMPARE(requests[0].value(), QVariant(15.0));
    QCOMPARE(requests[1].value(), QVariant(20.0));
    requests[0].accept();
    first.update("/p/v", "5", true);
    QCOMPARE(requests[2].value(), QVariant(25.0));
    requests[1].accept();
    requests[2].accept();
    QCOMPARE(server->value(q("/p/v")), QVariant(25.0));
}

void tst_Writes::relative_countsFromTheValueAgainAfterARefusal()
{
    keepRequests();
    Client client(server.get());
    client.update("/p/v", "5", true);
    requests[0].refuse();
    client.update("/p/v", "5", true);
    QCOMPARE(requests[1].value(), QVariant(15.0));
}

void tst_Writes::first_decisionCounts()
{
    keepRequests();
    Client client(server.get());
    client.update("/p/v", "25");
    const WriteRequest copy = requests[0];
    copy.accept();
    requests[0].refuse();
    requests[0].accept(99.0);
    QCOMPARE(client.taken(), QString()); // it is not subscribed to the keyword
    QCOMPARE(server->value(q("/p/v")), QVariant(25.0));
    QCOMPARE(server->statistics().refusedWrites, quint64(0));
}

void tst_Writes::forgotten_isRefused()
{
    keepRequests();
    Client client(server.get());
    client.create("/p/v");
    client.taken();
    client.update("/p/v", "25");
    {
        const WriteRequest copy = requests[0];
        requests.clear();
        QVERIFY(copy.isPending());
        QCOMPARE(client.taken(), QString());
    }
    QCOMPARE(client.taken(), q("/p/v=10 coce"));
    server->setWriteHandler(q("/p/v"), [](const WriteRequest &) {});
    client.update("/p/v", "25");
    QCOMPARE(client.taken(), q("/p/v=10 coce"));
}

void tst_Writes::notDecided_timesOut()
{
    Limits limits = server->limits();
    limits.writeTime = 10ms;
    server->setLimits(limits);
    keepRequests();
    Client client(server.get());
    client.create("/p/v");
    client.taken();
    client.update("/p/v", "25");
    client.update("/p/v", "26");
    QTRY_COMPARE(client.seen.size(), 2);
    QCOMPARE(client.taken(), q("/p/v=10 coce | /p/v=10 coce"));
    QCOMPARE(server->statistics().timedOutWrites, quint64(2));
    requests[0].accept(); // after the timeout
    QCOMPARE(client.taken(), QString());
    QCOMPARE(server->value(q("/p/v")), QVariant(10.0));
    client.update("/p/v", "27"); // the timer continues
    QTRY_COMPARE(client.seen.size(), 1);
}

// A new limit applies to the next writes, even if it is shorter.
void tst_Writes::notDecided_timesOutInItsOwnTime()
{
    const auto setTime = [this](std::chrono::milliseconds time) {
        Limits limits = server->limits();
        limits.writeTime = time;
        server->setLimits(limits);
    };
    keepRequests();
    Client client(server.get());
    setTime(10min);
    client.update("/p/v", "25");
    setTime(10ms);
    client.update("/p/v", "26");
    QTRY_COMPARE(server->statistics().timedOutWrites, quint64(1));
    QVERIFY(requests[0].isPending());
    QVERIFY(!requests[1].isPending());
    client.update("/p/v", "27"); // the timer continues
    QTRY_COMPARE(server->statistics().timedOutWrites, quint64(2));
    QVERIFY(requests[0].isPending());
    requests[0].accept();
    QCOMPARE(server->value(q("/p/v")), QVariant(25.0));
}

void tst_Writes::assumed_isShownAtOnce()
{
    keepRequests(true);
    Client client(server.get());
    client.create("/p/v");
    client.taken();
    client.update("/p/v", "25");
    QCOMPARE(client.taken(), q("/p/v=25 coc-"));
    requests[0].accept();
    QCOMPARE(client.taken(), QString());
    QCOMPARE(server->value(q("/p/v")), QVariant(25.0));
}

void tst_Writes::assumed_isTakenBackWhenRefused()
{
    keepRequests(true);
    Client client(server.get()), other(server.get());
    client.create("/p/v");
    other.create("/p/v");
    client.update("/p/v", "25");
    client.taken();
    other.taken();
    requests[0].refuse();
    QCOMPARE(client.taken(), q("/p/v=10 coc- | /p/v=10 coce"));
    QCOMPARE(other.taken(), q("/p/v=10 coc-"));
}

void tst_Writes::assumed_isNotTakenBackOverANewerValue()
{
    keepRequests(true);
    Client client(server.get());
    client.update("/p/v", "25");
    server->setValue(q("/p/v"), 30.0);
    requests[0].refuse();
    QCOMPARE(server->value(q("/p/v")), QVariant(30.0));
}

void tst_Writes::assumed_severalAreTakenBackInAnyOrder_data()
{
    QTest::addColumn<QList<int>>("order");
    QTest::addColumn<bool>("relative");
    for (const bool relative : {false, true}) {
        QList<int> order {0, 1, 2};
        do {
            QTest::addRow("%d %d %d%s", order[0], order[1], order[2], relative ? ", relative" : "")
                << order << relative;
        } while (std::next_permutation(order.begin(), order.end()));
    }
}

// Each of them was shown over the previous one, which may be refused first.
void tst_Writes::assumed_severalAreTakenBackInAnyOrder()
{
    QFETCH(QList<int>, order);
    QFETCH(bool, relative);
    keepRequests(true);
    Client client(server.get());
    for (const char *value : {"20", "30", "40"})
        client.update("/p/v", relative ? "10" : value, relative);
    QCOMPARE(server->value(q("/p/v")), QVariant(40.0));
    for (const int number : std::as_const(order)) {
        QVERIFY(server->value(q("/p/v")) != QVariant(10.0));
        requests[std::size_t(number)].refuse();
    }
    QCOMPARE(server->value(q("/p/v")), QVariant(10.0));
}

void tst_Writes::assumed_severalExpire()
{
    Limits limits = server->limits();
    limits.writeTime = 10ms;
    server->setLimits(limits);
    keepRequests(true);
    Client client(server.get());
    for (const char *value : {"20", "30", "40"})
        client.update("/p/v", value);
    QTRY_COMPARE(server->statistics().timedOutWrites, quint64(3));
    QCOMPARE(server->value(q("/p/v")), QVariant(10.0));
}

// Even if it is the same value.
void tst_Writes::assumed_isNotTakenBackOverALaterOne()
{
    keepRequests(true);
    Client client(server.get());
    for (const char *value : {"20", "30", "20"})
        client.update("/p/v", value);
    requests[0].refuse();
    QCOMPARE(server->value(q("/p/v")), QVariant(20.0));
    requests[2].refuse();
    QCOMPARE(server->value(q("/p/v")), QVariant(30.0));
    requests[1].refuse();
    QCOMPARE(server->value(q("/p/v")), QVariant(10.0));
}

void tst_Writes::assumed_isNotTakenBackOverOneThatWasAccepted()
{
    keepRequests(true);
    Client client(server.get());
    client.update("/p/v", "20");
    client.update("/p/v", "20");
    requests[1].accept();
    requests[0].refuse();
    QCOMPARE(server->value(q("/p/v")), QVariant(20.0));

    client.update("/p/v", "30");
    client.update("/p/v", "40");
    requests[2].accept(40); // what the source made of it
    requests[3].refuse();
    QCOMPARE(server->value(q("/p/v")), QVariant(40.0));
}

void tst_Writes::assumed_isTakenBackToAValueThatWasReported()
{
    keepRequests(true);
    Client client(server.get());
    client.update("/p/v", "20");
    server->setValue(q("/p/v"), 15.0);
    client.update("/p/v", "30");
    requests[0].refuse();
    requests[1].refuse();
    QCOMPARE(server->value(q("/p/v")), QVariant(15.0));
}

void tst_Writes::assumed_endsARefusalOnce()
{
    keepRequests(true);
    Client client(server.get());
    client.create("/p/v");
    client.update("/p/v", "25");
    requests[0].refuse();
    client.taken();
    client.update("/p/v", "26");
    QCOMPARE(client.taken(), q("/p/v=26 coc-"));
    requests[1].accept();
    QCOMPARE(client.taken(), QString());
}

void tst_Writes::withoutAHandler_theServerKeepsTheValue()
{
    Client client(server.get());
    client.create("/p/n");
    client.update("/p/n", "4");
    QCOMPARE(client.taken(), q("/p/n=3 coc- | /p/n=4 coc-"));
    server->setWriteCheck(q("/p/n"), [](const QVariant &value) { return value.toInt() < 10; });
    client.update("/p/n", "11");
    QCOMPARE(client.taken(), q("/p/n=4 coce"));
    server->setWriteCheck(q("/p/n"), {});
    client.update("/p/n", "11");
    QCOMPARE(client.taken(), q("/p/n=11 coc-"));
}

void tst_Writes::session_mayLeaveMeanwhile()
{
    keepRequests();
    auto writer = std::make_unique<Client>(server.get());
    writer->create("/p/v");
    writer->update("/p/v", "25");
    writer->update("/p/v", "26");
    writer.reset();
    Client other(server.get());
    other.create("/p/v");
    other.taken();
    requests[0].refuse();
    QCOMPARE(other.taken(), QString());
    requests[1].accept();
    QCOMPARE(other.taken(), q("/p/v=26 coc-"));
}

void tst_Writes::keyword_mayBeRemovedMeanwhile()
{
    keepRequests();
    Client client(server.get());
    client.create("/p/v");
    client.update("/p/v", "25");
    client.update("/p/v", "26");
    client.taken();
    server->remove(q("/p/v"));
    QCOMPARE(client.taken(), q("/p/v=null --c-"));
    requests[0].accept();
    QCOMPARE(client.taken(), q("/p/v=null --ce"));
    server->declare(keyword("/p/v", "string", q("text")));
    client.taken();
    requests[1].accept(); // a number does not fit a string
    QCOMPARE(client.taken(), q("/p/v=\"text\" coce"));
    client.update("/p/n", "5");
    server->clear();
    QVERIFY(!requests[1].isPending());
}

void tst_Writes::server_mayGoMeanwhile()
{
    keepRequests();
    Client client(server.get());
    client.update("/p/v", "25");
    server.reset();
    QVERIFY(!requests[0].isPending());
    requests[0].accept();
    requests[0].refuse();
    QCOMPARE(requests[0].value(), QVariant(25.0));
}

void tst_Writes::handler_mayDeleteAnything_data()
{
    QTest::addColumn<QString>("deleted");
    QTest::addColumn<bool>("accepts");
    QTest::addColumn<bool>("assumed");
    for (const char *deleted : {"session", "other", "keyword", "handler", "server", "clear"}) {
        for (const bool accepts : {false, true}) {
            for (const bool assumed : {false, true}) {
                QTest::addRow("%s, %s%s", deleted, accepts ? "accepted" : "refused",
                              assumed ? ", assumed" : "")
                    << q(deleted) << accepts << assumed;
            }
        }
    }
}

void tst_Writes::handler_mayDeleteAnything()
{
    QFETCH(QString, deleted);
    QFETCH(bool, accepts);
    QFETCH(bool, assumed);
    keepRequests(assumed);
    auto writer = std::make_unique<Client>(server.get());
    auto other = std::make_unique<Client>(server.get());
    writer->create("/p/v");
    other->create("/p/v");
    int calls = 0;
    server->setWriteHandler(q("/p/v"), [&](const WriteRequest &request) {
        ++calls;
        const WriteRequest kept = request;
        const bool accept = accepts;
        if (deleted == q("session"))
            writer->session.reset();
        else if (deleted == q("other"))
            other->session.reset();
        else if (deleted == q("keyword"))
            server->remove(q("/p/v"));
        else if (deleted == q("clear"))
            server->clear();
        else if (deleted == q("server"))
            server.reset();
        else
            server->setWriteHandler(q("/p/v"), {}); // destroys its captures
        if (accept)
            kept.accept();
        else
            kept.refuse();
    });
    writer->update("/p/v", "25");
    QCOMPARE(calls, 1);
    if (server && server->contains(q("/p/v")))
        QCOMPARE(server->value(q("/p/v")), QVariant(accepts ? 25.0 : 10.0));
}

void tst_Writes::assumed_takenBackMayEndAnything_data()
{
    QTest::addColumn<QString>("deleted");
    QTest::addColumn<bool>("expires");
    for (const char *deleted : {"session", "keyword", "clear", "server"}) {
        QTest::addRow("%s, refused", deleted) << q(deleted) << false;
        QTest::addRow("%s, expired", deleted) << q(deleted) << true;
    }
}

void tst_Writes::assumed_takenBackMayEndAnything()
{
    QFETCH(QString, deleted);
    QFETCH(bool, expires);
    if (expires) {
        Limits limits = server->limits();
        limits.writeTime = 1ms;
        server->setLimits(limits);
    }
    keepRequests(true);
    Client writer(server.get()), other(server.get());
    other.create("/p/v");
    writer.update("/p/v", "25");
    bool done = false;
    connect(other.session.get(), &KeywordSession::send, this, [&] {
        done = true;
        if (deleted == q("session"))
            writer.session.reset();
        else if (deleted == q("keyword"))
            server->remove(q("/p/v"));
        else if (deleted == q("clear"))
            server->clear();
        else
            server.reset();
    });
    if (!expires)
        requests[0].refuse();
    QTRY_VERIFY(done);
}

void tst_Writes::audit_mayEndAnything_data()
{
    QTest::addColumn<QString>("deleted");
    QTest::addColumn<QByteArray>("value");
    for (const char *deleted : {"session", "keyword", "clear", "server", "device"}) {
        QTest::addRow("%s, accepted", deleted) << q(deleted) << QByteArray("4");
        QTest::addRow("%s, refused", deleted) << q(deleted) << QByteArray("true");
        QTest::addRow("%s, discarded", deleted) << q(deleted) << QByteArray();
    }
}

void tst_Writes::audit_mayEndAnything()
{
    QFETCH(QString, deleted);
    QFETCH(QByteArray, value);
    auto device = std::make_unique<Device>();
    server->setAuditDevice(device.get());
    Client writer(server.get());
    writer.create("/p/n");
    int lines = 0;
    device->whenWritten = [&] {
        ++lines;
        if (deleted == q("session"))
            writer.session.reset();
        else if (deleted == q("keyword"))
            server->remove(q("/p/n"));
        else if (deleted == q("clear"))
            server->clear();
        else if (deleted == q("server"))
            server.reset();
        else
            server->setAuditDevice(nullptr);
    };
    if (value.isEmpty()) {
        keepRequests();
        writer.update("/p/v", "25");
        server->clear();
    } else {
        writer.update("/p/n", value.constData());
    }
    QCOMPARE(lines, 1);
}

void tst_Writes::handler_mayReplaceItself()
{
    Client client(server.get());
    QStringList calls;
    server->setWriteHandler(q("/p/n"), [&](const WriteRequest &request) {
        calls << q("first");
        server->setWriteHandler(q("/p/n"), [&](const WriteRequest &next) {
            calls << q("second");
            next.accept();
        });
        request.accept();
    });
    client.update("/p/n", "4");
    client.update("/p/n", "5");
    QCOMPARE(calls, QStringList({q("first"), q("second")}));
    QCOMPARE(server->value(q("/p/n")), QVariant(5));
}

void tst_Writes::audit_hasALineForEachWrite()
{
    QBuffer audit;
    QVERIFY(audit.open(QIODevice::ReadWrite));
    server->setAuditDevice(&audit);
    server->declare(keyword("/p/text", "string", q("")));
    keepRequests();
    QVERIFY(server->setRole({q("operator"), {q("/**")}, {q("/p/**")}}));
    Client client(server.get(), "operator", "panel\n\"1\"");
    client.update("/p/n", "1", true);
    client.update("/p/text", R"("a\nb\u0007")");
    client.update("/p/none", "1");
    client.update("/p/v", "25");
    requests[0].refuse(q("the valve\nis stuck"));

    const QList<QByteArray> lines = audit.data().split('\n');
    QCOMPARE(lines.size(), 5);
    QVERIFY(lines.last().isEmpty());
    QList<QJsonObject> objects;
    for (int i = 0; i < 4; ++i) {
        objects << QJsonDocument::fromJson(lines.at(i)).object();
        QCOMPARE(objects.last().value(q("name")), QJsonValue(q("panel\n\"1\"")));
        QCOMPARE(objects.last().value(q("role")), QJsonValue(q("operator")));
        QCOMPARE(objects.last().value(q("address")), QJsonValue(q("127.0.0.1:1")));
        QVERIFY(objects.last().value(q("time")).toString().endsWith(QLatin1Char('Z')));
        for (const char character : lines.at(i))
            QVERIFY(uchar(character) >= 0x20);
    }
    QCOMPARE(objects.at(0).value(q("keyword")), QJsonValue(q("/p/n")));
    QCOMPARE(objects.at(0).value(q("value")), QJsonValue(4));
    QCOMPARE(objects.at(0).value(q("change")), QJsonValue(1));
    QCOMPARE(objects.at(0).value(q("outcome")), QJsonValue(q("accepted")));
    QCOMPARE(objects.at(1).value(q("value")), QJsonValue(q("a\nb\a")));
    QCOMPARE(objects.at(2).value(q("outcome")), QJsonValue(q("refused")));
    QCOMPARE(objects.at(2).value(q("reason")), QJsonValue(q("there is no such keyword")));
    QCOMPARE(objects.at(3).value(q("reason")), QJsonValue(q("the valve\nis stuck")));

    server->setAuditDevice(nullptr);
    client.update("/p/n", "1", true);
    QCOMPARE(audit.data().count('\n'), 4);
}

void tst_Writes::audit_saysWhy_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<QString>("reason");
    const QString refused = q("refused");
    QTest::newRow("not readable") << q("unreadable") << refused << q("there is no such keyword");
    QTest::newRow("not writable") << q("read-only") << refused << q("the keyword is not writable");
    QTest::newRow("the role") << q("role") << refused << q("the role may not write it");
    QTest::newRow("the type") << q("type") << refused << q("the value does not fit");
    QTest::newRow("the length") << q("length") << refused << q("the value is too long");
    QTest::newRow("not decided") << q("undecided") << q("timed out")
                                 << q("it was not decided in time");
    QTest::newRow("forgotten") << q("forgotten") << refused << q("its handler has not decided it");
    QTest::newRow("removed") << q("removed") << refused << q("the keyword has been removed");
    QTest::newRow("cleared") << q("cleared") << refused << q("the server was cleared");
    QTest::newRow("destroyed") << q("destroyed") << refused << q("the server was closed");
    QTest::newRow("writer has left, refused") << q("left, refused") << refused << q("why");
    QTest::newRow("writer has left, accepted") << q("left, accepted") << q("accepted") << QString();
}

void tst_Writes::audit_saysWhy()
{
    QFETCH(QString, how);
    QFETCH(QString, outcome);
    QFETCH(QString, reason);
    QBuffer audit;
    QVERIFY(audit.open(QIODevice::ReadWrite));
    server->setAuditDevice(&audit);
    server->declare(keyword("/r/n", "int", 3, "R"));
    server->declare(keyword("/s/n", "int", 3));
    server->declare(keyword("/s/only", "int", 3));
    server->declare(keyword("/p/text", "string", q("")));
    keepRequests();
    QVERIFY(server->setRole(
        {q("operator"), {q("/p/*"), q("/r/*"), q("/s/n")}, {q("/p/*"), q("/r/*")}}));
    Limits limits = server->limits();
    limits.writeTime = std::chrono::milliseconds(how == q("undecided") ? 1 : 60'000);
    limits.valueBytes = 20;
    server->setLimits(limits);
    Client client(server.get(), "operator", "panel");

    const bool isUsual = reason != q("the role may not write it");
    const char *const path = how == q("unreadable") ? "/s/only"
        : how == q("read-only")                     ? "/r/n"
        : !isUsual                                  ? "/s/n"
        : how == q("length")                        ? "/p/text"
                                                    : "/p/v";
    const char *const value = how == q("type") ? "true"
        : how == q("length")                   ? "\"more than twenty bytes\""
                                               : "25";
    client.update(path, value);
    if (how == q("forgotten")) {
        requests.clear();
    } else if (how == q("removed")) {
        server->remove(q("/p/v"));
        requests.at(0).accept();
    } else if (how == q("cleared")) {
        server->clear();
        requests.at(0).accept(); // has no effect any more
    } else if (how == q("destroyed")) {
        server.reset();
        requests.at(0).accept();
    } else if (how.startsWith(q("left"))) {
        client.session.reset();
        if (reason.isEmpty())
            requests.at(0).accept();
        else
            requests.at(0).refuse(reason);
    }
    QTRY_COMPARE(audit.data().count('\n'), 1);
    const QJsonObject line = QJsonDocument::fromJson(audit.data()).object();
    QCOMPARE(line.value(q("outcome")).toString(), outcome);
    QCOMPARE(line.value(q("reason")).toString(), reason);
    QCOMPARE(line.value(q("keyword")).toString(), q(path));
    QCOMPARE(line.value(q("name")).toString(), q("panel"));
    QCOMPARE(line.value(q("role")).toString(), q("operator"));
    if (server) {
        QCOMPARE(server->statistics().refusedWrites, quint64(outcome == q("accepted") ? 0 : 1));
        QCOMPARE(server->statistics().timedOutWrites, quint64(outcome == q("timed out") ? 1 : 0));
    }
}

void tst_Writes::audit_escapesControlCharacters_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("escaped");
    QTest::newRow("nothing") << q("\u00e4 \u20ac") << QByteArray("\u00e4 \u20ac");
    QTest::newRow("C0") << q("a\u001bb") << QByteArray("a\\u001bb");
    QTest::newRow("DEL") << q("a\u007fb") << QByteArray("a\\u007fb");
    QTest::newRow("first of C1") << QString(QChar(0x80)) << QByteArray("\\u0080");
    QTest::newRow("next line") << QString(QChar(0x85)) << QByteArray("\\u0085");
    QTest::newRow("last of C1") << QString(QChar(0x9f)) << QByteArray("\\u009f");
    QTest::newRow("after C1") << QString(QChar(0xa0)) << QString(QChar(0xa0)).toUtf8();
    QTest::newRow("line separator") << q("\u2028") << QByteArray("\\u2028");
    QTest::newRow("paragraph separator") << q("\u2029") << QByteArray("\\u2029");
    QTest::newRow("right to left") << q("\u202e") << QByteArray("\\u202e");
    QTest::newRow("isolate") << q("\u2066") << QByteArray("\\u2066");
    QTest::newRow("beyond 16 bits") << q("\U0001F600") << QByteArray("\U0001F600");
}

// Whoever reads the file must not be deceived by a client, in an editor or in a terminal.
void tst_Writes::audit_escapesControlCharacters()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, escaped);
    QBuffer audit;
    QVERIFY(audit.open(QIODevice::ReadWrite));
    server->setAuditDevice(&audit);
    server->declare(keyword("/p/text", "string", q("")));
    Client client(server.get(), "*", qPrintable(text));
    QByteArray sent = text.toUtf8();
    sent.replace("\u001b", "\\u001b"); // the only one that JSON does not allow as it is
    client.update("/p/text", QByteArray('"' + sent + '"').constData());
    client.update(QByteArray("/none/" + sent).constData(), "1");
    const QList<QByteArray> lines = audit.data().trimmed().split('\n');
    QCOMPARE(lines.size(), 2);
    for (const QByteArray &line : lines)
        QCOMPARE(line.count('"' + escaped + '"') + line.count("/none/" + escaped + '"'), 2);
    QCOMPARE(QJsonDocument::fromJson(lines.at(0)).object().value(q("value")).toString(), text);
}

void tst_Writes::discarded_isAudited()
{
    QBuffer audit;
    QVERIFY(audit.open(QIODevice::ReadWrite));
    server->setAuditDevice(&audit);
    keepRequests(true);
    Client client(server.get());
    for (const char *value : {"25", "26", "27"})
        client.update("/p/v", value);
    requests.at(1).refuse();
    client.taken();
    server->clear();
    QCOMPARE(client.taken(), QString());
    QCOMPARE(audit.data().count('\n'), 3);
    QCOMPARE(audit.data().count("\"the server was cleared\""), 2);
    QCOMPARE(server->statistics().refusedWrites, quint64(3));
    QCOMPARE(server->statistics().memoryBytes,
             std::make_unique<KeywordServer>()->statistics().memoryBytes);
    server->clear();
    QCOMPARE(audit.data().count('\n'), 3);
}

void tst_Writes::refused_afterTheRoleLostReading_data()
{
    QTest::addColumn<bool>("assumed");
    QTest::addColumn<bool>("subscribed");
    for (const bool assumed : {false, true}) {
        QTest::addRow("%s, subscribed", assumed ? "assumed" : "waiting") << assumed << true;
        QTest::addRow("%s, not subscribed", assumed ? "assumed" : "waiting") << assumed << false;
    }
}

void tst_Writes::refused_afterTheRoleLostReading()
{
    QFETCH(bool, assumed);
    QFETCH(bool, subscribed);
    keepRequests(assumed);
    QVERIFY(server->setRole({q("operator"), {q("/**")}, {q("/p/*")}}));
    Client client(server.get(), "operator");
    if (subscribed)
        client.create("/p/v");
    client.update("/p/v", "25");
    QVERIFY(server->setRole({q("operator"), {}, {q("/p/*")}}));
    client.taken();
    client.messages.clear();
    requests.at(0).refuse();
    QCOMPARE(client.taken(), q("/p/v=null --ce"));
    for (const QByteArray &message : std::as_const(client.messages))
        QVERIFY2(!message.contains("10") && !message.contains("25"), message.constData());
}

QTEST_GUILESS_MAIN(tst_Writes)
#include "tst_writes.moc"
