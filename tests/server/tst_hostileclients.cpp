// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/clientidentification.h"
#include "server/keywordserver.h"
#include "server/keywordsession.h"
#include "server/websocketkeywordserver.h"
#include "tests/server/testclient.h"
#include "tests/support/rawclient.h"
#include "tests/support/waitfor.h"

#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QProcess>
#include <QtCore/QSocketNotifier>
#include <QtNetwork/QSslKey>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>

#include <ctime>
#include <functional>
#include <memory>
#include <vector>

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
#include <malloc.h>
#define PELLIX_HAS_MALLINFO
#endif

using namespace pellix::server;
using namespace std::chrono_literals;

namespace {

constexpr qint64 kibibyte = 1024;
constexpr qint64 mebibyte = 1024 * kibibyte;
constexpr qint64 most = 16 * mebibyte; // the limit for one hostile session

// The number of allocated bytes; 0 if it is not available.
qint64 allocated()
{
#ifdef PELLIX_HAS_MALLINFO
    const auto info = mallinfo2();
    return qint64(info.uordblks) + qint64(info.hblkhd);
#else
    return 0;
#endif
}

// The greatest resident memory since startPeak(); 0 if it is not available.
qint64 residentPeak()
{
#ifdef PELLIX_HAS_MALLINFO
    QFile file(q("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray status = file.readAll();
    const QByteArray peak = status.mid(status.indexOf("VmHWM:") + 6);
    return peak.left(peak.indexOf("kB")).trimmed().toLongLong() * 1024;
#else
    return 0;
#endif
}

// Returns the resident memory.
qint64 startPeak()
{
#ifdef PELLIX_HAS_MALLINFO
    malloc_trim(0);
    QFile file(q("/proc/self/clear_refs"));
    if (file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        file.write("5");
#endif
    return residentPeak();
}

QByteArray bytes(quint64 number, int count)
{
    QByteArray result;
    while (count-- > 0)
        result.append(char(number >> (8 * count)));
    return result;
}

// The beginning of a frame with the mask 0: the first byte is used unchanged, and the length is
// that given.
QByteArray header(int first, quint64 length)
{
    QByteArray result(1, char(first));
    if (length < 126)
        result += char(0x80 | int(length));
    else if (length < 65536)
        result += char(0x80 | 126) + bytes(length, 2);
    else
        result += char(0x80 | 127) + bytes(length, 8);
    return result + QByteArray(4, '\0');
}

QByteArray frame(const QByteArray &text)
{
    return header(0x81, quint64(text.size())) + text;
}

QByteArray commandOf(const char *name, const QByteArray &payload)
{
    return QByteArray("{\"cmd\":\"") + name + "\",\"payload\":{" + payload + "}}";
}

QByteArray createOf(const QByteArray &keyword)
{
    return commandOf("keyCreateOrUpdate", "\"keyword\":\"" + keyword + '"');
}

QByteArray updateOf(const QByteArray &keyword, const QByteArray &value)
{
    return commandOf("keyUpdate", "\"keyword\":\"" + keyword + "\",\"value\":" + value);
}

QByteArray aggregateOf(const QByteArray &keyword, const QByteArrayList &children,
                       const char *mode = "sum")
{
    return commandOf("keyCreateOrUpdate",
                     "\"keyword\":\"" + keyword + "\",\"children\":[\"" + children.join("\",\"")
                         + "\"],\"aggregation\":\"" + mode + '"');
}

// A correct client: it writes a keyword and waits for the event with the new value.
class Neighbour
{
public:
    explicit Neighbour(const QUrl &url)
    {
        QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket,
                         [this](const QString &text) {
                             told = text;
                             if (whenTold)
                                 whenTold();
                         });
        QObject::connect(&socket, &QWebSocket::sslErrors, &socket,
                         [this] { socket.ignoreSslErrors(); });
        QObject::connect(&socket, &QWebSocket::connected, &socket, [this] {
            socket.sendTextMessage(QString::fromUtf8(createOf("/neighbour")));
        });
        socket.open(url);
    }

    bool isServed()
    {
        const QString value = QString::number(++number);
        if (!waitFor([this] { return !told.isEmpty(); }, 30000))
            return false; // not connected
        socket.sendTextMessage(QString::fromUtf8(updateOf("/neighbour", value.toUtf8())));
        return waitFor([&] { return told.contains(q("\"value\":%1}").arg(value)); }, 30000);
    }

    std::function<void()> whenTold;

private:
    QWebSocket socket;
    QString told;
    int number = 0;
};

} // namespace

class Server : public WebSocketKeywordServer
{
public:
    using WebSocketKeywordServer::WebSocketKeywordServer;
    // Whether no connection is paused.
    bool isReadingAll() const
    {
        for (const QTcpSocket *connection : connections()) {
            const auto notifiers = connection->findChildren<QSocketNotifier *>();
            for (const QSocketNotifier *notifier : notifiers) {
                if (notifier->type() == QSocketNotifier::Read && !notifier->isEnabled())
                    return false;
            }
        }
        return true;
    }
};

// Relays one connection to a server with TLS from another process: the memory of this process is
// that of the server.
class TlsRelay
{
public:
    explicit TlsRelay(const QUrl &server) : relayed(server)
    {
        process.start(q(TLS_RELAY), {QString::number(server.port())});
        process.waitForReadyRead();
        relayed.setPort(process.readLine().trimmed().toInt());
    }
    ~TlsRelay()
    {
        process.kill();
        process.waitForFinished();
    }
    Q_DISABLE_COPY_MOVE(TlsRelay)

    QUrl url() const { return relayed; }

private:
    QUrl relayed;
    QProcess process;
};

// Commands that each use more of the memory of a session.
struct Filling
{
    const char *name = "";
    std::function<QByteArray(int)> command;
};

Q_DECLARE_METATYPE(std::function<QByteArray(int)>)
Q_DECLARE_METATYPE(Filling)

// Tests clients that do as much harm as possible, each next to one that must be served all the
// time.
class tst_HostileClients : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void handshake_thatNeverEnds_data();
    void handshake_thatNeverEnds();
    void frames_areNotCollected_data();
    void frames_areNotCollected();
    void frames_afterTheServerHasClosedAreNotCollected();
    void flood_costsLittleMemory_data();
    void flood_costsLittleMemory();
    void flood_leavesTimeForOthers();
    void flood_isNotAnsweredWhenItsClientGoes_data();
    void flood_isNotAnsweredWhenItsClientGoes();
    void stalledReader_costsLittleMemory_data();
    void stalledReader_costsLittleMemory();
    void pausedSession_costsLittleMemory_data();
    void pausedSession_costsLittleMemory();
    void allTogether_costLittleMemory_data();
    void allTogether_costLittleMemory();
    void refusedWrites_costLittleMemory();
    void undecidedWrites_costLittleMemory();
    void undecidedWrites_ofThoseWhoLeaveCostLittleMemory();
    void undecidedWrites_areDecidedQuickly();
    void manyCreates_areAllAnswered();
    void manyCreates_overASocketAreAllAnswered();
    void longPaths_areAnswered_data();
    void longPaths_areAnswered();
    void deepJson_isHarmless_data();
    void deepJson_isHarmless();
    void wideJson_costsLittleMemory_data();
    void wideJson_costsLittleMemory();
    void wideJson_withinTheLimitIsTaken();
    void aggregates_areAnswered_data();
    void aggregates_areAnswered();
    void aggregates_overAllOthersAreQuick();
    void aggregates_areFormedLaterWhenTheyAreTooMany();
    void aggregates_thatAreBehindAreDelayedOnce();
    void aggregates_thatAreBehindKeepNoValues();
    void aggregates_areFormedAtOnceWhenTheRoleChanges();
    void samePort_ofTwoClientsIsNoConfusion();

private:
    bool listen(bool encrypted);
    bool listenForTiringClients();
    static void addAnswered();
    static const std::vector<Filling> &fillings();
    bool fill(RawClient *client, const Filling &filling, int most);
    KeywordSession *openSession() const // its limits apply
    {
        return keywords->openSession({q("hostile"), q("127.0.0.1"), q("*")});
    }
    void allowManyAggregates();
    void pour(RawClient *client, const std::function<QByteArray(int)> &data, qint64 total);
    qint64 costs() const;
    void measure(const RawClient *client) { peak = qMax(peak, costs() - client->unsentBytes()); }

    std::unique_ptr<KeywordServer> keywords;
    std::unique_ptr<Server> listener;
    std::unique_ptr<Neighbour> neighbour;
    qint64 before = 0; // bytes allocated before the test
    qint64 peak = 0; // additional bytes allocated while a client sends
};

void tst_HostileClients::initTestCase()
{
    // The server logs disconnected clients, which are frequent here.
    QLoggingCategory::setFilterRules(q("pellixclient.server.websocketserver=false"));
}

void tst_HostileClients::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    keywords = std::make_unique<KeywordServer>();
    for (const char *path : {"/neighbour", "/p/a", "/p/b"})
        QVERIFY(keywords->declare(keyword(path, "int", 0)));
    QVERIFY(keywords->declare(keyword("/p/o", "object", QVariantMap())));
    QVERIFY(keywords->declare(keyword("/p/text", "string", QString())));
    listener = std::make_unique<Server>(keywords.get());
}

void tst_HostileClients::cleanup()
{
    neighbour.reset();
    listener.reset();
    keywords.reset();
}

void tst_HostileClients::allowManyAggregates()
{
    Limits limits = keywords->limits();
    limits.sessionBytes *= 4;
    keywords->setLimits(limits);
}

bool tst_HostileClients::listen(bool encrypted)
{
    if (encrypted) {
        QFile file(q(TLS_FILES "/server.key"));
        const auto certificates = QSslCertificate::fromPath(q(TLS_FILES "/server.crt"));
        if (!file.open(QIODevice::ReadOnly)
            || !listener->setTls(certificates.value(0), QSslKey(&file, QSsl::Ec)))
            return false;
    }
    if (!listener->listen())
        return false;
    neighbour = std::make_unique<Neighbour>(listener->url());
    return neighbour->isServed();
}

// Their commands search a thousand levels that they must not read.
bool tst_HostileClients::listenForTiringClients()
{
    for (int i = 0; i < 5000; ++i) {
        if (!keywords->declare(keyword(qPrintable(q("/plant/l%1/k/v").arg(i)), "int", 0)))
            return false;
    }
    ClientIdentification identification;
    identification.role = q("guest");
    const QStringList patterns {q("/neighbour"), q("/**/none"), q("/p/a")};
    return keywords->setRole({q("guest"), patterns, patterns})
        && listener->setIdentification(identification) && listen(false);
}

// Commands whose replies are pending, of all kinds.
void tst_HostileClients::addAnswered()
{
    QTest::addColumn<std::function<QByteArray(int)>>("command");
    const auto row = [](const char *name, const std::function<QByteArray(int)> &command) {
        QTest::newRow(name) << command;
    };
    const QByteArray text(100000, 'x');
    const QByteArray unknown = createOf("/x");
    row("index", [](int) { return commandOf("keyIndex", "\"factory\":\"p\""); });
    row("long index", [text](int) { return commandOf("keyIndex", "\"uuid\":\"" + text + '"'); });
    row("same create", [unknown](int) { return unknown; });
    row("long creates", [text](int i) { return createOf(text + QByteArray::number(i)); });
    row("refused writes", [](int) { return updateOf("/x", "1"); });
    row("long refused writes",
        [text](int i) { return updateOf(text + QByteArray::number(i), "1"); });
    row("creates that are let go", [text](int i) {
        return i % 2 ? commandOf("keyDestroy", "\"keyword\":\"" + text + '"') : createOf(text);
    });
}

qint64 tst_HostileClients::costs() const
{
    return allocated() - before;
}

// Sends data as fast as the server accepts it, until the given number of bytes has been sent, the
// connection is closed, or the server accepts no more. Meanwhile, checks that the neighbor is
// served.
void tst_HostileClients::pour(RawClient *client, const std::function<QByteArray(int)> &data,
                              qint64 total)
{
    constexpr qint64 ahead = 256 * kibibyte; // bytes buffered by the client itself
    const auto waiting = [client] { return client->unsentBytes(); };
    const auto measure = [&] { peak = qMax(peak, costs() - waiting()); };
    const auto hasRoom = [&] { return waiting() < ahead || !client->isConnected(); };
    client->keeps = false;
    before = allocated();
    peak = 0;
    qint64 sent = 0;
    for (int i = 0; sent < total && client->isConnected();) {
        while (waiting() < ahead && sent < total) {
            const QByteArray next = data(i++);
            client->send(next);
            sent += next.size();
        }
        QCoreApplication::processEvents();
        measure();
        if (hasRoom())
            continue;
        QVERIFY(neighbour->isServed());
        measure();
        if (!waitFor(hasRoom, 300))
            break;
    }
    QVERIFY(neighbour->isServed());
    measure();
}

void tst_HostileClients::handshake_thatNeverEnds_data()
{
    QTest::addColumn<bool>("encrypted");
    QTest::addColumn<QByteArray>("start");
    QTest::newRow("ws request") << false << QByteArray("GET / HTTP/1.1\r\nHost: a\r\nX: ");
    QTest::newRow("ws line") << false << QByteArray();
    QTest::newRow("wss request") << true << QByteArray("GET / HTTP/1.1\r\nHost: a\r\nX: ");
}

void tst_HostileClients::handshake_thatNeverEnds()
{
    QFETCH(bool, encrypted);
    QFETCH(QByteArray, start);
    QVERIFY(listen(encrypted));
    constexpr int clients = 100;
    std::vector<std::unique_ptr<RawClient>> hostile;
    for (int i = 0; i < clients; ++i) {
        hostile.push_back(std::make_unique<RawClient>(listener->url(), encrypted));
        hostile.back()->send(start);
    }
    for (int round = 0; round < 50; ++round) {
        for (const auto &client : hostile) {
            if (client->isConnected())
                client->send("x");
        }
        QCoreApplication::processEvents();
        QVERIFY(listener->handshakeCount() <= listener->maximumHandshakes());
    }
    QTRY_COMPARE_WITH_TIMEOUT(listener->droppedHandshakes(),
                              quint64(clients - listener->maximumHandshakes()), 30000);
    QVERIFY(neighbour->isServed());
    Neighbour another(listener->url()); // it replaces the oldest one
    QVERIFY(another.isServed());
    QCOMPARE(listener->clientCount(), 2);
}

void tst_HostileClients::frames_areNotCollected_data()
{
    QTest::addColumn<bool>("encrypted");
    QTest::addColumn<std::function<QByteArray(int)>>("data");
    for (const bool encrypted : {false, true}) {
        const auto row = [encrypted](const char *name, const std::function<QByteArray(int)> &data) {
            QTest::addRow("%s %s", encrypted ? "wss" : "ws", name) << encrypted << data;
        };
        const QByteArray chunk(65536, ' ');
        const auto announced = [row, chunk](const char *name, int first, quint64 length) {
            row(name, [=](int i) { return i == 0 ? header(first, length) : chunk; });
        };
        announced("2^62 bytes", 0x81, quint64(1) << 62);
        announced("2^63 bytes", 0x81, quint64(1) << 63);
        announced("2^64 - 1 bytes", 0x82, ~quint64(0));
        announced("256 MiB", 0x81, 256 * mebibyte);
        announced("256 MiB, binary", 0x82, 256 * mebibyte);
        announced("256 MiB, fragment", 0x01, 256 * mebibyte);
        announced("256 MiB, reserved", 0x83, 256 * mebibyte);
        announced("256 MiB, ping", 0x89, 256 * mebibyte);
        row("fragments without end",
            [chunk](int i) { return header(i == 0 ? 0x01 : 0x00, quint64(chunk.size())) + chunk; });
        row("small fragments without end", [](int i) {
            QByteArray all;
            for (int j = 0; j < 1000; ++j)
                all += header(i + j == 0 ? 0x02 : 0x00, 10) + QByteArray(10, 'x');
            return all;
        });
        row("message as long as memory",
            [chunk](int i) { return i == 0 ? header(0x81, 64 * mebibyte) + chunk : chunk; });
    }
}

void tst_HostileClients::frames_areNotCollected()
{
    QFETCH(bool, encrypted);
    QFETCH(std::function<QByteArray(int)>, data);
    QVERIFY(listen(encrypted));
    RawClient hostile(listener->url(), encrypted);
    QVERIFY(hostile.open());
    pour(&hostile, data, 32 * mebibyte);
    QVERIFY2(peak < most, qPrintable(QString::number(peak)));
    QTRY_COMPARE_WITH_TIMEOUT(listener->clientCount(), 1, 30000);
    QVERIFY(neighbour->isServed());
}

void tst_HostileClients::frames_afterTheServerHasClosedAreNotCollected()
{
    QVERIFY(listen(false));
    RawClient hostile(listener->url());
    QVERIFY(hostile.open());
    QTRY_COMPARE(listener->clientCount(), 2);
    listener->closeClients();
    neighbour = std::make_unique<Neighbour>(listener->url());
    const QByteArray chunk(16384, 'x');
    pour(
        &hostile, [chunk](int i) { return i == 0 ? header(0x81, quint64(1) << 62) : chunk; },
        32 * mebibyte);
    QVERIFY2(peak < most, qPrintable(QString::number(peak)));
    QTRY_COMPARE_WITH_TIMEOUT(listener->clientCount(), 1, 30000);
}

void tst_HostileClients::flood_costsLittleMemory_data()
{
    QTest::addColumn<bool>("encrypted");
    QTest::addColumn<std::function<QByteArray(int)>>("data");
    for (const bool encrypted : {false, true}) {
        const auto row = [encrypted](const char *name, const std::function<QByteArray(int)> &data) {
            QTest::addRow("%s %s", encrypted ? "wss" : "ws", name) << encrypted << data;
        };
        const auto often = [row](const char *name, const QByteArray &text) {
            QByteArray many;
            while (many.size() < 16384)
                many += text;
            row(name, [many](int) { return many; });
        };
        often("updates", frame(updateOf("/p/a", "1")));
        often("no commands", frame("x"));
        often("empty messages", frame(""));
        often("empty fragments", header(0x00, 0));
        often("pings", header(0x89, 125) + QByteArray(125, 'x'));
        often("pongs", header(0x8a, 0));
        often("long commands", frame(updateOf("/p/text", '"' + QByteArray(200000, 'x') + '"')));
        row("long values that change", [](int i) {
            return i == 0
                ? frame(createOf("/p/text"))
                : frame(updateOf("/p/text",
                                 '"' + QByteArray::number(i) + QByteArray(200000, 'x') + '"'));
        });
        row("creates", [](int i) {
            QByteArray many;
            for (int j = 0; j < 100; ++j)
                many += frame(createOf("/x/" + QByteArray::number(i * 100 + j)));
            return many;
        });
    }
}

void tst_HostileClients::flood_costsLittleMemory()
{
    QFETCH(bool, encrypted);
    QFETCH(std::function<QByteArray(int)>, data);
    QVERIFY(listen(encrypted));
    RawClient hostile(listener->url(), encrypted);
    QVERIFY(hostile.open());
    pour(&hostile, data, 4 * mebibyte);
    QVERIFY2(peak < most, qPrintable(QString::number(peak)));
}

// A few commands that take the server a long time, because it searches many keywords for each of
// them.
void tst_HostileClients::flood_leavesTimeForOthers()
{
    QVERIFY(listenForTiringClients());
    RawClient hostile(listener->url());
    QVERIFY(hostile.open());
    const quint64 before = keywords->statistics().commands;
    constexpr int commands = 3000;
    for (int i = 0; i < commands; ++i)
        hostile.send(frame(commandOf("keyIndex", {})));
    quint64 after = 0;
    neighbour->whenTold = [&] { after = keywords->statistics().commands; };
    QVERIFY(neighbour->isServed());
    QVERIFY2(after < before + commands / 2, qPrintable(QString::number(after - before)));
}

void tst_HostileClients::flood_isNotAnsweredWhenItsClientGoes_data()
{
    QTest::addColumn<std::function<QByteArray(int)>>("command");
    const auto add = [](const char *name, std::function<QByteArray(int)> command) {
        QTest::newRow(name) << std::move(command);
    };
    add("queries", [](int) { return commandOf("keyIndex", {}); });
    add("subscriptions", [](int i) { return createOf("/new/" + QByteArray::number(i)); });
}

void tst_HostileClients::flood_isNotAnsweredWhenItsClientGoes()
{
    QFETCH(std::function<QByteArray(int)>, command);
    QVERIFY(listenForTiringClients());
    RawClient hostile(listener->url());
    QVERIFY(hostile.open());
    const quint64 before = keywords->statistics().events;
    int requested = 0;
    connect(keywords.get(), &KeywordServer::keywordRequested, this, [&] { ++requested; });
    constexpr int commands = 3000;
    for (int i = 0; i < commands; ++i)
        hostile.send(frame(command(i)));
    hostile.send(frame(updateOf("/p/a", "77")));
    hostile.socket.disconnectFromHost(); // when all data has been sent
    QTRY_COMPARE_WITH_TIMEOUT(listener->clientCount(), 1, 30000);
    QVERIFY(neighbour->isServed());
    QVERIFY(keywords->statistics().events < before + commands / 2);
    QTRY_COMPARE_WITH_TIMEOUT(keywords->value(q("/p/a")).toInt(), 77,
                              30000); // no write is lost
    QVERIFY2(requested < commands / 2, qPrintable(QString::number(requested)));
}

void tst_HostileClients::stalledReader_costsLittleMemory_data()
{
    addAnswered();
}

void tst_HostileClients::stalledReader_costsLittleMemory()
{
    QFETCH(std::function<QByteArray(int)>, command);
    QVERIFY(listen(false));
    RawClient hostile(listener->url());
    QVERIFY(hostile.open());
    hostile.setReading(0);
    pour(
        &hostile, [command](int i) { return frame(command(i)); }, 64 * mebibyte);
    QVERIFY2(peak < most, qPrintable(QString::number(peak)));
}

void tst_HostileClients::pausedSession_costsLittleMemory_data()
{
    addAnswered();
}

// Behaves like a transport without space: it continues until too much data is pending.
void tst_HostileClients::pausedSession_costsLittleMemory()
{
    QFETCH(std::function<QByteArray(int)>, command);
    const std::unique_ptr<KeywordSession> session(openSession());
    before = allocated();
    session->pause();
    constexpr int greatest = 10000;
    int count = 0;
    while (count < greatest && session->waitingBytes() < 32 * kibibyte)
        session->receive(command(count++));
    QVERIFY(count < greatest);
    QVERIFY2(costs() < most, qPrintable(QString::number(costs())));
    session->resume();
    QCOMPARE(session->waitingBytes(), qint64(0));
}

const std::vector<Filling> &tst_HostileClients::fillings()
{
    const auto name = [](const char *start, int i) { return start + QByteArray::number(i); };
    const auto names = [name](const QByteArray &start, int i) {
        QByteArrayList all;
        for (int child = 0; child < 1000; ++child)
            all << name(start, 1000 * i + child);
        return all;
    };
    const QByteArray text(100000, 'x');
    const QByteArray longest(900000, 'x');
    const QByteArray thousand(900, 'x');
    const QByteArray object = '[' + QByteArray("[1],").repeated(25000) + "[1]]";
    // A path in another spelling is stored as well.
    static const std::vector<Filling> all {
        {"keywords", [=](int i) { return createOf(name("#many#", i)); }},
        {"unknown keywords", [=](int i) { return createOf(name("#none#", i)); }},
        {"longest keywords", [=](int i) { return createOf(name("#long#", i) + longest); }},
        {"aggregates", [=](int i) { return aggregateOf(name("#one#", i), {name("#child#", i)}); }},
        {"largest aggregates",
         [=](int i) { return aggregateOf(name("#all#", i), names("#child#", i)); }},
        {"largest aggregates of long keywords",
         [=](int i) { return aggregateOf(name("#long#", i), names("#" + thousand, i)); }},
        {"aggregates with long modes",
         [=](int i) { return aggregateOf(name("#mode#", i), {"/p/a"}, text.constData()); }},
        {"writes", [](int) { return updateOf("#held#int", "1"); }},
        {"long writes", [=](int) { return updateOf("#held#string", '"' + text + '"'); }},
        {"writes of objects", [=](int) { return updateOf("#held#object", object); }},
    };
    return all;
}

// Sends commands until the server refuses one of them because of a limit. Returns whether it does.
bool tst_HostileClients::fill(RawClient *client, const Filling &filling, int most)
{
    const auto refused = [this] {
        const Statistics statistics = keywords->statistics();
        return statistics.refusedCreates + statistics.writesBeyondMemory;
    };
    const quint64 refusedBefore = refused();
    const quint64 commands = keywords->statistics().commands;
    int sent = 0;
    while (sent < most && refused() == refusedBefore && costs() < 4 * ::most) {
        client->send(frame(filling.command(sent++)));
        if (client->unsentBytes() < 65536 && sent < most)
            continue;
        if (!waitFor([&] { return keywords->statistics().commands == commands + quint64(sent); }))
            return false;
        measure(client);
    }
    return refused() > refusedBefore;
}

void tst_HostileClients::allTogether_costLittleMemory_data()
{
    QTest::addColumn<bool>("encrypted");
    QTest::addColumn<Filling>("filling");
    for (const bool encrypted : {false, true}) {
        for (const Filling &filling : fillings())
            QTest::addRow("%s %s", encrypted ? "wss" : "ws", filling.name) << encrypted << filling;
    }
}

// One session reaches all limits: first that of its memory, and then those of what waits for it and
// from it while it reads nothing.
void tst_HostileClients::allTogether_costLittleMemory()
{
    QFETCH(bool, encrypted);
    QFETCH(Filling, filling);
    std::vector<WriteRequest> requests;
    for (const char *type : {"int", "string", "object"}) {
        const QByteArray path = QByteArray("/held/") + type;
        QVERIFY(keywords->declare(keyword(path.constData(), type, QVariant())));
        keywords->setWriteHandler(
            QString::fromUtf8(path),
            [&requests](const WriteRequest &request) { requests.push_back(request); });
    }
    const QByteArray longName = "/long/" + QByteArray(250, 'x');
    for (int i = 0; i < 10000; ++i)
        QVERIFY(
            keywords->declare(keyword((longName + QByteArray::number(i)).constData(), "int", 0)));
    for (int i = 0; i < keywords->limits().watchedKeywords; ++i)
        QVERIFY(keywords->declare(keyword(qPrintable(q("/many/%1").arg(i)), "int", 0)));
    Limits limits = keywords->limits();
    // Time limits would end the test on a busy machine, and the client need not wait.
    limits.stalledTime = limits.writeTime = 10min;
    limits.commandsPerSecond *= 100;
    keywords->setLimits(limits);
    QVERIFY(listen(encrypted));
    const auto relay = encrypted ? std::make_unique<TlsRelay>(listener->url()) : nullptr;
    RawClient hostile(relay ? relay->url() : listener->url(), false, {}, 65536);
    QVERIFY(hostile.open());
    hostile.keeps = false;
    hostile.send(frame(createOf("/p/text")));
    const auto watchedKeywords = [this] { return int(keywords->statistics().watchedKeywords); };
    QTRY_COMPARE(watchedKeywords(), 2); // with that of the neighbor
    before = allocated();
    peak = 0;
    QVERIFY(fill(&hostile, filling, 100000));
    const int watched = watchedKeywords() - 2; // by the first commands
    for (const Filling &other : fillings())
        fill(&hostile, other, 10);

    hostile.setReading(0);
    int round = 0;
    int waiting = 0; // turns of the event loop, since the system has had no room for more
    const auto isFull = [&] {
        waiting = keywords->statistics().sendingBytes > 0 ? waiting + 1 : 0;
        if (waiting == 0)
            keywords->setValue(q("/p/text"), QString(8192, QChar(u'x' + round++ % 2)));
        return waiting == 20;
    };
    QVERIFY(waitFor(isFull));
    quint64 commands = keywords->statistics().commands;
    const auto sendCommands = [&](int count, const std::function<QByteArray(int)> &command) {
        for (int i = 0; i < count; ++i)
            hostile.send(frame(command(i)));
        commands += quint64(count);
    };
    // An index reply, with the longest query, and pongs.
    sendCommands(1, [](int) {
        return commandOf("keyIndex",
                         "\"factory\":\"long\",\"uuid\":\"" + QByteArray(1000000, 'x') + '"');
    });
    QVERIFY(waitFor([&] {
        measure(&hostile);
        return keywords->statistics().sendingBytes > mebibyte;
    }));
    for (int i = 0; i < 1500; ++i)
        hostile.send(header(0x89, 125) + QByteArray(125, 'x'));
    // The values of all keywords, the reply to a refused request, and commands.
    sendCommands(watched, filling.command);
    sendCommands(1, [](int) { return createOf(QByteArray(1000000, 'x')); });
    QVERIFY(waitFor([&] {
        measure(&hostile);
        return keywords->statistics().commands == commands;
    }));
    sendCommands(1500, [](int) { return updateOf("/p/a", "1"); });
    // A message of the greatest length in fragments, and the beginning of another one.
    const auto sendFragments = [&] {
        for (int i = 0; i < 63; ++i)
            hostile.send(header(i ? 0x00 : 0x01, 16384) + QByteArray(16384, 'x'));
    };
    sendFragments();
    QVERIFY(waitFor([&] {
        measure(&hostile);
        return hostile.unsentBytes() == 0;
    }));
    QVERIFY(neighbour->isServed());
    QVERIFY(listener->isReadingAll());
    hostile.send(header(0x80, 10) + QByteArray(10, 'x'));
    ++commands;
    sendFragments();
    QVERIFY(waitFor([&] {
        measure(&hostile);
        return !listener->isReadingAll();
    }));
    QVERIFY(neighbour->isServed());
    measure(&hostile);
    QVERIFY2(peak < most, qPrintable(QString::number(peak)));
#ifdef PELLIX_HAS_MALLINFO
    QVERIFY2(peak > most / 2, qPrintable(QString::number(peak)));
#endif

    // None of this is lost.
    hostile.setReading(mebibyte);
    commands += 2; // of the neighbor
    QTRY_COMPARE_WITH_TIMEOUT(keywords->statistics().commands, commands, 60000);
    QVERIFY(hostile.isConnected());
}

void tst_HostileClients::refusedWrites_costLittleMemory()
{
    const std::unique_ptr<KeywordSession> session(openSession());
    before = allocated();
    for (int i = 0; i < 60; ++i) {
        session->receive(updateOf("/x/" + QByteArray::number(i) + QByteArray(500000, 'x'), "1"));
    }
    QVERIFY2(costs() < most, qPrintable(QString::number(costs())));
    QCOMPARE(keywords->statistics().refusedWrites, quint64(60));
    QVERIFY(keywords->statistics().memoryBytes < most);
}

void tst_HostileClients::undecidedWrites_costLittleMemory()
{
    std::vector<WriteRequest> requests;
    keywords->setWriteHandler(
        q("/p/text"), [&requests](const WriteRequest &request) { requests.push_back(request); });
    const std::unique_ptr<KeywordSession> session(openSession());
    before = allocated();
    for (int i = 0; i < 200; ++i)
        session->receive(updateOf("/p/text", '"' + QByteArray(100000, 'x') + '"'));
    QVERIFY2(costs() < most, qPrintable(QString::number(costs())));
    QVERIFY(keywords->statistics().memoryBytes < most);
    QVERIFY(requests.size() > 10);
    QCOMPARE(keywords->statistics().refusedWrites, quint64(200 - requests.size()));

    for (const WriteRequest &request : requests)
        request.accept();
    requests.clear();
    session->receive(updateOf("/p/text", "\"again\""));
    QCOMPARE(requests.size(), std::size_t(1));
}

void tst_HostileClients::undecidedWrites_ofThoseWhoLeaveCostLittleMemory()
{
    std::vector<WriteRequest> requests;
    keywords->setWriteHandler(
        q("/p/text"), [&requests](const WriteRequest &request) { requests.push_back(request); });
    before = allocated();
    for (int i = 0; i < 50; ++i) {
        const std::unique_ptr<KeywordSession> session(openSession());
        for (int j = 0; j < 50; ++j)
            session->receive(updateOf("/p/text", '"' + QByteArray(100000, 'x') + '"'));
    }
    QVERIFY2(costs() < 80 * mebibyte, qPrintable(QString::number(costs())));
    QVERIFY(keywords->statistics().refusedWrites > 0);
    for (const WriteRequest &request : requests)
        request.refuse();
    requests.clear();
    const std::unique_ptr<KeywordSession> session(openSession());
    session->receive(updateOf("/p/text", "\"again\""));
    QCOMPARE(requests.size(), std::size_t(1));
}

// Four times as many writes for the same keyword take about four times as long.
void tst_HostileClients::undecidedWrites_areDecidedQuickly()
{
    std::vector<WriteRequest> requests;
    keywords->setWriteHandler(
        q("/p/a"), [&requests](const WriteRequest &request) { requests.push_back(request); });
    const std::unique_ptr<KeywordSession> session(keywords->openSession());
    const auto timeOf = [&](int count) {
        for (int i = 0; i < count; ++i)
            session->receive(updateOf("/p/a", "1"));
        const std::clock_t start = std::clock();
        for (const WriteRequest &request : requests)
            request.accept();
        requests.clear();
        return double(std::clock() - start);
    };
    timeOf(1000);
    const double few = timeOf(8000);
    const double many = timeOf(64000);
    QVERIFY2(many < 20 * few, qPrintable(q("%1 times").arg(many / few)));
}

void tst_HostileClients::manyCreates_areAllAnswered()
{
    QVERIFY(listen(false));
    const std::unique_ptr<KeywordSession> session(openSession());
    before = allocated();
    int answers = 0;
    connect(session.get(), &KeywordSession::send, this, [&answers] { ++answers; });
#ifdef QT_NO_DEBUG
    constexpr int count = 1000000;
#else
    constexpr int count = 200000; // takes some time
#endif
    for (int i = 0; i < count; ++i)
        session->receive(createOf("/plant/" + QByteArray::number(i)));
    QCOMPARE(answers, count);
    const Statistics statistics = keywords->statistics();
    const int watched = int(statistics.watchedKeywords) - 1; // the neighbor has one subscription
    QVERIFY(watched > 1000 && watched <= keywords->limits().watchedKeywords);
    QCOMPARE(statistics.refusedCreates, quint64(count - watched));
    QVERIFY2(costs() < most, qPrintable(QString::number(costs())));
    QVERIFY(neighbour->isServed());
}

// Over a socket, the commands wait for their answers, and these for the client, which reads slowly
// at first. On a fast machine, there are too many per second as well.
void tst_HostileClients::manyCreates_overASocketAreAllAnswered()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr int count = 20000;
#elif defined(QT_NO_DEBUG)
    constexpr int count = 1000000;
#else
    constexpr int count = 100000; // takes some time
#endif
    Limits limits = keywords->limits();
    limits.commandsPerSecond = count / 4; // half of the commands come in the first burst
    keywords->setLimits(limits);
    QVERIFY(listen(false));
    RawClient client(listener->url());
    QVERIFY(client.open());
    client.setReading(4096);
    before = allocated();
    peak = 0;
    const QByteArray answer("\"keyEvent\"");
    qsizetype answers = 0;
    const auto takeAnswers = [&] {
        answers += client.received.count(answer);
        client.received = client.received.right(answer.size() - 1);
        peak = qMax(peak, costs() - client.socket.bytesToWrite());
    };
    for (int i = 0; i < count; ++i) {
        client.send(frame(createOf("/plant/" + QByteArray::number(i))));
        if (client.socket.bytesToWrite() < 256 * kibibyte)
            continue;
        QVERIFY(waitFor([&] { return client.socket.bytesToWrite() < 128 * kibibyte; }, 60000));
        takeAnswers();
        QVERIFY(neighbour->isServed());
    }
    client.setReading(mebibyte);
    QVERIFY(waitFor(
        [&] {
            takeAnswers();
            return answers >= count;
        },
        120000));
    QVERIFY(neighbour->isServed());
    takeAnswers();
    QCOMPARE(answers, qsizetype(count));
    const Statistics statistics = keywords->statistics();
    const int watched = int(statistics.watchedKeywords) - 1; // the neighbor has one subscription
    QVERIFY(watched > 1000 && watched <= limits.watchedKeywords);
    QCOMPARE(statistics.refusedCreates, quint64(count - watched));
    QVERIFY(client.isConnected());
    QVERIFY2(peak < most, qPrintable(QString::number(peak)));
}

void tst_HostileClients::longPaths_areAnswered_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("100 000 levels") << QByteArray("/a").repeated(100000);
    QTest::newRow("100 000 levels of x") << QByteArray("/x").repeated(100000);
    QTest::newRow("100 000 levels, #") << QByteArray("a#").repeated(100000);
    QTest::newRow("100 000 separators") << QByteArray("/").repeated(100000) + "a";
    QTest::newRow("one level") << QByteArray(400000, 'a');
    QTest::newRow("labels") << QByteArray("/Label").repeated(50000);
}

// With a role whose patterns must be compared with each level.
void tst_HostileClients::longPaths_areAnswered()
{
    QFETCH(QByteArray, path);
    const QStringList patterns {q("/neighbour"), q("/**/x/**/y/**/z"), q("/*/**/x")};
    QVERIFY(keywords->setRole({q("guest"), patterns, patterns}));
    ClientIdentification identification;
    identification.role = q("guest");
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listen(false));
    RawClient hostile(listener->url());
    QVERIFY(hostile.open());
    const QByteArray levels = "\"" + path.split('/').join("\",\"") + '"';
    const QByteArrayList commands {
        createOf(path),
        updateOf(path, "1"),
        createOf(path + "/Label"),
        aggregateOf("/agg", {path, "/neighbour"}),
        aggregateOf(path, {path}),
        commandOf("keyIndex", "\"keyQuery\":[" + levels + ']'),
        commandOf("keyIndex", "\"factory\":\"" + path + '"'),
    };
    for (const QByteArray &command : commands) {
        hostile.received.clear();
        hostile.send(frame(command));
        QTRY_VERIFY_WITH_TIMEOUT(hostile.received.endsWith("}}"), 30000); // the end of the reply
        QVERIFY(neighbour->isServed());
    }
    QCOMPARE(listener->clientCount(), 2);
}

void tst_HostileClients::deepJson_isHarmless_data()
{
    QTest::addColumn<QByteArray>("command");
    const auto nested = [](int depth, const char *open, const char *middle, const char *close) {
        return QByteArray(open).repeated(depth) + middle + QByteArray(close).repeated(depth);
    };
    for (const int depth : {100, 1000, 1100, 100000}) {
        QTest::addRow("arrays %d", depth) << updateOf("/p/o", nested(depth, "[", "", "]"));
        QTest::addRow("objects %d", depth) << updateOf("/p/o", nested(depth, "{\"a\":", "1", "}"));
        QTest::addRow("query %d", depth)
            << commandOf("keyIndex", "\"keyQuery\":" + nested(depth, "[", "", "]"));
        QTest::addRow("children %d", depth)
            << commandOf("keyCreateOrUpdate",
                         "\"keyword\":\"/a\",\"children\":" + nested(depth, "[", "\"/p/a\"", "]"));
    }
    QTest::newRow("never closed") << QByteArray(1000000, '[');
    QTest::newRow("never closed objects") << QByteArray("{\"a\":").repeated(150000);
}

void tst_HostileClients::deepJson_isHarmless()
{
    QFETCH(QByteArray, command);
    QVERIFY(listen(false));
    RawClient hostile(listener->url());
    QVERIFY(hostile.open());
    const quint64 taken = keywords->statistics().commands;
    for (int i = 0; i < 3; ++i)
        hostile.send(frame(command));
    hostile.send(frame(createOf("/p/o")));
    QTRY_VERIFY_WITH_TIMEOUT(hostile.received.contains("\"keyword\":\"/p/o\""), 30000);
    QCOMPARE(keywords->statistics().commands, taken + 4);
    QVERIFY(neighbour->isServed());
}

void tst_HostileClients::wideJson_costsLittleMemory_data()
{
    QTest::addColumn<QByteArray>("command");
    const auto row = [](const char *name, const QByteArray &item) {
        for (const int bytes : {80000, 130000, 250000, 1000000}) { // some are within the limit
            const QByteArray list = '[' + item.repeated(bytes / item.size()) + "1]";
            const std::pair<const char *, QByteArray> commands[] = {
                {"list", list},
                {"value", updateOf("/p/o", list)},
                {"refused value", updateOf("/none", list)},
                {"query", commandOf("keyIndex", "\"factory\":\"p\",\"x\":" + list)},
                {"aggregate",
                 commandOf("keyCreateOrUpdate", "\"keyword\":\"/agg\",\"children\":" + list)},
            };
            for (const auto &[kind, command] : commands)
                QTest::addRow("%s, %d bytes of %s", kind, bytes, name) << command;
        }
    };
    row("numbers", "1,");
    row("great numbers", "1e18,");
    row("texts", "\"a\",");
    row("lists", "[1],");
    row("objects", "{\"\":1},");
    row("deep lists", QByteArray(900, '[') + QByteArray(900, ']') + ',');
    row("deep objects", QByteArray("{\"\":").repeated(900) + '1' + QByteArray(900, '}') + ',');
    QByteArray members;
    for (int i = 0; members.size() < 90000; ++i)
        members += '"' + QByteArray::number(i) + "\":1,";
    row("members", '{' + members.chopped(1) + "},");
}

// Not even while the server processes a command.
void tst_HostileClients::wideJson_costsLittleMemory()
{
    QFETCH(QByteArray, command);
    const std::unique_ptr<KeywordSession> session(openSession());
    const qint64 start = startPeak();
    session->receive(command);
    const qint64 peak = residentPeak() - start;
    QVERIFY2(peak < most, qPrintable(QString::number(peak)));
}

// The limit is far above that of usual values, and characters in texts do not count.
void tst_HostileClients::wideJson_withinTheLimitIsTaken()
{
    const std::unique_ptr<KeywordSession> session(openSession());
    const auto objectOf = [](int points) {
        return '[' + QByteArray("[1.5,2.5],").repeated(points) + "[3.5,4.5]]";
    };
    session->receive(updateOf("/p/o", objectOf(20000)));
    QCOMPARE(keywords->value(q("/p/o")).toList().size(), 20001);
    const QByteArray text = QByteArray("[{\\\",:").repeated(20000);
    session->receive(updateOf("/p/text", '"' + text + '"'));
    QCOMPARE(keywords->value(q("/p/text")).toString().size(), 20000 * 5);
    QCOMPARE(keywords->statistics().longCommands, quint64(0));

    session->receive(updateOf("/p/o", objectOf(50000)));
    QCOMPARE(keywords->statistics().longCommands, quint64(1));
    session->receive(updateOf("/p/o", objectOf(0)));
    QCOMPARE(keywords->value(q("/p/o")).toList().size(), 1);
    const std::unique_ptr<KeywordSession> own(keywords->openSession()); // without limits
    own->receive(updateOf("/p/o", objectOf(50000)));
    QCOMPARE(keywords->value(q("/p/o")).toList().size(), 50001);
}

void tst_HostileClients::aggregates_areAnswered_data()
{
    QTest::addColumn<QByteArrayList>("commands");
    const auto name = [](int i) { return "/agg/" + QByteArray::number(i); };
    const auto row = [](const char *name, const QByteArrayList &commands) {
        QTest::newRow(name) << commands;
    };
    row("over itself", {aggregateOf("/agg", {"/agg"})});
    row("over itself and a value", {aggregateOf("/agg", {"/agg", "/p/a", "/agg"})});
    row("over its label", {aggregateOf("/agg", {"/agg/Label"})});
    row("over each other", {aggregateOf("/a", {"/b", "/p/a"}), aggregateOf("/b", {"/a", "/p/a"})});
    QByteArrayList ring, chain, reversed, children, twice;
    for (int i = 0; i < 1000; ++i)
        ring << aggregateOf(name(i), {name((i + 1) % 1000), "/p/a"});
    row("ring of 1 000", ring);
    for (int i = 0; i < 10000; ++i)
        chain << aggregateOf(name(i), {i ? name(i - 1) : "/p/a"});
    row("chain of 10 000", chain);
    for (int i = 10000; i > 0; --i)
        reversed << aggregateOf(name(i), {i > 1 ? name(i - 1) : "/p/a"});
    row("chain of 10 000, from its end", reversed);
    for (int i = 0; i < 1000; ++i)
        children << (i ? name(i) : "/p/a");
    row("1 000 children", {aggregateOf("/agg", children)});
    row("1 001 children", {aggregateOf("/agg", children + QByteArrayList {"/p/b"})});
    row("a child 1 000 times", {aggregateOf("/agg", QByteArrayList(1000, "/p/a"))});
    QByteArrayList changing;
    for (int i = 0; i < 200; ++i)
        changing << aggregateOf("/agg", children.mid(i), i % 2 ? "sum" : "max");
    row("changing", changing);
}

void tst_HostileClients::aggregates_areAnswered()
{
    QFETCH(QByteArrayList, commands);
    QVERIFY(listen(false));
    RawClient hostile(listener->url());
    QVERIFY(hostile.open());
    before = allocated();
    const quint64 taken = keywords->statistics().commands;
    const quint64 events = keywords->statistics().events;
    for (const QByteArray &command : std::as_const(commands))
        hostile.send(frame(command));
    QVERIFY(neighbour->isServed());
    QTRY_VERIFY_WITH_TIMEOUT(keywords->statistics().commands >= taken + quint64(commands.size()),
                             30000);
    QTRY_VERIFY_WITH_TIMEOUT(keywords->statistics().events >= events + quint64(commands.size()),
                             30000);
    for (int i = 1; i <= 3; ++i) {
        keywords->setValue(q("/p/a"), i);
        QVERIFY(neighbour->isServed());
    }
    QVERIFY(keywords->statistics().memoryBytes < most);
    hostile.socket.abort();
    QTRY_COMPARE_WITH_TIMEOUT(listener->clientCount(), 1, 30000);
    QCOMPARE(keywords->statistics().watchedKeywords, qint64(1));
    QVERIFY(neighbour->isServed());
}

// Each aggregate is computed once per change, regardless of the number of aggregates over it.
void tst_HostileClients::aggregates_overAllOthersAreQuick()
{
    constexpr int layers = 3;
    constexpr int width = 100;
    const auto timeOf = [this](bool nested) {
        const std::unique_ptr<KeywordSession> session(keywords->openSession());
        for (int i = 0; i < layers * width; ++i) {
            QByteArrayList children;
            for (int j = 0; j < width; ++j) {
                children << (nested && i >= width
                                 ? "/agg/" + QByteArray::number((i / width - 1) * width + j)
                                 : QByteArray(j % 2 ? "/p/a" : "/p/b"));
            }
            session->receive(aggregateOf("/agg/" + QByteArray::number(i), children));
        }
        const std::clock_t start = std::clock();
        for (int i = 1; i <= 5; ++i)
            keywords->setValue(q("/p/a"), int(start) + i);
        return double(std::clock() - start);
    };
    const double flat = timeOf(false);
    const double nested = timeOf(true);
    QVERIFY2(nested < 10 * flat, qPrintable(q("%1 times").arg(nested / flat)));
}

// The session receives the newest values, but not all values in between.
void tst_HostileClients::aggregates_areFormedLaterWhenTheyAreTooMany()
{
    allowManyAggregates();
    const std::unique_ptr<KeywordSession> session(openSession());
    QByteArray last;
    int events = 0;
    connect(session.get(), &KeywordSession::send, this, [&](const QByteArray &message) {
        ++events;
        if (message.contains("\"/agg/19\""))
            last = message;
    });
    for (int i = 0; i < 20; ++i) {
        session->receive(
            aggregateOf("/agg/" + QByteArray::number(i), QByteArrayList(1000, "/p/a"), "max"));
    }
    QCOMPARE(events, 20);
    constexpr int changes = 1000;
    for (int i = 1; i <= changes; ++i)
        keywords->setValue(q("/p/a"), i);
    QVERIFY(keywords->statistics().delayedAggregates > 0);
    QVERIFY2(events < 20 * changes / 2, qPrintable(QString::number(events)));
    QTRY_VERIFY_WITH_TIMEOUT(last.contains("\"value\":1000}"), 30000);
    session->receive(commandOf("keyDestroy", "\"keyword\":\"/agg/19\""));
    for (int i = 1; i <= 100; ++i)
        keywords->setValue(q("/p/a"), -i);
    keywords->clear(); // while some are pending
    QTest::qWait(0);
}

// Until they are formed, further changes cost nothing for them.
void tst_HostileClients::aggregates_thatAreBehindAreDelayedOnce()
{
    constexpr quint64 aggregates = 10000;
    allowManyAggregates();
    const std::unique_ptr<KeywordSession> session(openSession());
    constexpr int changes = 1000;
    int newest = 0; // events with the last value
    connect(session.get(), &KeywordSession::send, this,
            [&](const QByteArray &message) { newest += message.contains("\"value\":1000}"); });
    for (quint64 i = 0; i < aggregates; ++i)
        session->receive(aggregateOf("/agg/" + QByteArray::number(i), {"/p/a"}, "max"));
    QCOMPARE(keywords->statistics().refusedCreates, quint64(0));
    // Without the event loop, none of them is formed later.
    for (int i = 1; i <= changes; ++i)
        keywords->setValue(q("/p/a"), i);
    const quint64 delayed = keywords->statistics().delayedAggregates;
    QVERIFY2(delayed > 0 && delayed <= aggregates, qPrintable(QString::number(delayed)));
    QTRY_COMPARE_WITH_TIMEOUT(newest, int(aggregates), 30000);
}

// Each of them could keep another long value.
void tst_HostileClients::aggregates_thatAreBehindKeepNoValues()
{
    constexpr int aggregates = 100;
    const std::unique_ptr<KeywordSession> session(openSession());
    int newest = 0; // events with the last value
    connect(session.get(), &KeywordSession::send, this,
            [&](const QByteArray &message) { newest += message.contains("\"value\":\"99x"); });
    const QByteArrayList children(1000, "/p/a");
    for (int i = 0; i < 500; ++i) // which takes the time for aggregates
        session->receive(aggregateOf("/agg", children, i % 2 ? "min" : "max"));
    session->pause();
    before = allocated();
    for (int i = 0; i < aggregates; ++i) {
        session->receive(
            updateOf("/p/text", '"' + QByteArray::number(i) + QByteArray(130000, 'x') + '"'));
        session->receive(
            aggregateOf("/eql/" + QByteArray::number(i), {"/p/text", "/p/text"}, "eql"));
    }
    QVERIFY(keywords->statistics().delayedAggregates > 0);
    QVERIFY2(costs() < most, qPrintable(QString::number(costs())));

    session->resume();
    for (int i = 0; i < aggregates; ++i) // their replies come later as well
        session->receive(createOf("/eql/" + QByteArray::number(i)));
    QTRY_VERIFY_WITH_TIMEOUT(newest >= aggregates, 30000);
}

// Values that the role must no longer read are not sent later.
void tst_HostileClients::aggregates_areFormedAtOnceWhenTheRoleChanges()
{
    QVERIFY(keywords->setRole({q("guest"), {q("/p/*")}, {}}));
    const std::unique_ptr<KeywordSession> session(
        keywords->openSession({q("hostile"), q("127.0.0.1"), q("guest")}));
    for (int i = 0; i < 20; ++i) {
        session->receive(
            aggregateOf("/agg/" + QByteArray::number(i), QByteArrayList(1000, "/p/a"), "max"));
    }
    for (int i = 1; i <= 1000; ++i)
        keywords->setValue(q("/p/a"), i);
    QVERIFY(keywords->setRole({q("guest"), {q("/p/b")}, {}}));
    QByteArray told;
    connect(session.get(), &KeywordSession::send, this,
            [&told](const QByteArray &message) { told += message; });
    for (int i = 0; i < 20; ++i)
        session->receive(createOf("/agg/" + QByteArray::number(i)));
    QCOMPARE(told.count("\"value\":null"), 20);
    QCOMPARE(told.count("\"value\":"), 20);
}

// Two connections to different addresses of the server may use the same client port.
void tst_HostileClients::samePort_ofTwoClientsIsNoConfusion()
{
    ClientIdentification identification;
    identification.role = ClientIdentification::fullRights;
    QVERIFY(listener->setIdentification(identification));
    listener->setUnencryptedAllowed(true);
    QVERIFY(listener->listen(QHostAddress::AnyIPv4));
    quint16 port = 0;
    std::vector<std::unique_ptr<QTcpSocket>> sockets;
    for (const char *address : {"127.0.0.1", "127.0.0.2"}) {
        sockets.push_back(std::make_unique<QTcpSocket>());
        QTcpSocket &socket = *sockets.back();
        QVERIFY(socket.bind(QHostAddress(QHostAddress::LocalHost), port,
                            QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint));
        port = socket.localPort();
        socket.connectToHost(q(address), listener->port());
        socket.write(RawClient::request());
        QTRY_VERIFY_WITH_TIMEOUT(socket.peek(12).startsWith("HTTP/1.1 101"), 30000);
    }
    QTRY_COMPARE_WITH_TIMEOUT(listener->clientCount(), 2, 30000);
    QVERIFY(sockets[0]->state() == QAbstractSocket::ConnectedState);
    QVERIFY(sockets[1]->state() == QAbstractSocket::ConnectedState);
}

QTEST_GUILESS_MAIN(tst_HostileClients)
#include "tst_hostileclients.moc"
