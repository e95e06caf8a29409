// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"
#include "tests/soak/narrowlink.h"
#include "tests/support/rawclient.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>
#include <QtNetwork/QSslKey>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

using namespace pellix::server;
using namespace std::chrono_literals;

namespace {

constexpr qint64 kibibyte = 1024;
constexpr qint64 mebibyte = 1024 * kibibyte;
constexpr qint64 eventBytes = 100; // minimum size of an event
constexpr int closeFrame = 8;
constexpr int pingFrame = 9;
constexpr int pongFrame = 10;
constexpr int smallBuffer = 32 * 1024; // of the system, which soon has no room for more
constexpr qint64 fiveSeconds = 160000; // bytes over a link with 256 kbit/s

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QString pathOf(int i)
{
    return q("/plant/line%1/k%2").arg(i / 100).arg(i % 100);
}

QByteArray createOf(int i)
{
    return "{\"cmd\":\"keyCreateOrUpdate\",\"payload\":{\"keyword\":\"" + pathOf(i).toUtf8()
        + "\"}}";
}

// A frame of a message that has more of them.
QByteArray fragment(int opcode, const QByteArray &payload)
{
    QByteArray frame = RawClient::frame(opcode, payload);
    frame[0] = char(opcode);
    return frame;
}

// A client that always reads, and keeps the last value of each keyword.
class Reader : public QObject
{
public:
    explicit Reader(const QUrl &url)
    {
        connect(&socket, &QWebSocket::sslErrors, this, [this] { socket.ignoreSslErrors(); });
        connect(&socket, &QWebSocket::textMessageReceived, this, [this](const QString &text) {
            const QJsonObject payload =
                QJsonDocument::fromJson(text.toUtf8()).object().value(q("payload")).toObject();
            values[payload.value(q("keyword")).toString()] = payload.value(q("value")).toInt();
            ++events;
        });
        socket.open(url);
    }

    bool isConnected() const { return socket.state() == QAbstractSocket::ConnectedState; }
    void create(int keywords)
    {
        for (int i = 0; i < keywords; ++i)
            socket.sendTextMessage(QString::fromUtf8(createOf(i)));
    }

    QWebSocket socket;
    std::map<QString, int> values;
    int events = 0;
};

// The last value, or flag, of each keyword in the frames that a server has sent.
std::map<QString, int> valuesIn(const QByteArray &frames, const char *member = "value")
{
    std::map<QString, int> values;
    qsizetype at = 0;
    while (at + 2 <= frames.size()) {
        const int opcode = frames.at(at) & 0x0f;
        qsizetype size = uchar(frames.at(at + 1)) & 0x7f;
        at += 2;
        if (size == 126) {
            size = uchar(frames.at(at)) * 256 + uchar(frames.at(at + 1));
            at += 2;
        }
        if (at + size > frames.size())
            break;
        if (opcode == 1) {
            const QJsonObject payload = QJsonDocument::fromJson(frames.mid(at, size))
                                            .object()
                                            .value(q("payload"))
                                            .toObject();
            values[payload.value(q("keyword")).toString()] =
                payload.value(q(member)).toVariant().toInt();
        }
        at += size;
    }
    return values;
}

bool haveAll(const std::map<QString, int> &values, int keywords, int value)
{
    return values.size() == std::size_t(keywords)
        && std::all_of(values.cbegin(), values.cend(),
                       [value](const auto &pair) { return pair.second == value; });
}

struct Frame
{
    bool isFinal = false;
    int opcode = 0;
    QByteArray payload;
    qsizetype end = 0; // its position in the data
};

// The complete frames that a server has sent, of any length.
std::vector<Frame> framesIn(const QByteArray &data)
{
    std::vector<Frame> frames;
    qsizetype at = 0;
    while (at + 2 <= data.size()) {
        quint64 size = uchar(data.at(at + 1)) & 0x7f;
        const int lengthBytes = size == 127 ? 8 : size == 126 ? 2 : 0;
        const qsizetype start = at + 2 + lengthBytes;
        if (start > data.size())
            break;
        size = lengthBytes ? 0 : size;
        for (qsizetype i = at + 2; i < start; ++i)
            size = size << 8 | uchar(data.at(i));
        if (start + qsizetype(size) > data.size())
            break;
        frames.push_back({(data.at(at) & 0x80) != 0, data.at(at) & 0x0f,
                          data.mid(start, qsizetype(size)), start + qsizetype(size)});
        at = start + qsizetype(size);
    }
    return frames;
}

// The complete text messages; empty if the frames are invalid.
QByteArrayList textsIn(const QByteArray &data)
{
    QByteArrayList texts;
    QByteArray text;
    bool isInside = false;
    for (const Frame &frame : framesIn(data)) {
        if (frame.opcode >= 8)
            continue;
        if (frame.opcode != (isInside ? 0 : 1))
            return {};
        isInside = !frame.isFinal;
        text += frame.payload;
        if (frame.isFinal)
            texts << std::exchange(text, {});
    }
    return texts;
}

// The number of frames of a kind among the frames from a server.
int countIn(const QByteArray &frames, int wanted)
{
    int count = 0;
    qsizetype at = 0;
    while (at + 4 <= frames.size()) {
        const int opcode = frames.at(at) & 0x0f;
        qsizetype size = uchar(frames.at(at + 1)) & 0x7f;
        size +=
            size == 126 ? 2 + uchar(frames.at(at + 2)) * 256 + uchar(frames.at(at + 3)) - 126 : 0;
        at += 2 + size;
        count += opcode == wanted;
    }
    if (at + 2 <= frames.size() && (frames.at(at) & 0x0f) == wanted)
        ++count;
    return count;
}

class Server : public WebSocketKeywordServer
{
public:
    using WebSocketKeywordServer::WebSocketKeywordServer;
    void sendToAll(const QString &text)
    {
        for (QWebSocket *const client : clients())
            sendTo(client, text);
    }
    void readAlways()
    {
        for (QTcpSocket *const connection : connections()) {
            const auto notifiers = connection->findChildren<QSocketNotifier *>();
            for (QSocketNotifier *notifier : notifiers) {
                if (notifier->type() == QSocketNotifier::Read)
                    notifier->setEnabled(true);
            }
        }
    }
};

} // namespace

class tst_BoundedSending : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void stalledReader_costsNoMemory_data() { addTransports(); }
    void stalledReader_costsNoMemory();
    void slowReader_endsWithTheRightValues_data() { addTransports(); }
    void slowReader_endsWithTheRightValues();
    void setConnected_ofManyIsBounded();
    void total_isLimited_data() { addTransports(); }
    void total_isLimited();
    void total_isLimitedForLongMessages_data();
    void total_isLimitedForLongMessages();
    void noProgress_isDropped_data() { addTransports(); }
    void noProgress_isDropped();
    void noProgress_isDroppedDespitePings_data() { addTransports(); }
    void noProgress_isDroppedDespitePings();
    void noPong_isDropped_data() { addTransports(); }
    void noPong_isDropped();
    void noPong_isDroppedDespiteCommands_data() { addTransports(); }
    void noPong_isDroppedDespiteCommands();
    void reader_isNotDropped();
    void busyReader_isNotDropped_data() { addTransports(); }
    void busyReader_isNotDropped();
    void slowReader_isAnsweredPings_data() { addTransports(); }
    void slowReader_isAnsweredPings();
    void slowReader_getsPongsAndTheRightValues_data() { addTransports(); }
    void slowReader_getsPongsAndTheRightValues();
    void longMessage_letsPongsPass_data();
    void longMessage_letsPongsPass();
    void longMessage_isFollowedByOthers_data() { addTransports(); }
    void longMessage_isFollowedByOthers();
    void longMessage_isSentBeforeTheConnectionIsClosed_data() { addTransports(); }
    void longMessage_isSentBeforeTheConnectionIsClosed();
    void reader_isNotDroppedWhenTheProgramWasBusy();
    void longCommand_isCounted_data() { addTransports(); }
    void longCommand_isCounted();
    void longestCommand_mayComeInFragments_data() { addTransports(); }
    void longestCommand_mayComeInFragments();
    void flood_isDelayed();
    void flood_thatCannotBeStoppedIsDropped_data() { addTransports(); }
    void flood_thatCannotBeStoppedIsDropped();
    void otherFrames_areDelayed_data();
    void otherFrames_areDelayed();
    void commands_waitWhileAnswersDo_data() { addTransports(); }
    void commands_waitWhileAnswersDo();
    void repeatedCreates_wait_data() { addTransports(); }
    void repeatedCreates_wait();

private:
    static void addTransports();
    void listenWithTls();
    void declare(int keywords)
    {
        for (int i = 0; i < keywords; ++i) {
            KeywordServer::Keyword keyword;
            keyword.path = pathOf(i);
            keyword.type = q("int");
            keyword.access = q("RW");
            keyword.value = 0;
            QVERIFY(server->declare(keyword));
        }
    }
    void setAll(int keywords, int value)
    {
        for (int i = 0; i < keywords; ++i)
            server->setValue(pathOf(i), value);
    }
    void setLimits(const std::function<void(Limits &)> &change)
    {
        Limits limits = server->limits();
        change(limits);
        server->setLimits(limits);
    }
    static void watch(RawClient *client, int keywords)
    {
        QVERIFY(client->open());
        for (int i = 0; i < keywords; ++i)
            client->send(RawClient::frame(1, createOf(i)));
    }

    std::unique_ptr<KeywordServer> server;
    std::unique_ptr<Server> sockets;
};

void tst_BoundedSending::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    server = std::make_unique<KeywordServer>();
    sockets = std::make_unique<Server>(server.get());
    QVERIFY(sockets->listen());
    // Clients must not be dropped because the machine is busy.
    setLimits([](Limits &limits) { limits.stalledTime = 10min; });
}

void tst_BoundedSending::cleanup()
{
    sockets.reset();
    server.reset();
}

void tst_BoundedSending::addTransports()
{
    QTest::addColumn<bool>("tls");
    QTest::newRow("ws") << false;
    QTest::newRow("wss") << true;
}

void tst_BoundedSending::listenWithTls()
{
    QFile file(q(TLS_FILES "/server.key"));
    const auto certificates = QSslCertificate::fromPath(q(TLS_FILES "/server.crt"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(sockets->setTls(certificates.value(0), QSslKey(&file, QSsl::Ec)));
    QVERIFY(sockets->listen());
}

void tst_BoundedSending::stalledReader_costsNoMemory()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    constexpr int keywords = 1000;
    declare(keywords);
    RawClient stalled(sockets->url(), tls);
    watch(&stalled, keywords);
    Reader reader(sockets->url());
    QTRY_VERIFY(reader.isConnected());
    reader.create(keywords);
    QTRY_COMPARE(reader.events, keywords);
    QTRY_VERIFY(stalled.count > keywords * eventBytes);
    stalled.setReading(0);
    const qint64 before = server->statistics().memoryBytes;

    for (int round = 1; round <= 200; ++round) {
        setAll(keywords, round);
        QTRY_COMPARE(reader.values[pathOf(keywords - 1)], round);
    }
    const Statistics statistics = server->statistics();
    QVERIFY2(statistics.sendingBytes <= 64 * kibibyte,
             qPrintable(QString::number(statistics.sendingBytes)));
    QCOMPARE(statistics.memoryBytes, before);
    QVERIFY(statistics.skippedValues > 0);
    QCOMPARE(statistics.clients, qint64(2));
    for (int i = 0; i < keywords; ++i)
        QCOMPARE(reader.values[pathOf(i)], 200);

    stalled.setReading(mebibyte);
    QTRY_VERIFY(haveAll(valuesIn(stalled.received), keywords, 200));
}

void tst_BoundedSending::slowReader_endsWithTheRightValues()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    constexpr int keywords = 1000;
    declare(keywords);
    RawClient slow(sockets->url(), tls);
    watch(&slow, keywords);
    QTRY_VERIFY(slow.count > keywords * eventBytes);
    slow.setReading(100); // bytes per turn of the event loop
    int round = 0;
    while (server->statistics().skippedValues < 10 * quint64(keywords)) {
        setAll(keywords, ++round);
        QCoreApplication::processEvents();
        QVERIFY(server->statistics().sendingBytes <= 64 * kibibyte);
    }
    QVERIFY(slow.isConnected());
    slow.setReading(mebibyte);
    QTRY_VERIFY(haveAll(valuesIn(slow.received), keywords, round));
}

// One client watches a tenth of the keywords of a source that is lost and restored.
void tst_BoundedSending::setConnected_ofManyIsBounded()
{
    constexpr int keywords = 100000;
    constexpr int watched = keywords / 10;
    declare(keywords);
    RawClient stalled(sockets->url());
    QVERIFY(stalled.open());
    for (int i = 0; i < watched; ++i)
        stalled.send(RawClient::frame(1, createOf(10 * i)));
    QTRY_COMPARE_WITH_TIMEOUT(server->statistics().watchedKeywords, qint64(watched), 60000);
    QTRY_VERIFY_WITH_TIMEOUT(haveAll(valuesIn(stalled.received, "connected"), watched, 1), 60000);
    stalled.received.clear();
    stalled.setReading(0);

    // The system takes what its buffers hold.
    bool connected = true;
    const auto isFull = [this] {
        const Statistics statistics = server->statistics();
        return statistics.sendingBytes > 0 && statistics.skippedValues > 10 * quint64(watched);
    };
    while (!isFull() || connected) {
        connected = !connected;
        QCOMPARE(server->setConnected(q("/plant"), connected), keywords);
        QCoreApplication::processEvents();
        const qint64 waiting = server->statistics().sendingBytes;
        QVERIFY2(waiting <= 64 * kibibyte, qPrintable(QString::number(waiting)));
    }

    stalled.setReading(mebibyte);
    const auto told = [&stalled] { return valuesIn(stalled.received, "connected"); };
    QTRY_VERIFY_WITH_TIMEOUT(haveAll(told(), watched, 0), 60000);
    QTRY_COMPARE(server->statistics().sendingBytes, qint64(0));
    const std::map<QString, int> states = told();
    QVERIFY(haveAll(states, watched, 0));
    for (const auto &[path, connected] : states)
        QVERIFY2(path.endsWith(QLatin1Char('0')), qPrintable(path)); // every tenth
}

void tst_BoundedSending::total_isLimited()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    constexpr int keywords = 100;
    constexpr int clients = 10;
    setLimits([](Limits &limits) { limits.totalSendingBytes = 64 * kibibyte; });
    declare(keywords);
    std::vector<std::unique_ptr<RawClient>> stalled;
    for (int i = 0; i < clients; ++i) {
        stalled.push_back(std::make_unique<RawClient>(sockets->url(), tls));
        watch(stalled.back().get(), keywords);
        QTRY_VERIFY(stalled.back()->count > keywords * eventBytes);
        stalled.back()->setReading(0);
    }
    Reader reader(sockets->url());
    QTRY_VERIFY(reader.isConnected());
    reader.create(keywords);
    QTRY_COMPARE(reader.events, keywords);

    // Until the system buffers of the connections are full.
    int round = 0;
    while (server->statistics().sendingBytes < 64 * kibibyte && round < 100000) {
        setAll(keywords, ++round);
        QCoreApplication::processEvents();
    }
    for (int i = 0; i < 100; ++i) {
        setAll(keywords, ++round);
        QTRY_COMPARE(reader.values[pathOf(keywords - 1)], round); // it still gets events
        QVERIFY(server->statistics().sendingBytes < 128 * kibibyte);
    }
    QVERIFY(server->statistics().sendingPauses > 0);
    for (const auto &client : stalled)
        client->setReading(mebibyte);
    for (const auto &client : stalled)
        QTRY_VERIFY(valuesIn(client->received)[pathOf(keywords - 1)] == round);
    QTRY_COMPARE(server->statistics().sendingBytes, qint64(0));
}

void tst_BoundedSending::total_isLimitedForLongMessages_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<std::function<QByteArray(int)>>("command");
    QTest::addColumn<int>("messages"); // for each client
    const auto create = [](const QByteArray &keyword) -> QByteArray {
        return R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":")" + keyword + R"("}})";
    };
    const auto add = [](const char *name, int messages,
                        const std::function<QByteArray(int)> &command) {
        QTest::addRow("ws %s", name) << false << command << messages;
        QTest::addRow("wss %s", name) << true << command << messages;
    };
    add("index", 10, [](int) -> QByteArray {
        return R"({"cmd":"keyIndex","payload":{"factory":"all","uuid":"x"}})";
    });
    add("text", 1, [=](int) { return create("/long/text"); });
    add("object", 1, [=](int) { return create("/long/object"); });
    add("keyword", 10,
        [=](int i) { return create(QByteArray::number(i) + QByteArray(60000, 'x')); });
    add("separators", 10, [=](int) { return create(QByteArray(60000, '/')); });
}

// A client without waiting messages may always receive one. There may be very many clients.
void tst_BoundedSending::total_isLimitedForLongMessages()
{
    QFETCH(bool, tls);
    QFETCH(std::function<QByteArray(int)>, command);
    QFETCH(int, messages);
    if (tls)
        listenWithTls();
    constexpr int clients = 20;
    constexpr qint64 total = 256 * kibibyte;
    setLimits([](Limits &limits) { limits.totalSendingBytes = total; });
    declare(100);
    KeywordServer::Keyword number;
    number.type = q("int");
    for (int i = 0; i < 2000; ++i) {
        number.path = q("/all/%1%2").arg(QString(100, QLatin1Char('x'))).arg(i);
        QVERIFY(server->declare(number));
    }
    KeywordServer::Keyword text;
    text.path = q("/long/text");
    text.type = q("string");
    text.value = QString(200000, QLatin1Char('x'));
    QVERIFY(server->declare(text));
    text.path = q("/long/object");
    text.type = q("object");
    text.value = QVariantList {text.value};
    QVERIFY(server->declare(text));

    std::vector<std::unique_ptr<RawClient>> stalled;
    for (int i = 0; i < clients; ++i) {
        stalled.push_back(
            std::make_unique<RawClient>(sockets->url(), tls, QSslConfiguration(), smallBuffer));
        QVERIFY(stalled.back()->open());
        stalled.back()->setReading(0);
        for (int message = 0; message < messages; ++message)
            stalled.back()->send(RawClient::frame(1, command(message)));
    }
    QTRY_VERIFY(server->statistics().sendingPauses > 0);
    Reader reader(sockets->url()); // is told of short ones
    QTRY_VERIFY(reader.isConnected());
    reader.create(100);
    QTRY_COMPARE(reader.events, 100);
    const qint64 waiting = server->statistics().sendingBytes;
    QVERIFY2(waiting < total + 512 * kibibyte, qPrintable(QString::number(waiting)));

    // Each message is sent when there is memory for it.
    for (const auto &client : stalled)
        client->setReading(mebibyte);
    for (const auto &client : stalled)
        QTRY_COMPARE_WITH_TIMEOUT(textsIn(client->received).size(), messages, 30000);
    QTRY_COMPARE(server->statistics().sendingBytes, qint64(0));
    for (const auto &client : stalled) { // and it goes on
        client->send(RawClient::frame(1, createOf(0)));
        QTRY_COMPARE_WITH_TIMEOUT(textsIn(client->received).size(), messages + 1, 30000);
    }
}

void tst_BoundedSending::noProgress_isDropped()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    setLimits([](Limits &limits) { limits.stalledTime = 1500ms; });
    declare(100);
    RawClient stalled(sockets->url(), tls, {}, smallBuffer);
    watch(&stalled, 100);
    QTRY_VERIFY(stalled.count > 100 * eventBytes);
    stalled.setReading(0);
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression(q("^disconnected 127\\.0\\.0\\.1:\\d+: it has read nothing "
                             "for 1\\.5 s, and \\d+ bytes wait for it$")));
    int round = 0;
    const auto isDropped = [&] {
        setAll(100, ++round);
        return server->sessionCount() == 0;
    };
    QVERIFY(waitFor(isDropped));
    QCOMPARE(server->statistics().droppedClients, quint64(1));
    QCOMPARE(server->statistics().sendingBytes, qint64(0));
}

// The pongs wait as well, so they are no progress.
void tst_BoundedSending::noProgress_isDroppedDespitePings()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    setLimits([](Limits &limits) { limits.stalledTime = 1500ms; });
    declare(100);
    RawClient stalled(sockets->url(), tls, {}, smallBuffer);
    watch(&stalled, 100);
    QTRY_VERIFY(stalled.count > 100 * eventBytes);
    stalled.setReading(0);
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression(q("^disconnected 127\\.0\\.0\\.1:\\d+: it has read nothing "
                             "for 1\\.5 s, and \\d+ bytes wait for it$")));
    QTimer pings;
    connect(&pings, &QTimer::timeout, this, [&stalled] {
        if (stalled.isConnected())
            stalled.send(RawClient::frame(pingFrame, {}));
    });
    pings.start(100ms);
    int round = 0;
    const auto isDropped = [&] {
        setAll(100, ++round);
        return server->sessionCount() == 0;
    };
    QVERIFY(waitFor(isDropped));
    QCOMPARE(server->statistics().droppedClients, quint64(1));
}

void tst_BoundedSending::noPong_isDropped()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    setLimits([](Limits &limits) { limits.stalledTime = 200ms; });
    RawClient quiet(sockets->url(), tls); // reads, but does not reply
    QVERIFY(quiet.open());
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression(q("^disconnected 127\\.0\\.0\\.1:\\d+: it does not answer pings$")));
    QTRY_COMPARE(server->statistics().droppedClients, quint64(1));
    QTRY_VERIFY(!quiet.isConnected());
    QCOMPARE(server->sessionCount(), 0);
}

// Commands do not show that the client reads.
void tst_BoundedSending::noPong_isDroppedDespiteCommands()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    setLimits([](Limits &limits) { limits.stalledTime = 300ms; });
    declare(1);
    RawClient talking(sockets->url(), tls);
    QVERIFY(talking.open());
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression(q("^disconnected 127\\.0\\.0\\.1:\\d+: it does not answer pings$")));
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&talking] {
        if (talking.isConnected())
            talking.send(RawClient::frame(1, createOf(0)));
    });
    timer.start(10ms);
    QTRY_COMPARE_WITH_TIMEOUT(server->statistics().droppedClients, quint64(1), 30000);
    QTRY_COMPARE(server->sessionCount(), 0);
}

void tst_BoundedSending::reader_isNotDropped()
{
    constexpr auto limit = 1500ms;
    setLimits([limit](Limits &limits) { limits.stalledTime = limit; });
    Reader reader(sockets->url());
    QTRY_VERIFY(reader.isConnected());
    int pings = 0; // one ping in half of the time limit
    connect(&reader.socket, &QWebSocket::disconnected, this, [&pings] { pings = -1000; });
    QTimer ticks;
    connect(&ticks, &QTimer::timeout, this, [&pings] { ++pings; });
    ticks.start(limit);
    QTRY_COMPARE_WITH_TIMEOUT(pings, 4, 30000);
    QVERIFY(reader.isConnected());
    QCOMPARE(server->statistics().droppedClients, quint64(0));
}

// While data for a client is pending, it is not pinged, and no reply to a ping is expected.
void tst_BoundedSending::busyReader_isNotDropped()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    constexpr int keywords = 100;
    constexpr auto limit = 3s;
    setLimits([limit](Limits &limits) { limits.stalledTime = limit; });
    declare(keywords);
    RawClient slow(sockets->url(), tls);
    watch(&slow, keywords);
    QTRY_VERIFY(slow.count > keywords * eventBytes);
    int answered = 0;
    const auto answerPings = [&] {
        for (const int pings = countIn(slow.received, pingFrame); answered < pings; ++answered)
            slow.send(RawClient::frame(pongFrame, {}));
        return answered;
    };
    bool isLong = false;
    QTimer::singleShot(limit * 3 / 2, this, [&isLong] { isLong = true; });
    slow.setReading(1000); // bytes per turn of the event loop
    for (int round = 1; !isLong || server->statistics().sendingBytes == 0; ++round) {
        setAll(keywords, round);
        QCoreApplication::processEvents();
        answerPings();
    }

    slow.setReading(mebibyte);
    const int before = answerPings();
    QTRY_VERIFY_WITH_TIMEOUT(answerPings() >= before + 2, 30000); // one in half of the time limit
    QVERIFY(slow.isConnected());
    QCOMPARE(server->statistics().droppedClients, quint64(0));
}

// Even with this number of keywords and names of this length, the server continues to read.
// Otherwise, the client would consider it unresponsive.
void tst_BoundedSending::slowReader_isAnsweredPings()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    constexpr int keywords = 10000;
    const QString name = q("/plant/%1/k%2").arg(QString(120, QLatin1Char('x')));
    RawClient slow(sockets->url(), tls);
    QVERIFY(slow.open());
    slow.setReading(1000); // bytes per turn of the event loop
    for (int i = 0; i < keywords; ++i) {
        KeywordServer::Keyword keyword;
        keyword.path = name.arg(i);
        keyword.type = q("int");
        QVERIFY(server->declare(keyword));
        slow.send(RawClient::frame(1,
                                   "{\"cmd\":\"keyCreateOrUpdate\",\"payload\":{\"keyword\":\""
                                       + keyword.path.toUtf8() + "\"}}"));
        if (i % 100 == 99) // in parts, as over a network
            QCoreApplication::processEvents();
    }
    slow.send(RawClient::frame(pingFrame, {}));
    // This is less than a connection with 256 kbit/s transfers in the time that a client waits for
    // a pong.
    QTRY_VERIFY_WITH_TIMEOUT(countIn(slow.received, pongFrame) > 0 || slow.count > 400 * kibibyte,
                             60000);
    QCOMPARE(countIn(slow.received, pongFrame), 1);

    slow.setReading(mebibyte);
    QTRY_COMPARE(countIn(slow.received, 1), keywords);
}

// What matters is not the time, but the number of bytes before each pong.
void tst_BoundedSending::slowReader_getsPongsAndTheRightValues()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    constexpr int keywords = 10000;
    declare(keywords);
    RawClient slow(sockets->url(), tls, {}, smallBuffer);
    watch(&slow, keywords);
    slow.setReading(2000); // bytes per turn of the event loop
    std::map<QString, int> values;
    int pongs = 0;
    qint64 pinged = -1; // the bytes received before the ping that has no reply yet
    qint64 longest = 0; // bytes before a pong
    const auto take = [&] {
        const std::vector<Frame> frames = framesIn(slow.received);
        if (frames.empty())
            return;
        const qint64 start = slow.count - slow.received.size();
        for (const Frame &frame : frames) {
            if (frame.opcode != pongFrame)
                continue;
            ++pongs;
            longest = std::max(longest, start + frame.end - std::exchange(pinged, -1));
        }
        for (const auto &[path, value] : valuesIn(slow.received.first(frames.back().end)))
            values[path] = value;
        slow.received.remove(0, frames.back().end);
    };
    int round = 0;
    const auto isRight = [&] {
        take();
        return haveAll(values, keywords, round);
    };
    QTRY_VERIFY_WITH_TIMEOUT(isRight(), 60000);
    while (pongs < 20 || server->statistics().skippedValues < 10 * quint64(keywords)) {
        ++round;
        for (int i = 0; i < keywords; ++i) {
            server->setValue(pathOf(i), round);
            if (i % 500 != 0)
                continue;
            QCoreApplication::processEvents();
            take();
            QVERIFY(slow.isConnected());
            const qint64 waiting = server->statistics().sendingBytes;
            QVERIFY2(waiting <= 64 * kibibyte, qPrintable(QString::number(waiting)));
            if (pinged < 0) {
                pinged = slow.count;
                slow.send(RawClient::frame(pingFrame, {}));
            }
        }
    }
    QVERIFY2(longest < fiveSeconds, qPrintable(QString::number(longest)));
    QTRY_VERIFY_WITH_TIMEOUT(isRight(), 60000);
    QVERIFY(slow.isConnected());
}

void tst_BoundedSending::longMessage_letsPongsPass_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<QByteArray>("command");
    for (const bool tls : {false, true}) {
        const char *scheme = tls ? "wss" : "ws";
        QTest::addRow("%s value", scheme)
            << tls << QByteArray(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/p/text"}})");
        QTest::addRow("%s index", scheme)
            << tls << QByteArray(R"({"cmd":"keyIndex","payload":{"factory":"many"}})");
    }
}

// Even in the middle of the longest message. The link is faster than a slow one, but the bytes
// before the pong are those that a link with 256 kbit/s transfers while a client waits for it.
void tst_BoundedSending::longMessage_letsPongsPass()
{
    QFETCH(bool, tls);
    QFETCH(QByteArray, command);
    if (tls)
        listenWithTls();
    const QString value(256 * kibibyte, QLatin1Char('x'));
    QVERIFY(server->declare({q("/p/text"), q("string"), q("R"), {}, value}));
    for (int i = 0; i < 10000; ++i)
        QVERIFY(server->declare({q("/many/children%1").arg(i), q("int"), q("R"), {}, 0}));
    NarrowLink link(sockets->port(), 256 * kibibyte);
    QUrl url = sockets->url();
    url.setPort(link.port());
    RawClient client(url, tls);
    QVERIFY(client.open());
    client.send(RawClient::frame(1, command));
    QTRY_VERIFY(client.received.size() > 20000);
    const qsizetype before = client.received.size();
    client.send(RawClient::frame(pingFrame, "now"));
    qsizetype answered = 0;
    const auto isAnswered = [&] {
        for (const Frame &frame : framesIn(client.received)) {
            if (frame.opcode == pongFrame && frame.payload == "now")
                answered = frame.end;
        }
        return answered > 0;
    };
    QTRY_VERIFY_WITH_TIMEOUT(isAnswered(), 30000);
    QVERIFY2(answered - before < fiveSeconds, qPrintable(QString::number(answered - before)));

    QTRY_COMPARE_WITH_TIMEOUT(textsIn(client.received).size(), 1, 30000);
    const QJsonObject payload = QJsonDocument::fromJson(textsIn(client.received).constFirst())
                                    .object()
                                    .value(q("payload"))
                                    .toObject();
    if (payload.contains(q("value")))
        QCOMPARE(payload.value(q("value")).toString(), value);
    else
        QCOMPARE(payload.value(q("response")).toArray().size(), 10000);
}

// None of them gets in between.
void tst_BoundedSending::longMessage_isFollowedByOthers()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    declare(100);
    const QString value(3 * mebibyte, QChar(0xe9)); // two bytes each in UTF-8
    QVERIFY(server->declare({q("/p/text"), q("string"), q("R"), {}, value}));
    RawClient client(sockets->url(), tls);
    QVERIFY(client.open());
    client.setReading(0);
    client.send(
        RawClient::frame(1, R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/p/text"}})"));
    for (int i = 0; i < 100; ++i)
        client.send(RawClient::frame(1, createOf(i)));
    QTRY_VERIFY(server->statistics().events > 0);
    setAll(100, 1);
    sockets->sendToAll(q("text"));
    setAll(100, 2);
    client.setReading(mebibyte);
    const auto last = [&] {
        const QByteArrayList texts = textsIn(client.received);
        return texts.isEmpty() ? QByteArray() : texts.constLast();
    };
    QTRY_VERIFY(last().contains("/k99\"") && last().contains("\"value\":2"));
    const QByteArrayList texts = textsIn(client.received);
    QVERIFY(texts.constFirst().contains(value.toUtf8()));
    QCOMPARE(texts.count("text"), 1);
    for (const Frame &frame : framesIn(client.received))
        QVERIFY(frame.payload.size() <= 16 * kibibyte);
}

void tst_BoundedSending::longMessage_isSentBeforeTheConnectionIsClosed()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    const QString value(4 * mebibyte, QLatin1Char('x'));
    QVERIFY(server->declare({q("/p/text"), q("string"), q("R"), {}, value}));
    RawClient client(sockets->url(), tls);
    QVERIFY(client.open());
    client.setReading(0);
    client.send(
        RawClient::frame(1, R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/p/text"}})")
        + RawClient::frame(closeFrame, QByteArray("\x03\xe8", 2)));
    QTRY_VERIFY(server->statistics().events > 0);
    client.setReading(mebibyte);
    QTRY_VERIFY(!framesIn(client.received).empty()
                && framesIn(client.received).back().opcode == closeFrame);
    QCOMPARE(textsIn(client.received).size(), 1);
    QVERIFY(textsIn(client.received).constFirst().contains(value.toUtf8()));
}

// The client has replied, but the reply has not been read.
void tst_BoundedSending::reader_isNotDroppedWhenTheProgramWasBusy()
{
    setLimits([](Limits &limits) { limits.stalledTime = 200ms; });
    declare(1);
    Reader reader(sockets->url());
    QTRY_VERIFY(reader.isConnected());
    reader.create(1);
    QTRY_COMPARE(reader.events, 1);
    QElapsedTimer busy;
    for (busy.start(); !busy.hasExpired(500);)
        setAll(1, int(busy.elapsed()));
    setAll(1, 1000);
    QTRY_COMPARE(reader.values[pathOf(0)], 1000);
    QVERIFY(reader.isConnected());
    QCOMPARE(server->statistics().droppedClients, quint64(0));
}

void tst_BoundedSending::longCommand_isCounted()
{
    QFETCH(bool, tls);
    setLimits([](Limits &limits) { limits.commandBytes = 1000; });
    if (tls)
        listenWithTls();
    const QByteArray signs = QByteArray("\xe2\x82\xac").repeated(300); // three bytes each
    // The server does not wait for the end of a frame that is too long.
    const QByteArrayList tooLong {
        RawClient::frame(1, QByteArray(1001, 'x')),
        RawClient::frame(2, QByteArray(1001, 'x')),
        fragment(1, QByteArray(900, 'x')) + RawClient::frame(0, QByteArray(200, 'x')).left(10),
        fragment(2, QByteArray(900, 'x')) + RawClient::frame(0, QByteArray(200, 'x')).left(10),
        fragment(1, signs) + RawClient::frame(0, signs.left(150)).left(10),
    };
    quint64 count = 0;
    for (const QByteArray &command : tooLong) {
        RawClient client(sockets->url(), tls);
        QVERIFY(client.open());
        QTest::ignoreMessage(
            QtWarningMsg,
            QRegularExpression(q("^disconnected 127\\.0\\.0\\.1:\\d+: it sent a command longer "
                                 "than 1000 bytes$")));
        client.send(command);
        QTRY_VERIFY(!client.isConnected());
        const std::vector<Frame> frames = framesIn(client.received);
        QCOMPARE(frames.size(), std::size_t(1));
        QCOMPARE(frames[0].opcode, closeFrame);
        QCOMPARE(frames[0].payload.left(2), QByteArray("\x03\xf1")); // 1009
        QCOMPARE(server->statistics().longCommands, ++count);
    }
    QTRY_COMPARE(server->sessionCount(), 0);
    QCOMPARE(server->statistics().commands, quint64(0));
    QCOMPARE(server->statistics().droppedClients, quint64(0));
}

// The limit is that of the whole message, and not used up by previous ones.
void tst_BoundedSending::longestCommand_mayComeInFragments()
{
    QFETCH(bool, tls);
    setLimits([](Limits &limits) { limits.commandBytes = 1000; });
    if (tls)
        listenWithTls();
    RawClient client(sockets->url(), tls);
    QVERIFY(client.open());
    for (quint64 count = 1; count <= 5; ++count) {
        client.send(fragment(1, QByteArray(990, 'x')));
        client.send(RawClient::frame(pingFrame, QByteArray(125, 'x')));
        client.send(fragment(0, {}) + RawClient::frame(0, QByteArray(10, 'x')));
        client.send(RawClient::frame(1, QByteArray(1000, 'x')));
        QTRY_COMPARE(server->statistics().commands, 2 * count);
    }
    QVERIFY(client.isConnected());
    QCOMPARE(server->statistics().longCommands, quint64(0));
}

void tst_BoundedSending::flood_isDelayed()
{
    setLimits([](Limits &limits) { limits.commandsPerSecond = 100; });
    declare(1);
    Reader reader(sockets->url());
    QTRY_VERIFY(reader.isConnected());
    for (int i = 1; i <= 500; ++i) {
        reader.socket.sendTextMessage(
            q("{\"cmd\":\"keyUpdate\",\"payload\":{\"keyword\":\"/plant/line0/k0\",\"value\":%1}}")
                .arg(i));
    }
    Reader other(sockets->url());
    QTRY_VERIFY(other.isConnected());
    other.create(1);
    QTRY_VERIFY(other.events > 0); // served between the commands
    QTRY_COMPARE_WITH_TIMEOUT(server->value(pathOf(0)).toInt(), 500, 30000);
    QVERIFY(server->statistics().delayedCommands > 0);
    QCOMPARE(server->sessionCount(), 2);
}

// As on a system where reading cannot be paused.
void tst_BoundedSending::flood_thatCannotBeStoppedIsDropped()
{
    QFETCH(bool, tls);
    setLimits([](Limits &limits) { limits.commandsPerSecond = 1; });
    if (tls)
        listenWithTls();
    RawClient client(sockets->url(), tls);
    QVERIFY(client.open());
    const QByteArray command = RawClient::frame(1, QByteArray(60000, 'x'));
    qint64 sent = 0;
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression(q("^disconnected 127\\.0\\.0\\.1:\\d+: it sends faster than it may, and "
                             "\\d+ bytes of it wait$")));
    const auto isDropped = [&] {
        sockets->readAlways();
        if (client.isConnected() && client.unsentBytes() < mebibyte) {
            client.send(command);
            sent += command.size();
        }
        return server->statistics().droppedClients == 1;
    };
    QVERIFY(waitFor(isDropped, 60000));
    QVERIFY2(sent > 8 * mebibyte && sent < 16 * mebibyte, qPrintable(QString::number(sent)));
    QTRY_COMPARE(server->sessionCount(), 0);
}

void tst_BoundedSending::otherFrames_areDelayed_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<int>("opcode");
    QTest::addColumn<QByteArray>("payload");
    for (const bool tls : {false, true}) {
        const char *scheme = tls ? "wss" : "ws";
        QTest::addRow("%s pings", scheme) << tls << pingFrame << QByteArray();
        QTest::addRow("%s long pings", scheme) << tls << pingFrame << QByteArray(100, 'x');
        QTest::addRow("%s pongs", scheme) << tls << pongFrame << QByteArray();
        QTest::addRow("%s binary messages", scheme) << tls << 2 << QByteArray(1, 'x');
        QTest::addRow("%s empty messages", scheme) << tls << 1 << QByteArray();
    }
}

// Frames that are no commands have the same limit.
void tst_BoundedSending::otherFrames_areDelayed()
{
    QFETCH(bool, tls);
    QFETCH(int, opcode);
    QFETCH(QByteArray, payload);
    setLimits([](Limits &limits) { limits.commandsPerSecond = 1000; });
    if (tls)
        listenWithTls();
    declare(1);
    RawClient client(sockets->url(), tls);
    QVERIFY(client.open());
    const QByteArray frame = RawClient::frame(opcode, payload);
    for (qsizetype sent = 0; sent < 20000; sent += frame.size()) // it counts as 3000 small ones
        client.send(frame);
    client.send(RawClient::frame(1, createOf(0)));
    QTRY_VERIFY(server->statistics().delayedCommands > 0);
    QCOMPARE(server->statistics().events, quint64(0));
    QTRY_COMPARE_WITH_TIMEOUT(server->statistics().events, quint64(1), 120000);
}

// Each command may cause another reply, so the pending data would be unlimited.
void tst_BoundedSending::commands_waitWhileAnswersDo()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    declare(1000);
    RawClient stalled(sockets->url(), tls);
    QVERIFY(stalled.open());
    stalled.keeps = false;
    stalled.setReading(0);
    const QByteArray index = RawClient::frame(
        1, R"({"cmd":"keyIndex","payload":{"factory":"plant","instance":"line0","uuid":"x"}})");
    constexpr int count = 5000;
    for (int i = 0; i < count; ++i)
        stalled.send(index);
    Reader reader(sockets->url());
    QTRY_VERIFY(reader.isConnected());
    reader.create(1);
    QTRY_COMPARE(reader.events, 1);
    const Statistics statistics = server->statistics();
    QVERIFY(statistics.commands < count / 2);
    QVERIFY(statistics.sendingBytes <= 128 * kibibyte);
    stalled.setReading(mebibyte);
    QTRY_COMPARE_WITH_TIMEOUT(server->statistics().commands, quint64(count) + 1, 60000);
}

// These commands are processed before the replies are sent, but each of them leaves a pending
// entry.
void tst_BoundedSending::repeatedCreates_wait()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    declare(1000);
    RawClient stalled(sockets->url(), tls);
    watch(&stalled, 1000);
    QTRY_COMPARE(server->statistics().commands, quint64(1000));
    QTRY_VERIFY(stalled.count > 1000 * eventBytes);
    stalled.setReading(0);
    stalled.keeps = false;
    int round = 0;
    while (server->statistics().sendingBytes < 32 * kibibyte) { // until the connection is full
        setAll(1000, ++round);
        QCoreApplication::processEvents();
    }
    const quint64 before = server->statistics().commands;
    constexpr int count = 40000;
    for (int i = 0; i < count; ++i)
        stalled.send(RawClient::frame(1, createOf(0)));
    Reader reader(sockets->url());
    QTRY_VERIFY(reader.isConnected());
    for (int i = 1; i <= 100; ++i) { // in the meantime
        reader.create(1);
        QTRY_COMPARE(reader.events, i);
    }
    QVERIFY(server->statistics().commands - before < count / 2);
    stalled.setReading(mebibyte);
    QTRY_COMPARE_WITH_TIMEOUT(server->statistics().commands - before, quint64(count) + 100, 60000);
}

QTEST_GUILESS_MAIN(tst_BoundedSending)
#include "tst_boundedsending.moc"
