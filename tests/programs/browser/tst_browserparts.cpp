// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "client/websocketkeywordclient.h"
#include "extras/writing/keywordwrite.h"
#include "programs/browser/historyplot.h"
#include "programs/browser/keywordhistory.h"
#include "programs/browser/preferences.h"
#include "programs/browser/session.h"
#include "pubsub/publisher.h"
#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTemporaryDir>
#include <QtGui/QImage>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <cmath>

using namespace pellix::client;
using pellix::extras::PKeywordWrite;
using namespace pellix::server;
using namespace pellix::simulator;

namespace {

const QString keyword = QStringLiteral("/a");

void publish(PKeywordClient &client, const QVariant &value, bool error = false)
{
    PKeywordValue event;
    event.value = value;
    event.type = value.typeId() == QMetaType::Bool ? PKeywordValueType::KVT_BOOL
                                                   : PKeywordValueType::KVT_DOUBLE;
    event.connected = true;
    event.error = error;
    client.publisher()->publish(keyword, QVariant::fromValue(event));
}

const QString hush = QStringLiteral("hush"); // what nobody may see

} // namespace

class tst_BrowserParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ring_keepsTheNewestInOrder();
    void ring_findsTheFirstSampleFromATimeOn();
    void history_countsChangesAndNotEvents();
    void history_keepsTheLastValueWhenTheLinkIsLost();
    void history_isNotWatchedWhileTheLinkIsLost();
    void history_isNotWatchedWithoutASource();
    void history_startsAnewWithAnotherKeyword();
    void history_survivesItsClient();
    void plot_isDrawnAtMostThirtyTimesASecond();
    void plot_drawsStepsAtTheirHeight();
    void write_outcomes();
    void write_outcomes_data();
    void write_withoutAnAnswer();
    void write_withoutALinkIsNotSent();
    void session_changesItsServer();
    void session_refusesWhatIsNoAddress();
    void session_refusesSecretsThatAreNotThere();
    void session_showsNoSecrets();
    void session_tellsSinceWhenTheLinkIsLost();
    void preferences_pin();
    void preferences_ofABrokenFileAreTheDefaults();
};

void tst_BrowserParts::ring_keepsTheNewestInOrder()
{
    SampleRing ring(4);
    QVERIFY(ring.empty());
    for (int i = 0; i < 10; ++i) {
        ring.append({i, i * 2.0});
        QCOMPARE(ring.back().time, i);
        QCOMPARE(ring.size(), std::size_t(qMin(i + 1, 4)));
    }
    for (std::size_t i = 0; i < 4; ++i)
        QCOMPARE(ring.at(i).time, qint64(6 + i));
    ring.clear();
    QVERIFY(ring.empty());
    ring.append({1, 1});
    QCOMPARE(ring.back().time, 1);
}

void tst_BrowserParts::ring_findsTheFirstSampleFromATimeOn()
{
    SampleRing ring(8);
    QCOMPARE(ring.lowerBound(0), std::size_t(0));
    for (int i = 0; i < 12; ++i) // wrapped: 4 to 11, at 40 to 110
        ring.append({qint64(i) * 10, 0});
    QCOMPARE(ring.lowerBound(0), std::size_t(0));
    QCOMPARE(ring.lowerBound(40), std::size_t(0));
    QCOMPARE(ring.lowerBound(41), std::size_t(1));
    QCOMPARE(ring.lowerBound(110), std::size_t(7));
    QCOMPARE(ring.lowerBound(111), std::size_t(8));
}

void tst_BrowserParts::history_countsChangesAndNotEvents()
{
    RecordingClient client;
    KeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    QVERIFY(!history.known() && !history.current());

    publish(client, 1.5);
    QVERIFY(history.known() && history.current());
    QCOMPARE(history.lastValue(), QVariant(1.5));
    QCOMPARE(history.valueType(), int(PKeywordValueType::KVT_DOUBLE));
    QCOMPARE(history.changeCount(), 0); // nothing was seen to change yet
    const QDateTime first = history.lastChange();
    QVERIFY(first.isValid());

    publish(client, 1.5);
    QCOMPARE(history.changeCount(), 0);
    QCOMPARE(history.lastChange(), first);
    publish(client, 2.5);
    publish(client, 3.5);
    QCOMPARE(history.changeCount(), 2);
    QCOMPARE(history.samples().size(), std::size_t(4)); // a plot needs the steady ones, too
    QTRY_VERIFY(history.changesPerSecond() > 0);
    QTRY_VERIFY_WITH_TIMEOUT(history.changesPerSecond() == 0, 10000);
}

void tst_BrowserParts::history_keepsTheLastValueWhenTheLinkIsLost()
{
    RecordingClient client;
    KeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    publish(client, 1.5);

    client.publisher()->setActive(false);
    QVERIFY(history.known() && !history.current());
    QCOMPARE(history.lastValue(), QVariant(1.5));
    QCOMPARE(history.samples().size(), std::size_t(2));
    QVERIFY(std::isnan(history.samples().back().value)); // the line ends here

    client.publisher()->setActive(true);
    QVERIFY(!history.current()); // until the server has said what is true now
    publish(client, 1.5);
    QVERIFY(history.current());
    QCOMPARE(history.changeCount(), 0);
}

void tst_BrowserParts::history_isNotWatchedWhileTheLinkIsLost()
{
    RecordingClient client;
    KeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    QVERIFY(!history.watched() && !history.lastSeen().isValid());
    publish(client, 1.5);
    publish(client, 2.5);
    QVERIFY(history.watched());
    QCOMPARE(history.changeCount(), 1);
    const QDateTime changed = history.lastChange();

    client.publisher()->setActive(false);
    QVERIFY(!history.watched());
    QVERIFY(history.lastSeen() >= changed);
    client.publisher()->setActive(true);
    QVERIFY(!history.watched()); // not before the server says what it is now

    // The same value, but nobody knows what was in between.
    publish(client, 2.5);
    QVERIFY(history.watched());
    QCOMPARE(history.changeCount(), 0);
    QVERIFY(history.lastChange() >= history.lastSeen());
    publish(client, 3.5);
    QCOMPARE(history.changeCount(), 1);
}

void tst_BrowserParts::history_isNotWatchedWithoutASource()
{
    RecordingClient client;
    KeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    publish(client, 1.5);
    client.publisher()->publish(keyword, QVariant::fromValue(PKeywordValue()));
    QVERIFY(history.current() && !history.watched());
    QVERIFY(history.lastSeen().isValid());
    publish(client, 1.5);
    QVERIFY(history.watched());
    QVERIFY(history.lastChange() >= history.lastSeen());
}

void tst_BrowserParts::history_startsAnewWithAnotherKeyword()
{
    RecordingClient client;
    KeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    publish(client, 1.5);
    publish(client, 2.5);

    history.setKeyword(QStringLiteral("/b"));
    QVERIFY(!history.known() && !history.current() && history.samples().empty());
    QCOMPARE(history.changeCount(), 0);
    publish(client, 3.5); // of the other one
    QVERIFY(!history.known());
}

void tst_BrowserParts::history_survivesItsClient()
{
    KeywordHistory history;
    history.setKeyword(keyword);
    {
        RecordingClient client;
        history.setClient(&client);
        publish(client, 1.5);
    }
    QCOMPARE(history.client(), nullptr);
    QVERIFY(history.known() && !history.current());
}

void tst_BrowserParts::plot_isDrawnAtMostThirtyTimesASecond()
{
    RecordingClient client;
    KeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    QQuickWindow window;
    window.resize(300, 100);
    HistoryPlot plot;
    plot.setParentItem(window.contentItem());
    plot.setSize({300, 100});
    plot.setHistory(&history);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    QSignalSpy redrawn(&plot, &HistoryPlot::redrawn);
    QElapsedTimer timer;
    timer.start();
    int events = 0;
    QTRY_VERIFY((publish(client, ++events), redrawn.size() >= 15));
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(redrawn.size() <= elapsed * 30 / 1000 + 1,
             qPrintable(QStringLiteral("%1 in %2 ms").arg(redrawn.size()).arg(elapsed)));

    plot.setVisible(false);
    redrawn.clear();
    plot.setVisible(true);
    QTRY_VERIFY(!redrawn.isEmpty());
}

void tst_BrowserParts::plot_drawsStepsAtTheirHeight()
{
    RecordingClient client;
    KeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    QQuickWindow window;
    window.resize(300, 100);
    window.setColor(Qt::white);
    HistoryPlot plot;
    plot.setParentItem(window.contentItem());
    plot.setSize({300, 100});
    plot.setHistory(&history);
    plot.setSteps(true);
    plot.setSpan(1);
    plot.setProperty("lineColor", QColor(Qt::red));
    plot.setProperty("gridColor", QColor(Qt::white));
    plot.setProperty("textColor", QColor(Qt::blue));
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    // The heights of what is red right of the middle.
    const auto redRows = [&window] {
        const QImage image = window.grabWindow();
        QList<int> rows;
        for (int y = 0; y < image.height(); ++y) {
            const QColor color = image.pixelColor(image.width() * 9 / 10, y);
            if (color.red() > 200 && color.green() < 100)
                rows.append(y);
        }
        return rows;
    };
    publish(client, true);
    QTRY_VERIFY(!redRows().isEmpty() && redRows().constLast() < 30);
    publish(client, false);
    QTRY_VERIFY(!redRows().isEmpty() && redRows().constFirst() > 60);
}

void tst_BrowserParts::write_outcomes_data()
{
    QTest::addColumn<bool>("relative");
    QTest::addColumn<QVariant>("sent");
    QTest::addColumn<QVariant>("answer");
    QTest::addColumn<bool>("error");
    QTest::addColumn<PKeywordWrite::Outcome>("outcome");

    QTest::newRow("the value") << false << QVariant(5) << QVariant(5.0) << false
                               << PKeywordWrite::Taken;
    QTest::newRow("a text") << false << QVariant(QStringLiteral("x"))
                            << QVariant(QStringLiteral("x")) << false << PKeywordWrite::Taken;
    QTest::newRow("another value")
        << false << QVariant(5) << QVariant(4.0) << false << PKeywordWrite::Different;
    QTest::newRow("another type") << false << QVariant(1) << QVariant(QStringLiteral("1")) << false
                                  << PKeywordWrite::Different;
    QTest::newRow("an error") << false << QVariant(5) << QVariant(5.0) << true
                              << PKeywordWrite::Refused;
    QTest::newRow("relative") << true << QVariant(1) << QVariant(42.0) << false
                              << PKeywordWrite::Taken;
    QTest::newRow("relative, an error")
        << true << QVariant(1) << QVariant(42.0) << true << PKeywordWrite::Refused;
}

void tst_BrowserParts::write_outcomes()
{
    QFETCH(const bool, relative);
    QFETCH(const QVariant, sent);
    QFETCH(const QVariant, answer);
    QFETCH(const bool, error);
    QFETCH(const PKeywordWrite::Outcome, outcome);

    RecordingClient client;
    PKeywordWrite write;
    write.setClient(&client);
    write.setKeyword(keyword);
    publish(client, 0.0); // before the write: no answer
    QCOMPARE(write.outcome(), PKeywordWrite::Idle);

    if (relative)
        write.writeRelative(sent);
    else
        write.write(sent);
    QCOMPARE(write.outcome(), PKeywordWrite::Waiting);
    QCOMPARE(write.sent(), sent);
    publish(client, answer, error);
    QCOMPARE(write.outcome(), outcome);
    QCOMPARE(write.received(), answer);
    publish(client, 77.0); // later: somebody else's
    QCOMPARE(write.outcome(), outcome);
    QCOMPARE(write.received(), answer);

    write.setKeyword(QStringLiteral("/b"));
    QCOMPARE(write.outcome(), PKeywordWrite::Idle);
}

void tst_BrowserParts::write_withoutAnAnswer()
{
    RecordingClient client;
    PKeywordWrite unanswered;
    unanswered.setClient(&client);
    unanswered.setKeyword(keyword);
    PKeywordWrite unchanged;
    unchanged.setClient(&client);
    unchanged.setKeyword(keyword);
    publish(client, 5.0);
    unanswered.write(6);
    unchanged.write(5);
    QTRY_COMPARE_WITH_TIMEOUT(unanswered.outcome(), PKeywordWrite::NoAnswer, 20000);
    QTRY_COMPARE_WITH_TIMEOUT(unchanged.outcome(), PKeywordWrite::Unchanged, 20000);
}

void tst_BrowserParts::write_withoutALinkIsNotSent()
{
    PKeywordWrite write;
    write.write(1);
    QCOMPARE(write.outcome(), PKeywordWrite::NotSent);

    RecordingClient client;
    client.publisher()->setActive(false);
    write.setClient(&client);
    write.setKeyword(keyword);
    write.write(1);
    QCOMPARE(write.outcome(), PKeywordWrite::NotSent);
}

void tst_BrowserParts::session_changesItsServer()
{
    KeywordServer server;
    server.declare(
        {QStringLiteral("/a"), QStringLiteral("double"), QStringLiteral("R"), QString(), 1.0});
    FaultyWebSocketServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));

    int created = 0;
    Session session([&created](Session *parent) {
        ++created;
        return new CountedClient<PInProcessKeywordClient>(parent);
    });
    QCOMPARE(session.client(), nullptr);
    QVERIFY(!session.connected());
    session.setAddresses({});
    QCOMPARE(created, 1);
    auto *const inProcess = session.client();
    QVERIFY(inProcess && session.connected() && session.inProcess());

    session.setAddresses({transport.url().toString()});
    const QPointer<PKeywordClient> webSocket = session.client();
    QVERIFY(webSocket != inProcess && !session.inProcess());
    QTRY_VERIFY(session.connected());
    QCOMPARE(session.shownAddress(), transport.url().toString());
    webSocket->sendKeyCreate(QStringLiteral("/a"));
    QTRY_VERIFY(session.eventsPerSecond() > 0);

    session.setAddresses({});
    QCOMPARE(session.client(), inProcess);
    QCOMPARE(created, 1);
    QTRY_VERIFY(!webSocket);
}

void tst_BrowserParts::session_refusesWhatIsNoAddress()
{
    Session session(
        [](Session *parent) { return new CountedClient<PInProcessKeywordClient>(parent); });
    session.setAddresses({});
    QCOMPARE(session.parseAddresses(QStringLiteral("  ws://a:1,ws://b:2 \n wss://c ")),
             QStringList({QStringLiteral("ws://a:1"), QStringLiteral("ws://b:2"),
                          QStringLiteral("wss://c")}));
    const QStringList bad {QStringLiteral("ws://a:1"), QStringLiteral("b:2")};
    QCOMPARE(session.problem(bad),
             QStringLiteral("cannot use 'b:2': not a WebSocket address such as ws://host:port"));
    QSignalSpy changed(&session, &Session::addressesChanged);
    session.setAddresses(bad);
    QCOMPARE(changed.size(), 0);
    QVERIFY(session.inProcess());
}

void tst_BrowserParts::session_refusesSecretsThatAreNotThere()
{
    Session session(
        [](Session *parent) { return new CountedClient<PInProcessKeywordClient>(parent); });
    session.setAddresses({});
    const QString hidden = QStringLiteral("ws://127.0.0.1:1/?token=***");
    QVERIFY(session.problem({hidden}).contains(QLatin1String("its secret is hidden here")));
    const QString password = QStringLiteral("ws://me:hush@127.0.0.1:1");
    QVERIFY(session.problem({password}).contains(QLatin1String("cannot carry a password")));
    QVERIFY(!session.problem({password}).contains(hush));
    session.setAddresses({password});
    QVERIFY(session.inProcess());
}

void tst_BrowserParts::session_showsNoSecrets()
{
    KeywordServer server;
    FaultyWebSocketServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));
    Session session(
        [](Session *parent) { return new CountedClient<PInProcessKeywordClient>(parent); });
    // The same server twice: they differ in what is not shown.
    const QString plain = transport.url().toString() + QStringLiteral("/?token=");
    const QStringList addresses {plain + hush, plain + hush + hush};
    session.setAddresses(addresses);
    QTRY_VERIFY(session.connected());
    QCOMPARE(session.shownAddress(), plain + QStringLiteral("***"));
    const QString shown = session.shown(session.addresses());
    QCOMPARE(shown, plain + QStringLiteral("*** ") + plain + QStringLiteral("***"));

    // What is shown stands for what is set, also with another address beside it.
    const QString other = QStringLiteral("ws://127.0.0.1:2");
    QCOMPARE(session.parseAddresses(shown), addresses);
    QCOMPARE(session.parseAddresses(other + QLatin1Char(' ') + shown),
             QStringList(other) + addresses);
    QVERIFY(session.problem(session.parseAddresses(shown)).isEmpty());
    session.setAddresses({other});
    QVERIFY(!session.problem(session.parseAddresses(shown)).isEmpty()); // no longer
}

void tst_BrowserParts::session_tellsSinceWhenTheLinkIsLost()
{
    KeywordServer server;
    FaultyWebSocketServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));
    Session session(
        [](Session *parent) { return new CountedClient<PInProcessKeywordClient>(parent); });
    session.setAddresses({transport.url().toString()});
    QVERIFY(!session.lostAt().isValid()); // never had, so never lost
    QTRY_VERIFY(session.connected());
    QVERIFY(!session.lostAt().isValid());
    transport.abortClients();
    QTRY_VERIFY(!session.connected());
    QVERIFY(session.lostAt().isValid());
    QTRY_VERIFY(session.connected()); // automatic reconnection
    QVERIFY(!session.lostAt().isValid());

    session.disconnectFromServer();
    QTRY_VERIFY(!session.connected());
    QVERIFY(!session.autoReconnect());
}

void tst_BrowserParts::preferences_pin()
{
    const QTemporaryDir directory;
    const QString file = directory.filePath(QStringLiteral("settings.ini"));
    Preferences preferences(file);
    QSignalSpy changed(&preferences, &Preferences::pinnedChanged);
    preferences.pin(QStringLiteral("/a"));
    preferences.pin(QStringLiteral("/b, with a comma"));
    QCOMPARE(changed.size(), 2);
    preferences.pin(QStringLiteral("/a"));
    preferences.pin(QString());
    preferences.unpin(QStringLiteral("/unknown"));
    QCOMPARE(changed.size(), 2);
    QCOMPARE(preferences.pinned(),
             QStringList({QStringLiteral("/a"), QStringLiteral("/b, with a comma")}));
    QCOMPARE(Preferences(file).pinned(), preferences.pinned());
    preferences.unpin(QStringLiteral("/a"));
    QCOMPARE(preferences.pinned(), QStringList(QStringLiteral("/b, with a comma")));
}

void tst_BrowserParts::preferences_ofABrokenFileAreTheDefaults()
{
    const QTemporaryDir directory;
    const QString name = directory.filePath(QStringLiteral("settings.ini"));
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[General]\naggregation=99\nwindowSize=large\ndark=perhaps\n\x01\x02[[[\n");
    file.close();
    const Preferences preferences(name);
    const Preferences defaults(directory.filePath(QStringLiteral("none.ini")));
    QCOMPARE(preferences.aggregation(), defaults.aggregation());
    QCOMPARE(preferences.windowSize(), defaults.windowSize());
    QCOMPARE(preferences.pinned(), QStringList());
}

QTEST_MAIN(tst_BrowserParts)

#include "tst_browserparts.moc"
