// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "extras/connection/keywordconnection.h"
#include "pubsub/subscriber.h"
#include "server/clientidentification.h"
#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QMetaProperty>
#include <QtCore/QPointer>
#include <QtCore/QProcess>
#include <QtCore/QScopeGuard>
#include <QtCore/QSet>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslKey>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

#include <algorithm>
#include <cctype>
#include <functional>
#include <memory>
#include <vector>

using namespace pellix::client;
using namespace pellix::server;
using namespace pellix::simulator;
using pellix::extras::PKeywordConnection;

namespace {

using State = PKeywordConnection::State;

const QByteArray secret = "hush-1234";

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QString addressOf(const QTcpServer &server, const char *scheme = "ws")
{
    return q("%1://127.0.0.1:%2").arg(q(scheme)).arg(server.serverPort());
}

QString deadAddress()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return addressOf(server);
}

// Capitalizes header names in the usual way: Qt 6.8 and later send them in lower case.
QByteArray inCapitals(const QByteArray &request)
{
    QByteArrayList lines = request.split('\n');
    for (QByteArray &line : lines) {
        const auto colon = line.indexOf(':');
        for (qsizetype i = 0; i < colon; ++i) {
            if (i == 0 || line.at(i - 1) == '-')
                line[i] = char(std::toupper(line.at(i)));
        }
    }
    return lines.join('\n');
}

// A server that records its messages, and sends the given reply.
class PlainServer : public QTcpServer
{
public:
    explicit PlainServer(const QByteArray &answer = {})
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this, answer] {
            ++visits;
            QTcpSocket *const visitor = nextPendingConnection();
            connect(visitor, &QTcpSocket::readyRead, this, [this, visitor, answer] {
                request += inCapitals(visitor->readAll());
                if (request.endsWith("\r\n\r\n"))
                    visitor->write(answer);
            });
        });
    }

    int visits = 0;
    QByteArray request;
};

// A server that accepts all clients and records them.
class SocketServer : public QWebSocketServer
{
public:
    explicit SocketServer(quint16 port = 0) : QWebSocketServer(QString(), NonSecureMode)
    {
        connect(this, &QWebSocketServer::newConnection, this, [this] {
            while (QWebSocket *const client = nextPendingConnection()) {
                client->setParent(this);
                clients.append(client);
            }
        });
        listening = listen(QHostAddress::LocalHost, port);
    }

    QString url() const { return serverUrl().toString(); }

    bool listening = false;
    QList<QPointer<QWebSocket>> clients;
};

QStringList logged; // the log of the connection's category
QtMessageHandler previousHandler = nullptr;

void recordLog(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (QLatin1String(context.category) == QLatin1String("pellixclient.keyword.connection"))
        logged << text;
    else
        previousHandler(type, context, text);
}

qsizetype warningsOf(const char *begin)
{
    return logged.filter(QRegularExpression(q("^") + q(begin))).size();
}

} // namespace

class tst_KeywordConnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void properties_haveDefaultsAndSignals_data();
    void properties_haveDefaultsAndSignals();
    void delays_haveToBePositive();
    void settings_areTakenTogether();
    void addresses_areTriedInTurn();
    void addresses_thatCannotBeUsedAreLeftOut();
    void addresses_noneCanBeUsed_data();
    void addresses_noneCanBeUsed();
    void lostConnection_beginsWithTheSameAddress();
    void withoutReconnecting_eachAddressIsTriedOnce();
    void autoReconnect_isSetWhileIdle();
    void pauses_growWithinBoundsByChance();
    void pauses_firstIsAnyUpToTheLimit();
    void pauses_beginAnewAfterAStableConnection();
    void retryIn_countsDown();
    void open_endsThePause();
    void close_lastsUntilOpened();
    void close_tellsTheServer();
    void handshake_timesOut_data();
    void handshake_timesOut();
    void handshake_timesOutBeforeTcp();
    void keepAlive_saysWhyAndTakesMessagesForLife();
    void reason_saysHowItWasClosed_data();
    void reason_saysHowItWasClosed();
    void reason_saysWhyItWasRefused_data();
    void reason_saysWhyItWasRefused();
    void reason_isShort();
    void credentials_areSent_data();
    void credentials_areSent();
    void credentials_openAServer();
    void credentials_areNotSentInTheClear_data();
    void credentials_areNotSentInTheClear();
    void credentials_thatCannotBeSent_data();
    void credentials_thatCannotBeSent();
    void secrets_areNotTold();
    void files_haveToBeRight_data();
    void files_haveToBeRight();
    void files_areReadAtEachAttempt();
    void files_thatAreReplacedTakeEffect();
    void authority_isTrustedByThisConnectionAlone();
    void authority_replacesThoseOfTheSystem();
    void certificate_identifiesTheClient();
    void qml_isOpenedWhenComplete();
    void handlers_mayDoAnything_data();
    void handlers_mayDoAnything();
    void destruction_inEveryState_data();
    void destruction_inEveryState();

private:
    QString path(const char *name) const { return directory.filePath(q(name)); }
    QSslCertificate certificate(const char *name) const
    {
        return QSslCertificate::fromPath(path(name)).value(0);
    }
    QSslKey key() const
    {
        QFile file(path("key"));
        return file.open(QIODevice::ReadOnly) ? QSslKey(&file, QSsl::Ec) : QSslKey();
    }
    void listenWithTls(const ClientIdentification &identification = {});

    QTemporaryDir directory;
    KeywordServer keywords;
    std::unique_ptr<FaultyWebSocketServer> server;
};

void tst_KeywordConnection::initTestCase()
{
    QVERIFY2(!QStandardPaths::findExecutable(q("openssl")).isEmpty(),
             "the openssl program is required; scripts/test installs it");
    QVERIFY(directory.isValid());
    QProcess process;
    process.setWorkingDirectory(directory.path());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(
        q("sh"),
        {q("-e"), q("-c"),
         q("new='openssl ecparam -name prime256v1 -genkey -noout'\n"
           "$new -out key; $new -out ca.key; $new -out other.key\n"
           "authority() { openssl req -x509 -days 9 -key $1.key -subj \"$2\" -out $1; }\n"
           "authority ca '/CN=Plant'; authority other '/CN=Other'\n"
           "printf 'subjectAltName = IP:127.0.0.1' >extensions\n"
           "sign() { openssl req -new -key $2 -subj \"$3\" -out csr\n"
           "    openssl x509 -req -in csr -CA ca -CAkey ca.key -CAcreateserial -days 9"
           " -extfile extensions -out $1; }\n"
           "sign server key '/CN=Server'; sign panel key '/CN=panel1'\n"
           "openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out rsa.key\n"
           "openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out rsaother.key\n"
           "sign rsa rsa.key '/CN=panel1'\n"
           "cat key panel >both; cat panel ca >chain\n"
           "openssl pkcs8 -topk8 -nocrypt -in key -out pkcs8.key\n"
           "openssl pkcs8 -topk8 -in key -passout pass:x -out encrypted.key\n"
           "openssl ec -aes128 -in key -passout pass:x -out oldencrypted.key\n"
           "echo nothing >text\n")});
    QVERIFY(process.waitForFinished());
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
             process.readAll().constData());
    keywords.declare({q("/a"), q("int"), q("RW"), QString(), 1});
    QVERIFY(keywords.setRole({q("operator"), {q("/**")}, {q("/**")}}));
    qmlRegisterModule("PellixClient.Keyword", 1, 0);
}

void tst_KeywordConnection::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    logged.clear();
    previousHandler = qInstallMessageHandler(recordLog);
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.connection.debug=true\n"
                                       "pellixclient.server.websocketserver=false"));
    server = std::make_unique<FaultyWebSocketServer>(&keywords);
}

void tst_KeywordConnection::cleanup()
{
    server.reset();
    qInstallMessageHandler(previousHandler);
}

void tst_KeywordConnection::listenWithTls(const ClientIdentification &identification)
{
    QVERIFY(server->setTls(certificate("server"), key()));
    if (!identification.problem().isEmpty() || !identification.tokens.isEmpty()
        || !identification.authorities.isEmpty())
        QVERIFY(server->setIdentification(identification));
    QVERIFY2(server->listen(), qPrintable(server->errorString()));
}

void tst_KeywordConnection::properties_haveDefaultsAndSignals_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QVariant>("initial");
    QTest::addColumn<QVariant>("other");
    const auto row = [](const char *name, const QVariant &initial, const QVariant &other) {
        QTest::newRow(name) << QByteArray(name) << initial << other;
    };
    row("urls", QStringList(), QStringList(q("wss://127.0.0.1:1")));
    row("enabled", true, false);
    row("autoReconnect", true, false);
    row("minRetryDelay", 1000, 20);
    row("maxRetryDelay", 30000, 20);
    row("handshakeTimeout", 10000, 20);
    row("token", QString(), q("t"));
    row("headers", QVariantMap(), QVariantMap {{q("a"), q("b")}});
    row("allowPlainCredentials", false, true);
    row("caFile", QString(), q("a"));
    row("certificateFile", QString(), q("a"));
    row("keyFile", QString(), q("a"));
    row("connected", false, QVariant());
    row("state", int(State::Disconnected), QVariant());
    row("address", QString(), QVariant());
    row("reason", QString(), QVariant());
    row("retryIn", 0, QVariant());
}

void tst_KeywordConnection::properties_haveDefaultsAndSignals()
{
    QFETCH(QByteArray, name);
    QFETCH(QVariant, initial);
    QFETCH(QVariant, other);
    PKeywordConnection connection;
    const QMetaObject *const meta = connection.metaObject();
    const QMetaProperty property = meta->property(meta->indexOfProperty(name));
    QVERIFY(property.isValid() && property.hasNotifySignal());
    QCOMPARE(property.isWritable(), other.isValid());
    QVariant value = property.read(&connection);
    QCOMPARE(value.canConvert<int>() && initial.typeId() == QMetaType::Int ? QVariant(value.toInt())
                                                                           : value,
             initial);
    if (!other.isValid())
        return;

    QSignalSpy changed(&connection, property.notifySignal());
    property.write(&connection, other);
    QCOMPARE(property.read(&connection), other);
    property.write(&connection, other);
    QCOMPARE(changed.count(), 1);
}

void tst_KeywordConnection::delays_haveToBePositive()
{
    PKeywordConnection connection;
    for (const char *name : {"minRetryDelay", "maxRetryDelay", "handshakeTimeout"}) {
        const QVariant before = connection.property(name);
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(q("%1 must be at least 1 ms.* 0$").arg(q(name))));
        connection.setProperty(name, 0);
        QCOMPARE(connection.property(name), before);
    }
}

// In any order, and without opening a connection for each setting.
void tst_KeywordConnection::settings_areTakenTogether()
{
    PlainServer plain;
    PKeywordConnection connection;
    connection.setUrls({addressOf(plain)});
    QCOMPARE(connection.state(), State::Connecting);
    QCOMPARE(connection.address(), addressOf(plain));
    connection.setToken(q("t"));
    QCOMPARE(connection.state(), State::Unusable);
    connection.setAllowPlainCredentials(true);
    QCOMPARE(connection.state(), State::Connecting);
    QCOMPARE(plain.visits, 0);

    QTRY_VERIFY(plain.request.contains("\r\nAuthorization: Bearer t\r\n"));
    QCOMPARE(plain.visits, 1);
}

void tst_KeywordConnection::addresses_areTriedInTurn()
{
    const PlainServer silent;
    const PlainServer refusing("HTTP/1.1 503 Full\r\nContent-Length: 0\r\n\r\n");
    SocketServer good, notTried;
    const QString dead = deadAddress();
    PKeywordConnection connection;
    connection.setHandshakeTimeout(1500);
    QStringList reasons;
    connect(&connection, &PKeywordConnection::reasonChanged, this, [&] {
        if (!connection.reason().isEmpty())
            reasons << connection.address() + q(" ") + connection.reason();
    });
    QList<State> states;
    connect(&connection, &PKeywordConnection::stateChanged, this,
            [&] { states << connection.state(); });

    connection.setUrls({dead, addressOf(silent), addressOf(refusing), good.url(), notTried.url()});

    QTRY_VERIFY(connection.connected());
    QCOMPARE(reasons,
             QStringList({dead + q(" Connection refused"),
                          addressOf(silent) + q(" no answer to the opening handshake within 1.5 s"),
                          addressOf(refusing) + q(" HTTP status 503 (Full)")}));
    QCOMPARE(states, QList<State>({State::Connecting, State::Connected})); // without a pause
    QCOMPARE(connection.address(), good.url());
    QCOMPARE(connection.reason(), QString());
    QVERIFY(notTried.clients.isEmpty());
    QCOMPARE(warningsOf("not connected to"), 3);
}

void tst_KeywordConnection::addresses_thatCannotBeUsedAreLeftOut()
{
    SocketServer good;
    PKeywordConnection connection;
    connection.setUrls({q("http://h"), q("h:1"), good.url()});
    QTRY_VERIFY(connection.connected());
    QCOMPARE(warningsOf("cannot use"), 2);
}

void tst_KeywordConnection::addresses_noneCanBeUsed_data()
{
    QTest::addColumn<QString>("address");
    for (const char *address :
         {"", "host:8765", "http://host", "ws://", "ws://host:99999", "wss:/host"})
        QTest::newRow(address) << q(address);
}

void tst_KeywordConnection::addresses_noneCanBeUsed()
{
    QFETCH(QString, address);
    PKeywordConnection connection;
    connection.setUrls({address});
    QCOMPARE(connection.state(), State::Unusable);
    QCOMPARE(connection.reason(), q("not a WebSocket address such as ws://host:port"));
    QCOMPARE(connection.address(), address);
    connection.setUrls({});
    QCOMPARE(connection.state(), State::Disconnected);
    QCOMPARE(connection.reason(), QString());
}

void tst_KeywordConnection::lostConnection_beginsWithTheSameAddress()
{
    SocketServer first;
    auto second = std::make_unique<SocketServer>();
    const quint16 port = second->serverPort();
    const QString dead = deadAddress();
    PKeywordConnection connection;
    connection.setMinRetryDelay(20);
    connection.setUrls({dead, second->url(), first.url()});
    QTRY_COMPARE(connection.address(), second->url());
    QTRY_VERIFY(connection.connected() && !second->clients.isEmpty());

    QSignalSpy changes(&connection, &PKeywordConnection::connectedChanged);
    second->clients.constFirst()->abort();
    QTRY_COMPARE(changes.count(), 2); // lost and restored: the pause may be short
    QCOMPARE(connection.address(), second->url());
    QCOMPARE(warningsOf("not connected to"), 1); // the dead address was not tried again

    second.reset();
    QTRY_COMPARE(changes.count(), 4);
    QCOMPARE(connection.address(), first.url());
    second = std::make_unique<SocketServer>(port);
    QVERIFY(second->listening);
    QVERIFY(second->clients.isEmpty()); // an existing connection is kept
}

void tst_KeywordConnection::withoutReconnecting_eachAddressIsTriedOnce()
{
    const QStringList dead {deadAddress(), deadAddress()};
    PKeywordConnection connection;
    connection.setAutoReconnect(false);
    connection.setUrls(dead);
    QTRY_COMPARE(connection.state(), State::Disconnected);
    QCOMPARE(connection.reason(), q("Connection refused"));
    QCOMPARE(connection.address(), dead.at(1));
    QCOMPARE(warningsOf("not connected to"), 2);

    SocketServer good;
    connection.setUrls({good.url()});
    QTRY_VERIFY(connection.connected() && !good.clients.isEmpty());
    good.clients.constFirst()->close();
    QTRY_COMPARE(connection.state(), State::Disconnected);
    QCOMPARE(connection.retryIn(), 0);
    connection.open();
    QCOMPARE(connection.state(), State::Connecting);
    QTRY_VERIFY(connection.connected());
}

void tst_KeywordConnection::autoReconnect_isSetWhileIdle()
{
    PKeywordConnection connection;
    connection.setUrls({deadAddress()});
    QTRY_COMPARE(connection.state(), State::Waiting);
    connection.setAutoReconnect(false);
    QCOMPARE(connection.state(), State::Disconnected);
    QCOMPARE(connection.retryIn(), 0);
    connection.setAutoReconnect(true);
    QCOMPARE(connection.state(), State::Waiting);
    QVERIFY(connection.retryIn() > 0);

    connection.close();
    connection.setAutoReconnect(false);
    connection.setAutoReconnect(true);
    QCOMPARE(connection.state(), State::Disconnected);
}

void tst_KeywordConnection::pauses_growWithinBoundsByChance()
{
    constexpr int shortest = 8;
    constexpr int longest = 64;
    PKeywordConnection connection;
    connection.setMinRetryDelay(shortest);
    connection.setMaxRetryDelay(longest);
    QList<int> pauses;
    connect(&connection, &PKeywordConnection::stateChanged, this, [&] {
        if (connection.state() == State::Waiting)
            pauses << connection.retryIn();
    });
    connection.setUrls({deadAddress()});
    QTRY_VERIFY_WITH_TIMEOUT(pauses.size() >= 33, 30000);

    QSet<int> drawn;
    for (int i = 0; i < pauses.size(); ++i) {
        const int limit = std::min(longest, shortest << std::min(i, 10));
        QVERIFY2(pauses.at(i) >= (i == 0 ? 1 : limit / 2) && pauses.at(i) <= limit,
                 qPrintable(q("pause %1: %2").arg(i).arg(pauses.at(i))));
        if (limit == longest)
            drawn << pauses.at(i);
    }
    QVERIFY(drawn.size() > 3);

    connection.setMinRetryDelay(1000); // above the maximum
    pauses.clear();
    QTRY_VERIFY(!pauses.isEmpty());
    QVERIFY(pauses.constLast() >= 500 && pauses.constLast() <= 1000);
}

// The clients of a stopped server are spread over the whole second.
void tst_KeywordConnection::pauses_firstIsAnyUpToTheLimit()
{
    int early = 0;
    constexpr int connections = 40;
    for (int i = 0; i < connections; ++i) {
        PKeywordConnection connection;
        connection.setUrls({deadAddress()});
        int pause = 0;
        connect(&connection, &PKeywordConnection::stateChanged, this, [&] {
            if (connection.state() == State::Waiting && pause == 0)
                pause = connection.retryIn();
        });
        QTRY_VERIFY(pause > 0);
        QVERIFY(pause <= 1000);
        early += pause < 500 ? 1 : 0;
    }
    // Each half is missed by chance once in 10^12 runs.
    QVERIFY2(early > 0 && early < connections, qPrintable(QString::number(early)));
}

void tst_KeywordConnection::pauses_beginAnewAfterAStableConnection()
{
    constexpr int shortest = 10;
    constexpr int longest = 160; // also the time that a connection must last
    SocketServer good;
    PKeywordConnection connection;
    connection.setMinRetryDelay(shortest);
    connection.setMaxRetryDelay(longest);
    QList<int> pauses;
    connect(&connection, &PKeywordConnection::stateChanged, this, [&] {
        if (connection.state() == State::Waiting)
            pauses << connection.retryIn();
    });
    const auto onConnected = connect(&good, &QWebSocketServer::newConnection, this,
                                     [&] { good.clients.constLast()->abort(); });
    connection.setUrls({good.url()});
    // The connections end immediately. If the machine stalls, one of them may last too long, and
    // the pauses start again.
    QTRY_VERIFY(!pauses.isEmpty() && pauses.constLast() >= longest / 2);

    disconnect(onConnected);
    QTRY_VERIFY(connection.connected());
    QElapsedTimer elapsed;
    elapsed.start();
    QTRY_VERIFY(elapsed.elapsed() > longest);
    pauses.clear();
    good.clients.constLast()->abort();
    QTRY_COMPARE(pauses.size(), 1);
    QVERIFY2(pauses.constFirst() <= shortest, qPrintable(QString::number(pauses.constFirst())));
}

void tst_KeywordConnection::retryIn_countsDown()
{
    PKeywordConnection connection;
    connection.setMinRetryDelay(1400); // at least 1400 for the second pause as well
    QList<int> told;
    connect(&connection, &PKeywordConnection::retryInChanged, this,
            [&] { told << connection.retryIn(); });
    connection.setUrls({deadAddress()});
    QTRY_COMPARE(connection.state(), State::Waiting);
    QTRY_VERIFY_WITH_TIMEOUT(told.count(0) >= 2, 10000);

    told.remove(0, told.indexOf(0) + 1);
    told.resize(told.indexOf(0) + 1);
    QVERIFY(told.size() >= 3); // the pause, whole seconds, 0
    QVERIFY(told.constFirst() >= 1400 && told.constFirst() <= 2800);
    for (qsizetype i = 1; i < told.size(); ++i)
        QVERIFY(told.at(i) % 1000 == 0 && told.at(i) < told.at(i - 1));
}

void tst_KeywordConnection::open_endsThePause()
{
    SocketServer gone;
    const QString url = gone.url();
    const quint16 port = gone.serverPort();
    gone.close();
    PKeywordConnection connection;
    connection.setMinRetryDelay(1);
    connection.setMaxRetryDelay(1000000);
    connection.setUrls({url});
    QTRY_COMPARE(connection.state(), State::Waiting);
    connection.setMinRetryDelay(1000000);
    QTRY_VERIFY(connection.retryIn() >= 500000); // not the first pause

    connection.open(); // no server yet
    QCOMPARE(connection.state(), State::Connecting);
    QCOMPARE(connection.retryIn(), 0);
    QCOMPARE(connection.reason(), q("Connection refused")); // until there is another reason
    connection.open(); // has no further effect
    QTRY_COMPARE(connection.state(), State::Waiting);
    const SocketServer back(port);
    QVERIFY(back.listening);
    connection.open();
    QTRY_VERIFY(connection.connected());
    QTRY_COMPARE(back.clients.size(), 1);
    connection.open();
    QVERIFY(connection.connected());
}

void tst_KeywordConnection::close_lastsUntilOpened()
{
    SocketServer good;
    PKeywordConnection connection, witness;
    for (PKeywordConnection *each : {&connection, &witness}) {
        each->setMinRetryDelay(20);
        each->setUrls({good.url()});
    }
    QTRY_VERIFY(connection.connected() && witness.connected());
    connection.close();
    QVERIFY(!connection.enabled() && !connection.connected());
    QCOMPARE(connection.state(), State::Disconnected);
    QCOMPARE(connection.reason(), QString()); // disconnected on request
    connection.setUrls({good.url(), good.url()});
    QCOMPARE(connection.state(), State::Disconnected);
    QTRY_VERIFY(good.clients.size() == 2);
    QSignalSpy returned(&witness, &PKeywordConnection::connectedChanged);
    for (const auto &client : std::as_const(good.clients)) {
        if (client && client->state() == QAbstractSocket::ConnectedState)
            client->abort();
    }
    QTRY_COMPARE(returned.count(), 2);
    QCOMPARE(connection.state(), State::Disconnected);

    connection.open();
    QVERIFY(connection.enabled());
    QTRY_VERIFY(connection.connected());
}

void tst_KeywordConnection::close_tellsTheServer()
{
    SocketServer good;
    PKeywordConnection connection;
    connection.setUrls({good.url()});
    QTRY_VERIFY(connection.connected() && !good.clients.isEmpty());
    const QSignalSpy closed(good.clients.constFirst(), &QWebSocket::disconnected);
    connection.close();
    QTRY_COMPARE(closed.count(), 1);
    QCOMPARE(good.clients.constFirst()->closeCode(), QWebSocketProtocol::CloseCodeNormal);
}

void tst_KeywordConnection::handshake_timesOut_data()
{
    QTest::addColumn<QByteArray>("scheme");
    QTest::addColumn<QString>("reason");
    QTest::newRow("opening handshake")
        << QByteArray("ws") << q("no answer to the opening handshake within 0.15 s");
    QTest::newRow("TLS") << QByteArray("wss") << q("no answer to the TLS handshake within 0.15 s");
}

void tst_KeywordConnection::handshake_timesOut()
{
    QFETCH(QByteArray, scheme);
    QFETCH(QString, reason);
    const PlainServer silent;
    PKeywordConnection connection;
    connection.setHandshakeTimeout(150);
    connection.setMinRetryDelay(10);
    connection.setUrls({addressOf(silent, scheme)});
    QTRY_COMPARE(connection.reason(), reason);
    QTRY_VERIFY(silent.visits >= 3); // the attempts continue
    QTRY_COMPARE(connection.reason(), reason);
}

// The listen backlog of the server is full, and the system no longer replies.
void tst_KeywordConnection::handshake_timesOutBeforeTcp()
{
#ifndef Q_OS_LINUX
    QSKIP("Only Linux drops connections when the backlog is full.");
#endif
    QTcpServer server;
#if QT_VERSION >= QT_VERSION_CHECK(6, 3, 0)
    server.setListenBacklogSize(1);
#endif
    QVERIFY(server.listen(QHostAddress::LocalHost));
    server.pauseAccepting();
    std::vector<std::unique_ptr<QTcpSocket>> waiting;
    const auto isFull = [&] {
        return std::any_of(waiting.cbegin(), waiting.cend(), [](const auto &socket) {
            return socket->state() != QAbstractSocket::ConnectedState;
        });
    };
    do {
        waiting.push_back(std::make_unique<QTcpSocket>());
        waiting.back()->connectToHost(QHostAddress::LocalHost, server.serverPort());
        waiting.back()->waitForConnected(500);
    } while (!isFull() && waiting.size() < 50);
    QVERIFY(isFull());

    PKeywordConnection connection;
    connection.setHandshakeTimeout(150);
    connection.setUrls({addressOf(server)});
    QTRY_COMPARE(connection.reason(), q("cannot be reached within 0.15 s"));
}

// Takes two of the fixed intervals of 5 s.
void tst_KeywordConnection::keepAlive_saysWhyAndTakesMessagesForLife()
{
    // Two servers that do not reply to pings, one of which sends messages.
    const auto shake = [](QTcpSocket *visitor, const std::function<void()> &then) {
        connect(visitor, &QTcpSocket::readyRead, visitor, [visitor, then] {
            const QByteArray request = visitor->readAll();
            const auto start = request.indexOf("Sec-WebSocket-Key: ") + 19;
            if (start < 19)
                return;
            const QByteArray accept =
                QCryptographicHash::hash(request.mid(start, request.indexOf('\r', start) - start)
                                             + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11",
                                         QCryptographicHash::Sha1);
            visitor->write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                           "Connection: Upgrade\r\nSec-WebSocket-Accept: "
                           + accept.toBase64() + "\r\n\r\n");
            then();
        });
    };
    QTcpServer silent, talking;
    QTimer talk;
    connect(&silent, &QTcpServer::newConnection, this,
            [&] { shake(silent.nextPendingConnection(), [] {}); });
    connect(&talking, &QTcpServer::newConnection, this, [&] {
        QTcpSocket *const visitor = talking.nextPendingConnection();
        connect(&talk, &QTimer::timeout, visitor, [visitor] { visitor->write("\x81\x02{}"); });
        shake(visitor, [&] { talk.start(100); });
    });
    QVERIFY(silent.listen(QHostAddress::LocalHost) && talking.listen(QHostAddress::LocalHost));
    PKeywordConnection toTalking, toSilent; // their ticks occur in this order
    toTalking.setUrls({addressOf(talking)});
    QTRY_VERIFY(toTalking.connected());
    toSilent.setUrls({addressOf(silent)});
    QTRY_VERIFY(toSilent.connected());

    QTRY_VERIFY_WITH_TIMEOUT(!toSilent.connected(), 20000);

    QCOMPARE(toSilent.reason(), q("no answer to a ping within 5 s"));
    QVERIFY(toTalking.connected());
}

void tst_KeywordConnection::reason_saysHowItWasClosed_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("reason");
    QTest::newRow("in order") << 1000 << QString() << q("closed with code 1000 (normal)");
    QTest::newRow("policy") << 1008 << q("token expired")
                            << q("closed with code 1008 (policy violation): token expired");
    QTest::newRow("own code") << 4001 << q("no licence") << q("closed with code 4001: no licence");
    QTest::newRow("aborted") << 0 << QString() << q("The remote host closed the connection");
}

void tst_KeywordConnection::reason_saysHowItWasClosed()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    QFETCH(QString, reason);
    SocketServer good;
    PKeywordConnection connection;
    connection.setMinRetryDelay(100000);
    connection.setUrls({good.url()});
    QTRY_VERIFY(connection.connected() && !good.clients.isEmpty());
    QStringList seen; // the reason when the loss is reported
    connect(&connection, &PKeywordConnection::connectedChanged, this,
            [&] { seen << connection.reason(); });
    if (code == 0)
        good.clients.constFirst()->abort();
    else
        good.clients.constFirst()->close(QWebSocketProtocol::CloseCode(code), text);
    QTRY_VERIFY(!connection.connected());
    QCOMPARE(connection.reason(), reason);
    QCOMPARE(seen, QStringList(reason));
    QCOMPARE(connection.state(), State::Waiting);
    connection.open(); // ends the pause
    QTRY_VERIFY(connection.connected());
    QCOMPARE(connection.reason(), QString());
}

void tst_KeywordConnection::reason_saysWhyItWasRefused_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("reason"); // empty: any reason
    QTest::newRow("full") << QByteArray("HTTP/1.1 503 Service Unavailable\r\n\r\n")
                          << q("HTTP status 503 (Service Unavailable)");
    QTest::newRow("who is it") << QByteArray("HTTP/1.1 401 Unauthorized\r\n"
                                             "WWW-Authenticate: Bearer\r\n\r\n")
                               << q("HTTP status 401 (Unauthorized)");
    QTest::newRow("odd phrase") << QByteArray("HTTP/1.1 403 No (really) not 500.\r\n\r\n")
                                << q("HTTP status 403 (No (really) not 500.)");
    QTest::newRow("no web server") << QByteArray("220 mail ready\r\n\r\n") << QString();
    QTest::newRow("nothing") << QByteArray() << QString();
}

void tst_KeywordConnection::reason_saysWhyItWasRefused()
{
    QFETCH(QByteArray, answer);
    QFETCH(QString, reason);
    QTcpServer refusing;
    QVERIFY(refusing.listen(QHostAddress::LocalHost));
    connect(&refusing, &QTcpServer::newConnection, this, [&] {
        QTcpSocket *const visitor = refusing.nextPendingConnection();
        connect(visitor, &QTcpSocket::readyRead, visitor, [visitor, answer] {
            visitor->write(answer);
            visitor->disconnectFromHost();
        });
    });
    PKeywordConnection connection;
    connection.setUrls({addressOf(refusing)});
    QTRY_COMPARE(connection.state(), State::Waiting);
    QVERIFY2(reason.isEmpty() ? !connection.reason().isEmpty() : connection.reason() == reason,
             qPrintable(connection.reason()));
    QVERIFY2(!connection.reason().contains(q("QWebSocket")), qPrintable(connection.reason()));
}

void tst_KeywordConnection::reason_isShort()
{
    const PlainServer refusing("HTTP/1.1 503 " + QByteArray(4000, 'x') + "\r\n\r\n");
    PKeywordConnection connection;
    connection.setUrls({addressOf(refusing)});
    QTRY_COMPARE(connection.state(), State::Waiting);
    QVERIFY(connection.reason().size() <= 500);
}

void tst_KeywordConnection::credentials_areSent_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("token");
    QTest::addColumn<QVariantMap>("headers");
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("none") << QString() << QString() << QVariantMap() << QByteArray();
    QTest::newRow("token") << QString() << q("a.b-c_d~e+f/g=") << QVariantMap()
                           << QByteArray("Authorization: Bearer a.b-c_d~e+f/g=");
    QTest::newRow("user and password")
        << q("me:pa%3Ass%40@") << QString() << QVariantMap()
        << "Authorization: Basic " + QByteArray("me:pa:ss@").toBase64();
    QTest::newRow("user alone") << q("me@") << QString() << QVariantMap()
                                << "Authorization: Basic " + QByteArray("me:").toBase64();
    QTest::newRow("user before token") << q("me:x@") << q("t") << QVariantMap()
                                       << "Authorization: Basic " + QByteArray("me:x").toBase64();
    QTest::newRow("header") << QString() << QString() << QVariantMap {{q("X-Plant"), q("north 2")}}
                            << QByteArray("X-Plant: north 2");
}

void tst_KeywordConnection::credentials_areSent()
{
    QFETCH(QString, user);
    QFETCH(QString, token);
    QFETCH(QVariantMap, headers);
    QFETCH(QByteArray, sent);
    const PlainServer plain;
    PKeywordConnection connection;
    connection.setToken(token);
    connection.setHeaders(headers);
    connection.setAllowPlainCredentials(true);
    connection.setUrls({addressOf(plain).insert(5, user)});
    QTRY_VERIFY(plain.request.endsWith("\r\n\r\n"));
    QVERIFY2(sent.isEmpty() || plain.request.contains("\r\n" + sent + "\r\n"), plain.request);
    QCOMPARE(plain.request.count("Authorization:"), sent.startsWith("Auth") ? 1 : 0);
    QVERIFY2(!plain.request.contains('@'), plain.request); // neither in Host nor in the target
}

void tst_KeywordConnection::credentials_openAServer()
{
    ClientIdentification identification;
    const QByteArray token = identification.tokens.create(q("panel"), q("operator"));
    listenWithTls(identification);
    PKeywordConnection connection;
    connection.setMinRetryDelay(10);
    connection.setCaFile(path("ca"));
    connection.setUrls({server->url().toString()});
    QTRY_COMPARE(connection.reason(), q("HTTP status 401 (Unauthorized)"));
    QVERIFY(!connection.connected());

    connection.setToken(QString::fromLatin1(token));
    PKeywordProxy proxy;
    proxy.setClient(&connection);
    proxy.setKeyword(q("/a"));
    QTRY_VERIFY(connection.connected());
    QTRY_COMPARE(proxy.value().toInt(), 1);
}

void tst_KeywordConnection::credentials_areNotSentInTheClear_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("token");
    QTest::addColumn<QVariantMap>("headers");
    QTest::newRow("token") << QString() << q("hush") << QVariantMap();
    QTest::newRow("password") << q("me:hush@") << QString() << QVariantMap();
    QTest::newRow("header") << QString() << QString() << QVariantMap {{q("X-Key"), q("hush")}};
}

void tst_KeywordConnection::credentials_areNotSentInTheClear()
{
    QFETCH(QString, user);
    QFETCH(QString, token);
    QFETCH(QVariantMap, headers);
    const PlainServer plain;
    const QString address = addressOf(plain).insert(5, user);
    SocketServer witness; // shows that the time for an attempt has passed
    PKeywordConnection connection, other;
    connection.setToken(token);
    connection.setHeaders(headers);
    connection.setUrls({address});
    other.setUrls({witness.url()});

    QCOMPARE(connection.state(), State::Unusable);
    QCOMPARE(connection.reason(),
             q("credentials are not sent over ws://, which is not encrypted; use wss://"));
    QTRY_VERIFY(other.connected());
    QCOMPARE(plain.visits, 0);
    QVERIFY(!connection.address().contains(q("hush")));
    QVERIFY2(!logged.join(QString()).contains(q("hush")), qPrintable(logged.join(q("\n"))));

    connection.setAllowPlainCredentials(true);
    QTRY_COMPARE(plain.visits, 1);
}

void tst_KeywordConnection::credentials_thatCannotBeSent_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<QVariantMap>("headers");
    QTest::addColumn<QString>("reason");
    const QString badToken =
        q("the token cannot be sent: it contains a space or a character that is not ASCII");
    int row = 0;
    for (const char *token : {"hush\n", "hush hush", "h\u00fcsh", "hush\r\nHost: x"})
        QTest::addRow("token %d", ++row) << q(token) << QVariantMap() << badToken;
    for (const char *name : {"Host", "upgrade", "Sec-WebSocket-Key", "a b", "", "a:", "a\r\nb"}) {
        QTest::addRow("header %d", ++row) << QString() << QVariantMap {{q(name), q("hush")}}
                                          << q("the header \"%1\" cannot be sent").arg(q(name));
    }
    QTest::newRow("value") << QString() << QVariantMap {{q("X-A"), q("hush\r\nHost: x")}}
                           << q("the value of the header \"X-A\" cannot be sent: it contains a "
                                "character that is not printable ASCII");
    QTest::newRow("both") << q("t") << QVariantMap {{q("authorization"), q("hush")}}
                          << q("there are both a token and a header \"Authorization\": only one "
                               "can be sent");
}

void tst_KeywordConnection::credentials_thatCannotBeSent()
{
    QFETCH(QString, token);
    QFETCH(QVariantMap, headers);
    QFETCH(QString, reason);
    const PlainServer plain;
    PKeywordConnection connection;
    connection.setAllowPlainCredentials(true);
    connection.setToken(token);
    connection.setHeaders(headers);
    connection.setUrls({addressOf(plain)});
    QCOMPARE(connection.state(), State::Unusable);
    QCOMPARE(connection.reason(), reason);
    QVERIFY(!logged.join(QString()).contains(q("hush")));
}

// Regardless of what the server repeats.
void tst_KeywordConnection::secrets_areNotTold()
{
    PKeywordConnection connection;
    connection.setAllowPlainCredentials(true);
    connection.setMinRetryDelay(10);
    QStringList told;
    const auto note = [&] { told << connection.reason() << connection.address(); };
    connect(&connection, &PKeywordConnection::reasonChanged, this, note);
    connect(&connection, &PKeywordConnection::addressChanged, this, note);
    connect(&connection, &PKeywordConnection::connectedChanged, this, note);

    const PlainServer refusing("HTTP/1.1 403 no " + secret + " here\r\n\r\n");
    connection.setToken(q(secret));
    connection.setUrls({addressOf(refusing) + q("/t/%1?token=%1").arg(q(secret))});
    QTRY_COMPARE(connection.reason(), q("HTTP status 403 (no *** here)"));

    SocketServer good;
    connect(&good, &QWebSocketServer::newConnection, this, [&] {
        good.clients.constLast()->close(QWebSocketProtocol::CloseCodePolicyViolated,
                                        q("who is ") + q(secret));
    });
    connection.setUrls({good.url().insert(5, q("me:%1@").arg(q(secret)))});
    QTRY_COMPARE(connection.reason(), q("closed with code 1008 (policy violation): who is ***"));
    QVERIFY2(connection.address().contains(q("me:***@")), qPrintable(connection.address()));

    QVERIFY(told.size() >= 4 && logged.size() >= 4);
    QVERIFY2(!told.join(q("\n")).contains(q(secret)), qPrintable(told.join(q("\n"))));
    QVERIFY2(!logged.join(q("\n")).contains(q(secret)), qPrintable(logged.join(q("\n"))));
    QVERIFY(!logged.join(q("\n")).contains(QString::fromLatin1(secret.toBase64())));
}

void tst_KeywordConnection::files_haveToBeRight_data()
{
    QTest::addColumn<QByteArray>("authorities");
    QTest::addColumn<QByteArray>("certificate");
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QString>("reason"); // %1: the folder; empty: valid files
    const auto row = [](const char *name, const char *ca, const char *certificate, const char *key,
                        const char *reason) {
        QTest::newRow(name) << QByteArray(ca) << QByteArray(certificate) << QByteArray(key)
                            << q(reason);
    };
    row("authorities", "ca", "", "", "");
    row("several authorities", "chain", "", "", "");
    row("certificate", "ca", "panel", "key", "");
    row("key in another wrapping", "ca", "panel", "pkcs8.key", "");
    row("RSA", "ca", "rsa", "rsa.key", "");
    row("with its authority", "ca", "chain", "key", "");
    row("both in one file", "ca", "both", "both", "");
    row("no such authorities", "none", "", "", "%1/none: No such file or directory");
    row("no authority in it", "key", "", "", "%1/key: contains no PEM certificate");
    row("no such certificate", "ca", "none", "key", "%1/none: No such file or directory");
    row("no certificate in it", "ca", "text", "key", "%1/text: contains no PEM certificate");
    row("no such key", "ca", "panel", "none", "%1/none: No such file or directory");
    row("no key in it", "ca", "panel", "text", "%1/text: contains no PEM private key (RSA or EC)");
    row("key alone", "ca", "", "key",
        "the private key %1/key cannot be used without its certificate");
    row("certificate alone", "ca", "panel", "",
        "the certificate %1/panel cannot be used without its private key");
    row("key of another", "ca", "panel", "other.key",
        "the private key in %1/other.key does not belong to the certificate in %1/panel");
    row("RSA key of another", "ca", "rsa", "rsaother.key",
        "the private key in %1/rsaother.key does not belong to the certificate in %1/rsa");
    row("key of another kind", "ca", "panel", "rsa.key",
        "the private key in %1/rsa.key does not belong to the certificate in %1/panel");
    for (const char *key : {"encrypted.key", "oldencrypted.key"}) {
        const QString reason = q("the private key in %1/%2 is encrypted; use a decrypted copy: "
                                 "openssl pkey -in %1/%2 -out plain.key")
                                   .replace(q("%2"), q(key));
        QTest::newRow(key) << QByteArray("ca") << QByteArray("panel") << QByteArray(key) << reason;
    }
}

void tst_KeywordConnection::files_haveToBeRight()
{
    QFETCH(QByteArray, authorities);
    QFETCH(QByteArray, certificate);
    QFETCH(QByteArray, key);
    QFETCH(QString, reason);
    listenWithTls();
    const auto fileName = [&](const QByteArray &name) {
        return name.isEmpty() ? QString() : path(name);
    };
    PKeywordConnection connection;
    connection.setCaFile(fileName(authorities));
    connection.setCertificateFile(fileName(certificate));
    connection.setKeyFile(fileName(key));
    connection.setUrls({server->url().toString()});
    if (reason.isEmpty()) {
        QTRY_VERIFY2(connection.connected(), qPrintable(connection.reason()));
        return;
    }
    QTRY_COMPARE(connection.reason(), reason.replace(q("%1"), directory.path()));
    QCOMPARE(connection.state(), State::Waiting); // the files may be replaced
    QCOMPARE(server->clientCount(), 0);
}

void tst_KeywordConnection::files_areReadAtEachAttempt()
{
    listenWithTls();
    const QString file = path("later");
    PKeywordConnection connection;
    connection.setMinRetryDelay(10);
    connection.setMaxRetryDelay(10);
    connection.setCaFile(QUrl::fromLocalFile(file).toString()); // as returned by file dialogs
    connection.setUrls({server->url().toString()});
    QTRY_COMPARE(connection.reason(), file + q(": No such file or directory"));
    QVERIFY(QFile::copy(path("ca"), file));
    QTRY_VERIFY(connection.connected());
}

void tst_KeywordConnection::files_thatAreReplacedTakeEffect()
{
    listenWithTls();
    const QString file = path("replaced");
    const auto replaceBy = [&](const char *name) {
        return (!QFile::exists(file) || QFile::remove(file)) && QFile::copy(path(name), file);
    };
    PKeywordConnection connection;
    connection.setMinRetryDelay(10);
    connection.setMaxRetryDelay(10);
    connection.setCaFile(file);
    QVERIFY(replaceBy("ca"));
    connection.setUrls({server->url().toString()});
    QTRY_VERIFY(connection.connected());
    for (const char *const name : {"other", "ca", "key", "ca"}) {
        const bool isTrusted = qstrcmp(name, "ca") == 0;
        QVERIFY(replaceBy(name));
        connection.close();
        connection.open();
        QTRY_COMPARE(connection.connected(), isTrusted);
        QTRY_VERIFY(isTrusted || connection.state() == State::Waiting);
    }
}

void tst_KeywordConnection::authority_isTrustedByThisConnectionAlone()
{
    const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
    listenWithTls();
    PKeywordConnection trusting, other;
    trusting.setCaFile(path("ca"));
    for (PKeywordConnection *connection : {&trusting, &other})
        connection->setUrls({server->url().toString()});
    QTRY_VERIFY(trusting.connected());
    QTRY_COMPARE(other.state(), State::Waiting);
    QVERIFY2(other.reason().contains(q("certificate")), qPrintable(other.reason()));
    QVERIFY(QSslConfiguration::defaultConfiguration() == before);
}

void tst_KeywordConnection::authority_replacesThoseOfTheSystem()
{
    QSslConfiguration ours = QSslConfiguration::defaultConfiguration();
    const QSslConfiguration before = ours;
    ours.setCaCertificates({certificate("ca")});
    QSslConfiguration::setDefaultConfiguration(ours);
    const auto restore = qScopeGuard([&] { QSslConfiguration::setDefaultConfiguration(before); });
    listenWithTls();
    PKeywordConnection byDefault, strict;
    strict.setCaFile(path("other"));
    for (PKeywordConnection *connection : {&byDefault, &strict})
        connection->setUrls({server->url().toString()});
    QTRY_VERIFY(byDefault.connected());
    QTRY_COMPARE(strict.state(), State::Waiting);
}

void tst_KeywordConnection::certificate_identifiesTheClient()
{
    ClientIdentification identification;
    identification.authorities = {certificate("ca")};
    identification.certificates = {{q("CN=panel1"), q("Panel 1"), q("operator")}};
    listenWithTls(identification);
    PKeywordConnection known, unknown;
    known.setCertificateFile(path("panel"));
    known.setKeyFile(path("key"));
    for (PKeywordConnection *connection : {&known, &unknown}) {
        connection->setCaFile(path("ca"));
        connection->setUrls({server->url().toString()});
    }
    QTRY_VERIFY2(known.connected(), qPrintable(known.reason()));
    QTRY_COMPARE(unknown.reason(), q("HTTP status 401 (Unauthorized)"));
}

// Objects created by an incubator require several turns of the event loop until they are complete.
void tst_KeywordConnection::qml_isOpenedWhenComplete()
{
    const PlainServer plain;
    SocketServer good;
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import PellixClient.Keyword.Extras.Core\n"
                      "PKeywordConnection {\n"
                      "    urls: '"
                          + addressOf(plain).toUtf8()
                          + "'\n"
                            "    allowPlainCredentials: true\n"
                            "    token: ['a', 'b'].join('')\n"
                            "}\n",
                      {});
    QVERIFY2(component.isReady(), qPrintable(component.errorString()));
    const std::unique_ptr<QObject> object(component.beginCreate(engine.rootContext()));
    auto *const connection = qobject_cast<PKeywordConnection *>(object.get());
    QVERIFY(connection);
    QCOMPARE(connection->state(), State::Disconnected);
    PKeywordConnection witness;
    witness.setUrls({good.url()});
    QTRY_VERIFY(witness.connected());
    QCOMPARE(plain.visits, 0);

    component.completeCreate();
    QCOMPARE(connection->state(), State::Connecting);
    QTRY_VERIFY(plain.request.contains("\r\nAuthorization: Bearer ab\r\n"));
    QCOMPARE(plain.visits, 1);
}

void tst_KeywordConnection::handlers_mayDoAnything_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QByteArray>("action");
    for (const char *signal :
         {"connectedChanged", "stateChanged", "addressChanged", "reasonChanged", "retryInChanged",
          "urlsChanged", "enabledChanged", "autoReconnectChanged", "tokenChanged", "value"}) {
        for (const char *action : {"delete", "urls", "close", "open", "token", "again"})
            QTest::addRow("%s: %s", signal, action) << QByteArray(signal) << QByteArray(action);
    }
}

// At each emission of the signal during a run with every kind of event.
void tst_KeywordConnection::handlers_mayDoAnything()
{
    QFETCH(QByteArray, signal);
    QFETCH(QByteArray, action);
    const QString dead = deadAddress();
    SocketServer other;
    int times = 1;
    for (int time = 1; time <= times; ++time) {
        SocketServer good;
        const QPointer<PKeywordConnection> connection(new PKeywordConnection);
        connection->setMinRetryDelay(2);
        connection->setMaxRetryDelay(2);
        PSubscriber subscriber;
        subscriber.setPublisher(connection->publisher());
        subscriber.setTopic(q("/a"));
        int emitted = 0;
        bool acted = false;
        QObject scope;
        const auto handle = [&] {
            if (++emitted != time || acted)
                return;
            acted = true;
            if (action == "delete")
                delete connection.data();
            else if (action == "urls")
                connection->setUrls({other.url()});
            else if (action == "close")
                connection->close();
            else if (action == "open")
                connection->open();
            else if (action == "token")
                connection->setToken(q("t"));
            else
                connection->setUrls({dead, good.url(), dead});
        };
        // Connects a lambda to a signal by name.
        struct Relay : QObject
        {
            std::function<void()> handler;
            int qt_metacall(QMetaObject::Call call, int id, void **arguments) override
            {
                id = QObject::qt_metacall(call, id, arguments);
                if (id == 0 && call == QMetaObject::InvokeMetaMethod)
                    handler();
                return id - 1;
            }
        } relay;
        relay.handler = handle;
        if (signal == "value") {
            connect(&subscriber, &PSubscriber::valueChanged, &scope, handle);
        } else {
            const int index =
                connection->metaObject()->indexOfSignal(QByteArray(signal + "()").constData());
            QVERIFY(index >= 0);
            QMetaObject::connect(connection.data(), index, &relay,
                                 QObject::staticMetaObject.methodCount());
        }

        int losses = 0;
        connect(connection.data(), &PKeywordConnection::connectedChanged, &scope,
                [&] { losses += connection->connected() ? 0 : 1; });

        const auto alive = [&] { return connection && !acted; };
        connection->setUrls({dead, good.url()});
        QTRY_VERIFY(!alive() || (connection->connected() && !good.clients.isEmpty()));
        if (alive()) {
            good.clients.constLast()->sendTextMessage(
                q(R"({"cmd":"keyEvent","payload":{"keyword":"/a","value":1}})"));
            good.clients.constLast()->close();
        }
        QTRY_VERIFY(!alive() || losses > 0);
        QTRY_VERIFY(!alive() || connection->connected());
        if (alive())
            connection->setAutoReconnect(false);
        if (alive())
            connection->setToken(q("x"));
        if (alive())
            connection->setToken(QString());
        if (alive())
            connection->setEnabled(false);
        if (alive())
            connection->setAutoReconnect(true);
        if (time == 1)
            times = std::max(1, emitted);
        if (connection && action != "close")
            connection->open();
        if (connection && connection->enabled()
            && (action == "urls" || action == "again" || action == "open")) {
            connection->setToken(QString());
            QTRY_VERIFY(!connection || connection->connected());
        }
        delete connection.data();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (!acted && signal != "retryInChanged")
            QVERIFY2(emitted >= time - 2, "the signal did not come");
    }
}

void tst_KeywordConnection::destruction_inEveryState_data()
{
    QTest::addColumn<State>("state");
    QTest::newRow("disconnected") << State::Disconnected;
    QTest::newRow("connecting") << State::Connecting;
    QTest::newRow("connected") << State::Connected;
    QTest::newRow("waiting") << State::Waiting;
    QTest::newRow("unusable") << State::Unusable;
}

void tst_KeywordConnection::destruction_inEveryState()
{
    QFETCH(State, state);
    const SocketServer good;
    const PlainServer silent;
    auto connection = std::make_unique<PKeywordConnection>();
    if (state == State::Connected)
        connection->setUrls({good.url()});
    else if (state == State::Connecting)
        connection->setUrls({addressOf(silent)});
    else if (state == State::Waiting)
        connection->setUrls({deadAddress()});
    else if (state == State::Unusable)
        connection->setUrls({q("word")});
    QTRY_COMPARE(connection->state(), state);
    QTRY_VERIFY(state != State::Connecting || silent.visits == 1);
    const QSignalSpy told(connection.get(), &PKeywordConnection::stateChanged);
    logged.clear();
    connection.reset();
    QCOMPARE(told.count(), 0);
    QCOMPARE(logged, QStringList());
}

QTEST_GUILESS_MAIN(tst_KeywordConnection)
#include "tst_keywordconnection.moc"
