// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "client/websocketkeywordclient.h"
#include "extras/writing/keywordwrite.h"
#include "models/keywordquerymodel.h"
#include "programs/browser/childcount.h"
#include "programs/browser/childorder.h"
#include "programs/browser/historyplot.h"
#include "programs/browser/keywordhistory.h"
#include "programs/browser/preferences.h"
#include "programs/browser/quietsorting.h"
#include "programs/browser/session.h"
#include "programs/common/naturalorder.h"
#include "pubsub/publisher.h"
#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTemporaryDir>
#include <QtGui/QImage>
#include <QtNetwork/QTcpServer>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>
#include <cmath>
#include <random>

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

// A client whose queries are answered by hand, and the list of children that it fills.
class Listing
{
public:
    Listing()
    {
        QObject::connect(
            &client, &PInProcessKeywordClient::sendToServer, &client,
            [this](const QByteArray &data) {
                const QJsonObject command = QJsonDocument::fromJson(data).object();
                if (command[QLatin1String("cmd")] == QLatin1String("keyIndex")) {
                    request = command[QLatin1String("payload")][QLatin1String("uuid")].toString();
                }
            });
        sorted.setSourceModel(&query);
        query.setKeywordClient(&client);
    }

    void answer(const QStringList &names)
    {
        QJsonArray children;
        for (const QString &name : names) {
            children.append(QJsonObject {{QStringLiteral("name"), name},
                                         {QStringLiteral("type"), QStringLiteral("double")}});
        }
        send(QStringLiteral("keyIndex"),
             {{QStringLiteral("request"), QJsonObject {{QStringLiteral("uuid"), request}}},
              {QStringLiteral("response"), children}});
    }
    void list(const QString &keyword, const QStringList &names)
    {
        query.setKeyword(keyword);
        answer(names);
    }
    void label(const QString &keyword, const QString &text)
    {
        send(QStringLiteral("keyEvent"),
             {{QStringLiteral("keyword"), keyword + QStringLiteral("/Label")},
              {QStringLiteral("value"), text}});
    }

    // What is listed: "label(name)", or the name alone.
    QString rows() const
    {
        QStringList rows;
        for (int row = 0; row < sorted.rowCount(); ++row) {
            const QModelIndex index = sorted.index(row, 0);
            const QString shown = index.data(PKeywordQueryModel::DisplayNameRole).toString();
            const QString name = index.data(ChildOrder::LevelNameRole).toString();
            rows.append(shown == name ? name : shown + QLatin1Char('(') + name + QLatin1Char(')'));
        }
        return rows.join(QLatin1String(", "));
    }

    PInProcessKeywordClient client;
    PKeywordQueryModel query;
    ChildOrder sorted;

private:
    void send(const QString &cmd, const QJsonObject &payload)
    {
        client.receiveFromServer(QJsonDocument(QJsonObject {{QStringLiteral("cmd"), cmd},
                                                            {QStringLiteral("payload"), payload}})
                                     .toJson());
    }

    QString request;
};

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
    void naturalOrder_data();
    void naturalOrder();
    void naturalOrder_isOneOrderOfAll();
    void childOrder_isNatural();
    void childOrder_isTheSameWhateverComesFirst();
    void childOrder_filtersByLabelAndName_data();
    void childOrder_filtersByLabelAndName();
    void childOrder_knowsTheLabelsWhenItIsAskedAgain();
    void childOrder_forgetsTheLabelsOfAnotherKeyword();
    void childOrder_forgetsALabelThatDoesNotComeAgain();
    void childCount_asksForWhatIsBelow();
    void sorting_happensOnceForManyLabels();
    void session_changesItsServer();
    void session_refusesWhatIsNoAddress();
    void session_refusesSecretsThatAreNotThere();
    void session_showsNoSecrets();
    void session_tellsSinceWhenTheLinkIsLost();
    void session_tellsWhyAndWhenNext();
    void session_forgetsTheTokenWithTheAddresses();
    void session_takesFilesForTls();
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

void tst_BrowserParts::naturalOrder_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");

    const auto row = [](const char *first, const char *second) {
        QTest::addRow("%s before %s", first, second)
            << QString::fromUtf8(first) << QString::fromUtf8(second);
    };
    row("9", "10");
    row("item 9", "item 10");
    row("item 9", "Item 10");
    row("item", "item 1");
    row("a", "B");
    row("a1b2", "a1b10");
    row("07", "7"); // the same number
    row("07", "8");
    row("0", "00");
    row("99999999999999999999", "100000000000000000000"); // beyond 64 bits
    row("2a", "10");
    row("10", "a");
    row("1.9", "1.10");
    row("", "0");
    row("level", "levels");
    row("A", "a"); // the same but for case: in one order nevertheless
    row("\u00e4", "\u00c4 1");
}

void tst_BrowserParts::naturalOrder()
{
    QFETCH(const QString, first);
    QFETCH(const QString, second);

    QVERIFY(programs::compareNaturally(first, second) < 0);
    QVERIFY(programs::compareNaturally(second, first) > 0);
    QCOMPARE(programs::compareNaturally(first, first), 0);
    QCOMPARE(programs::compareNaturally(second, second), 0);
}

void tst_BrowserParts::naturalOrder_isOneOrderOfAll()
{
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same texts each time
    const QString letters = QStringLiteral("0019aA -.z\u00e4");
    QStringList texts;
    for (int i = 0; i < 120; ++i) {
        QString text;
        for (auto length = random() % 5; length > 0; --length)
            text += letters.at(int(random() % uint(letters.size())));
        texts.append(text);
    }
    const auto sign = [](int order) { return (order > 0) - (order < 0); };
    for (const QString &a : std::as_const(texts)) {
        for (const QString &b : std::as_const(texts)) {
            const int order = programs::compareNaturally(a, b);
            QCOMPARE(order == 0, a == b);
            QCOMPARE(sign(order), -sign(programs::compareNaturally(b, a)));
            for (const QString &c : std::as_const(texts)) {
                if (order < 0 && programs::compareNaturally(b, c) < 0
                    && programs::compareNaturally(a, c) >= 0)
                    QFAIL(qPrintable(QStringLiteral("'%1' '%2' '%3'").arg(a, b, c)));
            }
        }
    }
}

void tst_BrowserParts::childOrder_isNatural()
{
    Listing listing;
    // 10 is greater than 9 as a number, and less than 9a as a text, which is greater than 9.
    listing.list(QStringLiteral("/x"),
                 {QStringLiteral("/x/10"), QStringLiteral("/x/b"), QStringLiteral("/x/9"),
                  QStringLiteral("/x/9a"), QStringLiteral("/x/A"), QStringLiteral("/x/item10"),
                  QStringLiteral("/x/item9")});
    QCOMPARE(listing.rows(), QStringLiteral("9, 9a, 10, A, b, item9, item10"));

    listing.label(QStringLiteral("/x/b"), QStringLiteral("Item 11"));
    listing.label(QStringLiteral("/x/A"), QStringLiteral("item 9"));
    listing.sorted.rearrange();
    QCOMPARE(listing.rows(), QStringLiteral("9, 9a, 10, item 9(A), Item 11(b), item9, item10"));
}

void tst_BrowserParts::childOrder_isTheSameWhateverComesFirst()
{
    // Of the same label: the names decide.
    QStringList names;
    QStringList expected;
    for (int i = 0; i < 12; ++i) {
        names.append(QStringLiteral("/x/k%1").arg(i));
        expected.append(QStringLiteral("Level(k%1)").arg(i));
    }
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same orders each time
    for (int run = 0; run < 20; ++run) {
        Listing listing;
        std::shuffle(names.begin(), names.end(), random);
        listing.list(QStringLiteral("/x"), names);
        std::shuffle(names.begin(), names.end(), random);
        for (const QString &name : std::as_const(names)) {
            listing.label(name, QStringLiteral("Level"));
            if (random() % 3 == 0)
                listing.sorted.rearrange();
        }
        listing.sorted.rearrange();
        QCOMPARE(listing.rows(), expected.join(QLatin1String(", ")));
    }
}

void tst_BrowserParts::childOrder_filtersByLabelAndName_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QString>("rows");

    const auto row = [](const char *filter, const char *rows) {
        QTest::addRow("'%s'", filter) << QString::fromLatin1(filter) << QString::fromLatin1(rows);
    };
    row("", "Bottles per hour(count), level, Sugar level(l2)");
    row("bottles", "Bottles per hour(count)");
    row("COUNT", "Bottles per hour(count)");
    row("hour count", "Bottles per hour(count)"); // one word in each
    row("level", "level, Sugar level(l2)");
    row("l2 sugar", "Sugar level(l2)");
    row("  level   ", "level, Sugar level(l2)");
    row("x", ""); // not by what is above
    row("bottles l2", "");
}

void tst_BrowserParts::childOrder_filtersByLabelAndName()
{
    QFETCH(const QString, filter);
    QFETCH(const QString, rows);

    Listing listing;
    listing.list(QStringLiteral("/x"),
                 {QStringLiteral("/x/count"), QStringLiteral("/x/level"), QStringLiteral("/x/l2")});
    listing.label(QStringLiteral("/x/count"), QStringLiteral("Bottles per hour"));
    listing.label(QStringLiteral("/x/l2"), QStringLiteral("Sugar level"));
    QSignalSpy changed(&listing.sorted, &ChildOrder::filterChanged);
    listing.sorted.setFilter(filter);
    QCOMPARE(changed.size(), filter.isEmpty() ? 0 : 1);
    QCOMPARE(listing.sorted.filter(), filter);
    listing.sorted.rearrange();
    QCOMPARE(listing.rows(), rows);
}

void tst_BrowserParts::childOrder_knowsTheLabelsWhenItIsAskedAgain()
{
    Listing listing;
    const QStringList names {QStringLiteral("/x/a"), QStringLiteral("/x/b"),
                             QStringLiteral("/x/c")};
    listing.list(QStringLiteral("/x"), names);
    listing.label(QStringLiteral("/x/a"), QStringLiteral("Tank 2"));
    listing.label(QStringLiteral("/x/b"), QStringLiteral("Tank 1"));
    listing.label(QStringLiteral("/x/c"), QStringLiteral("Pump"));
    listing.sorted.setFilter(QStringLiteral("tank"));
    listing.sorted.rearrange();
    const QString before = QStringLiteral("Tank 1(b), Tank 2(a)");
    QCOMPARE(listing.rows(), before);

    listing.query.setKeyword(QStringLiteral("/x"));
    QCOMPARE(listing.rows(), QString());
    listing.answer(names);
    QCOMPARE(listing.rows(), before); // no label has come yet
    listing.label(QStringLiteral("/x/b"), QStringLiteral("Tank 3"));
    listing.sorted.rearrange();
    QCOMPARE(listing.rows(), QStringLiteral("Tank 2(a), Tank 3(b)"));
}

void tst_BrowserParts::childOrder_forgetsTheLabelsOfAnotherKeyword()
{
    Listing listing;
    const QStringList names {QStringLiteral("/x/a")};
    listing.list(QStringLiteral("/x"), names);
    listing.label(QStringLiteral("/x/a"), QStringLiteral("Tank"));
    QCOMPARE(listing.rows(), QStringLiteral("Tank(a)"));
    listing.list(QStringLiteral("/y"), {QStringLiteral("/y/a")});
    QCOMPARE(listing.rows(), QStringLiteral("a"));
    listing.list(QStringLiteral("/x"), names);
    QCOMPARE(listing.rows(), QStringLiteral("a"));
    listing.label(QStringLiteral("/x/a"), QStringLiteral("Tank"));

    // Nor are the labels of one server those of another.
    PInProcessKeywordClient other;
    listing.query.setKeywordClient(&other);
    listing.query.setKeywordClient(&listing.client);
    listing.list(QStringLiteral("/x"), names);
    QCOMPARE(listing.rows(), QStringLiteral("a"));
}

void tst_BrowserParts::childOrder_forgetsALabelThatDoesNotComeAgain()
{
    Listing listing;
    const QStringList names {QStringLiteral("/x/a"), QStringLiteral("/x/b")};
    listing.list(QStringLiteral("/x"), names);
    listing.label(QStringLiteral("/x/a"), QStringLiteral("Tank 1"));
    listing.label(QStringLiteral("/x/b"), QStringLiteral("Tank 2"));
    listing.list(QStringLiteral("/x"), names);
    listing.label(QStringLiteral("/x/a"), QStringLiteral("Tank 1"));
    QCOMPARE(listing.rows(), QStringLiteral("Tank 1(a), Tank 2(b)"));
    QTRY_COMPARE_WITH_TIMEOUT(listing.rows(), QStringLiteral("b, Tank 1(a)"), 20000);
}

void tst_BrowserParts::childCount_asksForWhatIsBelow()
{
    KeywordServer server;
    for (const char *path : {"/a", "/a/b", "/a/c", "/d"}) {
        server.declare(
            {QString::fromLatin1(path), QStringLiteral("int"), QStringLiteral("R"), QString(), 1});
    }
    FaultyWebSocketServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));
    PWebSocketKeywordClient client;
    client.setAutoReconnect(true);
    client.setUrls({transport.url().toString()});

    ChildCount count;
    count.setKeyword(QStringLiteral("/a"));
    count.setClient(&client);
    QCOMPARE(count.count(), -1);
    QTRY_COMPARE(count.count(), 2);
    count.setKeyword(QStringLiteral("/d"));
    QCOMPARE(count.count(), -1);
    QTRY_COMPARE(count.count(), 0);

    // Asked again when the link is back.
    server.declare(
        {QStringLiteral("/d/e"), QStringLiteral("int"), QStringLiteral("R"), QString(), 1});
    transport.abortClients();
    QTRY_COMPARE_WITH_TIMEOUT(count.count(), 1, 20000);
    count.setKeyword(QString());
    QCOMPARE(count.count(), -1);
}

void tst_BrowserParts::sorting_happensOnceForManyLabels()
{
    constexpr int count = 1000;
    QStringList names;
    for (int i = 0; i < count; ++i)
        names.append(QStringLiteral("/x/k%1").arg(i));
    Listing listing;
    QuietSorting sorting;
    sorting.setModel(&listing.sorted);
    listing.list(QStringLiteral("/x"), names);
    QCOMPARE(listing.sorted.rowCount(), count);
    QSignalSpy settled(&sorting, &QuietSorting::settled);
    QSignalSpy layouts(&listing.sorted, &QAbstractItemModel::layoutChanged);
    QSignalSpy resets(&listing.sorted, &QAbstractItemModel::modelReset);

    // Labels that turn the order round.
    for (int i = 0; i < count; ++i)
        listing.label(names.at(i), QString::number(count - i));
    QCOMPARE(layouts.size(), 0);
    QVERIFY(settled.wait());
    QCOMPARE(layouts.size(), 1);
    for (int row = 0; row < count; ++row) {
        QCOMPARE(listing.sorted.index(row, 0).data(PKeywordQueryModel::NameRole).toInt(), row + 1);
    }

    // With a filter the rows that fit now come, and the others go; a view stays where it is.
    layouts.clear();
    listing.sorted.setFilter(QStringLiteral("new"));
    QCOMPARE(listing.sorted.rowCount(), 0);
    listing.label(names.at(7), QStringLiteral("new label"));
    QTRY_COMPARE(listing.sorted.rowCount(), 1);
    QCOMPARE(resets.size(), 0);
    for (const QList<QVariant> &change : std::as_const(layouts)) {
        QCOMPARE(change.at(1).value<QAbstractItemModel::LayoutChangeHint>(),
                 QAbstractItemModel::VerticalSortHint);
    }
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

void tst_BrowserParts::session_tellsWhyAndWhenNext()
{
    QTcpServer finder; // of a port where nobody is
    QVERIFY(finder.listen(QHostAddress::LocalHost));
    const QString dead = QStringLiteral("ws://127.0.0.1:%1").arg(finder.serverPort());
    finder.close();
    Session session(
        [](Session *parent) { return new CountedClient<PInProcessKeywordClient>(parent); });
    QCOMPARE(session.reason(), QString());
    QCOMPARE(session.retryIn(), 0);
    session.setAddresses({dead});
    QTRY_VERIFY(session.retryIn() > 0);
    QCOMPARE(session.reason(), QStringLiteral("Connection refused"));
    QCOMPARE(session.shownAddress(), dead);
    QVERIFY(!session.unusable());

    const QSignalSpy state(&session, &Session::stateChanged);
    session.tryNow();
    QCOMPARE(session.retryIn(), 0);
    QTRY_VERIFY(session.retryIn() > 0);
    QVERIFY(state.size() >= 2);

    session.setToken(hush); // which does not go over ws://
    QVERIFY(session.unusable());
    QVERIFY(session.reason().startsWith(QLatin1String("credentials are not sent over ws://")));
    session.setAddresses({});
    QVERIFY(session.connected() && !session.unusable());
    QCOMPARE(session.reason(), QString());
}

void tst_BrowserParts::session_forgetsTheTokenWithTheAddresses()
{
    Session session(
        [](Session *parent) { return new CountedClient<PInProcessKeywordClient>(parent); });
    QSignalSpy told(&session, &Session::hasTokenChanged);
    const QStringList first {QStringLiteral("wss://127.0.0.1:1")};
    session.setAddresses(first);
    session.setToken(hush);
    QVERIFY(session.hasToken());
    session.setAddresses(first); // the same
    QVERIFY(session.hasToken());
    auto *const before = qobject_cast<pellix::extras::PKeywordConnection *>(session.client());
    QVERIFY(before);
    QCOMPARE(before->token(), hush);

    session.setAddresses({QStringLiteral("wss://127.0.0.1:2")});
    QVERIFY(!session.hasToken());
    auto *const after = qobject_cast<pellix::extras::PKeywordConnection *>(session.client());
    QVERIFY(after && after != before);
    QCOMPARE(after->token(), QString());
    QCOMPARE(told.size(), 2);
}

void tst_BrowserParts::session_takesFilesForTls()
{
    Session session(
        [](Session *parent) { return new CountedClient<PInProcessKeywordClient>(parent); });
    const QSignalSpy changed(&session, &Session::filesChanged);
    session.setCaFile(QStringLiteral("/none/ca"));
    session.setAddresses({QStringLiteral("wss://127.0.0.1:1")});
    QTRY_COMPARE(session.reason(), QStringLiteral("/none/ca: No such file or directory"));
    session.setCaFile(QString());
    session.setCertificateFile(QStringLiteral("c"));
    QTRY_COMPARE(session.reason(),
                 QStringLiteral("the certificate c is of no use without its private key"));
    session.setKeyFile(QStringLiteral("k"));
    QTRY_COMPARE(session.reason(), QStringLiteral("c: No such file or directory"));
    QCOMPARE(changed.size(), 4);
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
