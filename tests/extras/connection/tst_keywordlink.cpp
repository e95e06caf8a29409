// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "extras/connection/keywordconnection.h"
#include "extras/connection/keywordlink.h"
#include "tests/support/recordingclient.h"

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocketServer>

#include <memory>
#include <utility>

using namespace pellix::client;
using namespace pellix::extras;

class tst_KeywordLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void withoutAClient_isNotConnected();
    void inProcessClient_isConnectedWhileItsPublisherIsActive();
    void connection_isFollowed();
    void anotherClient_countsAtOnce();
    void destroyedClient_isNotConnected();
    void handlers_mayDeleteEither_data();
    void handlers_mayDeleteEither();
};

void tst_KeywordLink::withoutAClient_isNotConnected()
{
    PKeywordLink link;
    QCOMPARE(link.client(), nullptr);
    QVERIFY(!link.connected());
    const QSignalSpy client(&link, &PKeywordLink::clientChanged);
    link.setClient(nullptr);
    QCOMPARE(client.count(), 0);
}

void tst_KeywordLink::inProcessClient_isConnectedWhileItsPublisherIsActive()
{
    PInProcessKeywordClient client;
    PKeywordLink link;
    const QSignalSpy connected(&link, &PKeywordLink::connectedChanged);
    const QSignalSpy changed(&link, &PKeywordLink::clientChanged);
    link.setClient(&client);
    QCOMPARE(changed.count(), 1);
    QVERIFY(link.connected()); // as soon as the client exists
    QCOMPARE(connected.count(), 1);
    client.publisher()->setActive(false);
    QVERIFY(!link.connected());
    client.publisher()->setActive(true);
    QVERIFY(link.connected());
    QCOMPARE(connected.count(), 3);
    link.setClient(nullptr);
    QVERIFY(!link.connected());
    QCOMPARE(connected.count(), 4);
}

void tst_KeywordLink::connection_isFollowed()
{
    QWebSocketServer server(QString(), QWebSocketServer::NonSecureMode);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    PKeywordConnection connection;
    PKeywordLink link;
    link.setClient(&connection);
    QVERIFY(!link.connected());
    connection.setUrls({server.serverUrl().toString()});
    QTRY_VERIFY(link.connected());
    connection.close();
    QVERIFY(!link.connected());
}

void tst_KeywordLink::anotherClient_countsAtOnce()
{
    RecordingClient active, inactive, alsoActive;
    inactive.publisher()->setActive(false);
    PKeywordLink link;
    link.setClient(&active);
    QVERIFY(link.connected());
    link.setClient(&inactive);
    QVERIFY(!link.connected());
    link.setClient(&alsoActive);
    QVERIFY(link.connected());
    active.publisher()->setActive(false); // no longer the client of the link
    QVERIFY(link.connected());
}

void tst_KeywordLink::destroyedClient_isNotConnected()
{
    PKeywordLink link;
    auto client = std::make_unique<RecordingClient>();
    link.setClient(client.get());
    const QSignalSpy connected(&link, &PKeywordLink::connectedChanged);
    const QSignalSpy changed(&link, &PKeywordLink::clientChanged);
    client.reset();
    QVERIFY(!link.connected());
    QCOMPARE(link.client(), nullptr);
    QCOMPARE(connected.count(), 1);
    QCOMPARE(changed.count(), 1);
}

void tst_KeywordLink::handlers_mayDeleteEither_data()
{
    QTest::addColumn<bool>("ofClient"); // clientChanged or connectedChanged
    QTest::addColumn<bool>("link"); // delete the link, or else the client
    QTest::addColumn<QString>("moment");
    for (const bool ofClient : {false, true}) {
        for (const bool link : {false, true}) {
            for (const char *moment : {"set", "taken away", "destroyed", "inactive"}) {
                if (ofClient && qstrcmp(moment, "inactive") == 0)
                    continue;
                QTest::addRow("%s deleted in %s when the client is %s", link ? "link" : "client",
                              ofClient ? "clientChanged" : "connectedChanged", moment)
                    << ofClient << link << QString::fromLatin1(moment);
            }
        }
    }
}

void tst_KeywordLink::handlers_mayDeleteEither()
{
    QFETCH(bool, ofClient);
    QFETCH(bool, link);
    QFETCH(QString, moment);
    QPointer<PKeywordLink> subject(new PKeywordLink);
    QPointer<RecordingClient> client(new RecordingClient);
    bool dying = false;
    bool acted = false;
    const auto act = [&] {
        if (std::exchange(acted, true))
            return; // the deleted object emits signals, too
        if (link)
            delete subject.data();
        else if (!dying)
            delete client.data();
    };
    const auto watch = [&] {
        connect(subject.data(),
                ofClient ? &PKeywordLink::clientChanged : &PKeywordLink::connectedChanged, this,
                act);
    };
    if (moment == QLatin1String("set"))
        watch();
    subject->setClient(client);
    if (moment != QLatin1String("set"))
        watch();
    if (moment == QLatin1String("taken away")) {
        subject->setClient(nullptr);
    } else if (moment == QLatin1String("destroyed")) {
        dying = true;
        delete client.data();
    } else if (moment == QLatin1String("inactive")) {
        client->publisher()->setActive(false);
    }
    QVERIFY(acted);
    if (subject && !client)
        QVERIFY(!subject->connected() && !subject->client());
    delete subject.data();
    delete client.data();
}

QTEST_GUILESS_MAIN(tst_KeywordLink)
#include "tst_keywordlink.moc"
