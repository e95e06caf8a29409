// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/libmosquitto.h"
#include "gateway/mqtt/mqttlink.h"

#include "tests/gateway/mqtt/broker.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QRegularExpression>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

using pellix::gateway::MqttLink;
using pellix::gateway::MqttMessage;
using pellix::gateway::MqttOptions;
using namespace std::chrono_literals;

namespace {

constexpr int longTime = 60000; // in milliseconds; the time that a loaded machine may take

MqttOptions optionsFor(quint16 port)
{
    MqttOptions options;
    options.host = QStringLiteral("127.0.0.1");
    options.port = port;
    options.keepAlive = 5s;
    return options;
}

struct Received
{
    QByteArray topic;
    QByteArray payload;
    bool isRetained;
    qint64 expiry;
};

// A link that records its signals.
struct Link
{
    explicit Link(const MqttOptions &options) : link(options)
    {
        link.setMessageHandler([this](const MqttMessage &message) {
            received.append({message.topic.toByteArray(), message.payload.toByteArray(),
                             message.isRetained, message.expiry});
        });
        QObject::connect(&link, &MqttLink::published, &link,
                         [this](quint64 id, MqttLink::Outcome outcome, const QString &reason) {
                             outcomes.append({id, outcome});
                             lastReason = reason;
                         });
        QObject::connect(&link, &MqttLink::stateChanged, &link,
                         [this](MqttLink::State state) { states.append(state); });
    }

    bool isConnected() const { return link.state() == MqttLink::State::Connected; }
    bool subscribe(const QByteArray &filter)
    {
        QSignalSpy spy(&link, &MqttLink::subscribed);
        link.subscribe({filter}, 0);
        return spy.wait(longTime);
    }
    QList<QByteArray> payloads(const QByteArray &topic) const
    {
        QList<QByteArray> result;
        for (const Received &message : received) {
            if (message.topic == topic)
                result.append(message.payload);
        }
        return result;
    }

    MqttLink link;
    QList<Received> received;
    QList<std::pair<quint64, MqttLink::Outcome>> outcomes;
    QList<MqttLink::State> states;
    QString lastReason;
};

using Outcomes = QList<std::pair<quint64, MqttLink::Outcome>>;
constexpr auto acknowledged = MqttLink::Outcome::Acknowledged;
constexpr auto refused = MqttLink::Outcome::Refused;
constexpr auto unknown = MqttLink::Outcome::Unknown;

// A server with the parts of MQTT that a test needs: its reply to a CONNECT depends on the version
// in it.
class FakeBroker : public QTcpServer
{
public:
    FakeBroker(const QByteArray &toFive, const QByteArray &toOld) : toFive(toFive), toOld(toOld)
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *const socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { answer(socket); });
        });
    }
    QByteArray suback;
    QList<int> versions; // requested versions

private:
    void answer(QTcpSocket *socket)
    {
        const QByteArray packet = socket->readAll();
        const int kind = uchar(packet.at(0)) >> 4;
        if (kind == 8 && !suback.isEmpty()) { // SUBSCRIBE
            QByteArray reply = suback;
            reply[2] = packet.at(2);
            reply[3] = packet.at(3);
            socket->write(reply);
        }
        if (kind != 1)
            return;
        versions.append(packet.at(8));
        const QByteArray reply = packet.at(8) == 5 ? toFive : toOld;
        if (reply.isEmpty())
            socket->close();
        else
            socket->write(reply);
    }
    const QByteArray toFive;
    const QByteArray toOld;
};

#ifdef Q_OS_LINUX
// Of this program, or -1.
int socketConnectedTo(quint16 port)
{
    const QStringList names = QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::System);
    for (const QString &name : names) {
        sockaddr_in peer {};
        socklen_t size = sizeof peer;
        if (::getpeername(name.toInt(), reinterpret_cast<sockaddr *>(&peer), &size) == 0
            && peer.sin_family == AF_INET && ntohs(peer.sin_port) == port)
            return name.toInt();
    }
    return -1;
}
#endif

} // namespace

class tst_MqttLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void link_connects();
    void link_isClosed();
    void oldBrokers_areSpokenToIn311_data();
    void oldBrokers_areSpokenToIn311();
    void fixedVersion_isKept();
    void refusedFive_isNotTriedAgain();
    void closesBeforeAnAnswer_doNotKeepFiveAway();
    void credentials_areChecked_data();
    void credentials_areChecked();
    void passwordFile_isReadForEachConnection();
    void tls_connects_data();
    void tls_connects();
    void tls_readsWhatIsDecryptedAlready();
    void unreachable_doesNotBlock_data();
    void unreachable_doesNotBlock();
    void broker_mayComeLater();
    void restart_isFollowed_data();
    void restart_isFollowed();
    void frozenBroker_isNoticed_data();
    void frozenBroker_isNoticed();
    void tooManyClients_areToldLater();
    void sameClientId_endsTheOther();
    void socketsAbove1023_work();
    void messages_haveWhatTheyWerePublishedWith();
    void messages_areAcknowledgedAtOnce();
    void manyFilters_areSubscribed();
    void refusedFilter_isNamed_data();
    void refusedFilter_isNamed();
    void publish_isAcknowledged_data();
    void publish_isAcknowledged();
    void publish_isRefusedByTheBroker();
    void publish_isRefusedIfTooLong();
    void publish_withoutLinkIsNotKept();
    void publish_isUnknownIfTheBrokerDies();
    void publish_isUnknownIfTheLinkIsClosed();
    void publish_isNotSentAfterItsTime_data();
    void publish_isNotSentAfterItsTime();
    void publish_waitsForEarlierOnes();
    void announcement_followsTheLink();
    void askForAnswer_isAnsweredAfterWhatWasSent();
    void destruction_isPossibleAtAnyTime();
};

void tst_MqttLink::link_connects()
{
    Broker broker;
    QVERIFY(broker.start());
    Link link(optionsFor(broker.port()));
    QCOMPARE(link.link.state(), MqttLink::State::Closed);
    QCOMPARE(link.link.url(), broker.url());
    link.link.open();
    QCOMPARE(link.link.state(), MqttLink::State::Connecting);
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    QCOMPARE(link.link.version(), 5);
    QCOMPARE(link.link.reason(), QString());
    QCOMPARE(link.states, (QList {MqttLink::State::Connecting, MqttLink::State::Connected}));
}

void tst_MqttLink::link_isClosed()
{
    Broker broker;
    QVERIFY(broker.start());
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    link.link.close();
    QCOMPARE(link.link.state(), MqttLink::State::Closed);
    // The client has disconnected properly
    QTRY_VERIFY_WITH_TIMEOUT(broker.log().contains(" disconnected.\n"), longTime);
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
}

void tst_MqttLink::oldBrokers_areSpokenToIn311_data()
{
    QTest::addColumn<QByteArray>("toFive");
    QTest::newRow("not old") << QByteArray("\x20\x03\x00\x00\x00", 5);
    QTest::newRow("unsupported protocol version") << QByteArray("\x20\x03\x00\x84\x00", 5);
    QTest::newRow("unacceptable protocol version") << QByteArray("\x20\x02\x00\x01", 4);
    QTest::newRow("closes") << QByteArray();
}

void tst_MqttLink::oldBrokers_areSpokenToIn311()
{
    QFETCH(const QByteArray, toFive);
    const bool isOld = toFive.size() < 5 || toFive.at(3) != 0;
    FakeBroker broker(toFive, QByteArray("\x20\x02\x00\x00", 4));
    Link link(optionsFor(broker.serverPort()));
    const QString line = isOld ? QStringLiteral(": connected by MQTT 3.1.1$")
                               : QStringLiteral(": connected by MQTT 5$");
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(line)); // fails if it is not logged
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    QCOMPARE(link.link.version(), isOld ? 3 : 5);
    if (isOld)
        QCOMPARE(broker.versions, toFive.isEmpty() ? (QList {5, 5, 4}) : (QList {5, 4}));
    else
        QCOMPARE(broker.versions, QList {5});
}

void tst_MqttLink::fixedVersion_isKept()
{
    FakeBroker broker({}, {});
    MqttOptions options = optionsFor(broker.serverPort());
    options.version = 3;
    Link link(options);
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(broker.versions.size() >= 4, longTime);
    QVERIFY(!broker.versions.contains(5));
    QCOMPARE(link.link.reason(),
             QStringLiteral("cannot connect: the broker closed the connection"));
}

// A load balancer in front of brokers with MQTT 3.1.1 closes connections while none of them is
// available.
void tst_MqttLink::refusedFive_isNotTriedAgain()
{
    FakeBroker broker(QByteArray("\x20\x02\x00\x01", 4), {});
    Link link(optionsFor(broker.serverPort()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(broker.versions.size() >= 6, longTime);
    QCOMPARE(broker.versions.mid(0, 6), (QList {5, 4, 4, 4, 4, 4}));
}

void tst_MqttLink::closesBeforeAnAnswer_doNotKeepFiveAway()
{
    FakeBroker broker({}, {});
    Link link(optionsFor(broker.serverPort()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(broker.versions.size() >= 5, longTime);
    QCOMPARE(broker.versions.mid(0, 5), (QList {5, 5, 4, 4, 5}));
}

void tst_MqttLink::credentials_areChecked_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QByteArray>("password");
    QTest::addColumn<int>("version");
    QTest::addColumn<QString>("reason");
    QTest::newRow("good") << "hmi" << QByteArray("secret\n") << 0 << "";
    QTest::newRow("good, 3.1.1") << "hmi" << QByteArray("secret") << 3 << "";
    QTest::newRow("wrong") << "hmi" << QByteArray("other") << 0
                           << "cannot connect: refused: Not authorized";
    QTest::newRow("wrong, 3.1.1") << "hmi" << QByteArray("other") << 3
                                  << "cannot connect: refused: not authorised";
    QTest::newRow("none") << "" << QByteArray() << 0 << "cannot connect: refused: Not authorized";
}

void tst_MqttLink::credentials_areChecked()
{
    QFETCH(const QString, user);
    QFETCH(const QByteArray, password);
    QFETCH(const int, version);
    QFETCH(const QString, reason);
    BrokerOptions brokerOptions;
    brokerOptions.passwords.insert(QStringLiteral("hmi"), QStringLiteral("secret"));
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    MqttOptions options = optionsFor(broker.port());
    options.version = version;
    options.user = user;
    if (!user.isEmpty())
        options.passwordFile = broker.writeFile(QStringLiteral("secret"), password);
    Link link(options);
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected() || !link.link.reason().isEmpty(), longTime);
    QCOMPARE(link.link.reason(), reason);
    QCOMPARE(link.isConnected(), reason.isEmpty());
}

void tst_MqttLink::passwordFile_isReadForEachConnection()
{
    BrokerOptions brokerOptions;
    brokerOptions.passwords.insert(QStringLiteral("hmi"), QStringLiteral("secret"));
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    MqttOptions options = optionsFor(broker.port());
    options.user = QStringLiteral("hmi");
    options.passwordFile = broker.filePath(QStringLiteral("secret"));
    Link link(options);
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(!link.link.reason().isEmpty(), longTime);
    QCOMPARE(link.link.reason(),
             QStringLiteral("cannot connect: cannot open %1: No such file or directory")
                 .arg(options.passwordFile));
    broker.writeFile(QStringLiteral("secret"), "secret\n");
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    // The password changes, first in the broker and then in the file
    broker.options.passwords = {{QStringLiteral("hmi"), QStringLiteral("new")}};
    QVERIFY(broker.restart());
    QTRY_VERIFY_WITH_TIMEOUT(link.link.reason().contains(QStringLiteral("Not authorized")),
                             longTime);
    broker.writeFile(QStringLiteral("secret"), "new\n");
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
}

void tst_MqttLink::tls_connects_data()
{
    QTest::addColumn<QString>("authority");
    QTest::addColumn<QString>("certificate");
    QTest::addColumn<bool>("required");
    QTest::addColumn<bool>("connects");
    QTest::newRow("good") << "ca.crt"
                          << "" << false << true;
    QTest::newRow("with a certificate") << "ca.crt"
                                        << "client" << true << true;
    QTest::newRow("without the certificate") << "ca.crt"
                                             << "" << true << false;
    QTest::newRow("unknown authority") << "client.crt"
                                       << "" << false << false;
    QTest::newRow("authorities of the system") << ""
                                               << "" << false << false;
    QTest::newRow("missing file") << "none.crt"
                                  << "" << false << false;
}

void tst_MqttLink::tls_connects()
{
    QFETCH(const QString, authority);
    QFETCH(const QString, certificate);
    QFETCH(const bool, required);
    QFETCH(const bool, connects);
    BrokerOptions brokerOptions;
    brokerOptions.tls = true;
    brokerOptions.clientCertificates = required;
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    MqttOptions options = optionsFor(broker.port());
    options.tls = true;
    if (!authority.isEmpty())
        options.authorityFile = broker.filePath(authority);
    if (!certificate.isEmpty()) {
        options.certificateFile = broker.clientCertificate();
        options.keyFile = broker.clientKey();
    }
    Link link(options);
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected() || !link.link.reason().isEmpty(), longTime);
    QVERIFY2(link.isConnected() == connects, qPrintable(link.link.reason()));
    QVERIFY(link.link.version() == 5);
    QVERIFY(link.link.reason().isEmpty() == connects);
}

void tst_MqttLink::tls_readsWhatIsDecryptedAlready()
{
    BrokerOptions brokerOptions;
    brokerOptions.tls = true;
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    for (int i = 0; i < 3000; ++i)
        writer.publish("plant/" + QByteArray::number(i), QByteArray::number(i), true);
    QVERIFY(writer.flush());
    MqttOptions options = optionsFor(broker.port());
    options.tls = true;
    options.authorityFile = broker.authority();
    Link link(options);
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    QVERIFY(link.subscribe("#"));
    QTRY_COMPARE_WITH_TIMEOUT(link.received.size(), 3000, longTime);
}

void tst_MqttLink::unreachable_doesNotBlock_data()
{
    QTest::addColumn<bool>("swallows");
    QTest::newRow("refuses") << false;
    QTest::newRow("swallows packets") << true;
}

void tst_MqttLink::unreachable_doesNotBlock()
{
    QFETCH(const bool, swallows);
    // If the queue of the listener is full, the system drops further connection requests.
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    QCOMPARE(::bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    socklen_t length = sizeof address;
    QCOMPARE(::getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length), 0);
    std::vector<int> fillers;
    if (swallows) {
        QCOMPARE(::listen(listener, 0), 0);
        for (int i = 0; i < 8; ++i) {
            fillers.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
            ::connect(fillers.back(), reinterpret_cast<sockaddr *>(&address), sizeof address);
        }
    }
    MqttOptions options = optionsFor(ntohs(address.sin_port));
    options.connectWithin = 300ms;
    auto link = std::make_unique<Link>(options);
    link->link.open();
    QTRY_VERIFY_WITH_TIMEOUT(!link->link.reason().isEmpty(), longTime);
    // libmosquitto 2.1 loses the reason.
    const QString refused = mosquitto_lib_version(nullptr, nullptr, nullptr) < 2001000
        ? QStringLiteral("Connection refused")
        : QStringLiteral("nothing answers at 127.0.0.1, port %1").arg(ntohs(address.sin_port));
    QCOMPARE(link->link.reason(),
             QStringLiteral("cannot connect: ")
                 + (swallows ? QStringLiteral("no reply in time") : refused));
    // The blocked call would take minutes.
    QElapsedTimer time;
    time.start();
    link.reset();
    QVERIFY2(time.elapsed() < 20000, qPrintable(QString::number(time.elapsed())));
    for (const int filler : fillers)
        ::close(filler);
    ::close(listener);
}

void tst_MqttLink::broker_mayComeLater()
{
    Broker broker;
    QVERIFY(broker.start());
    broker.kill();
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(!link.link.reason().isEmpty(), longTime);
    QVERIFY(broker.start());
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
}

void tst_MqttLink::restart_isFollowed_data()
{
    QTest::addColumn<bool>("clean");
    QTest::newRow("killed") << false;
    QTest::newRow("terminated") << true;
}

void tst_MqttLink::restart_isFollowed()
{
    QFETCH(const bool, clean);
    Broker broker;
    QVERIFY(broker.start());
    Link link(optionsFor(broker.port()));
    link.link.open();
    for (int i = 0; i < 3; ++i) {
        QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
        QVERIFY(link.subscribe("a"));
        BrokerClient writer(broker);
        writer.publish("a", QByteArray::number(i));
        QTRY_COMPARE_WITH_TIMEOUT(link.payloads("a").size(), i + 1, longTime);
        clean ? broker.terminate() : broker.kill();
        QTRY_COMPARE_WITH_TIMEOUT(link.link.state(), MqttLink::State::Connecting, longTime);
        QVERIFY2(link.link.reason().startsWith(QStringLiteral("connection lost: ")),
                 qPrintable(link.link.reason()));
        QVERIFY(broker.start());
    }
}

void tst_MqttLink::frozenBroker_isNoticed_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<bool>("tls");
    QTest::newRow("5") << 5 << false;
    QTest::newRow("3.1.1") << 3 << false;
    QTest::newRow("TLS") << 5 << true;
}

// After one and a half periods. The library itself notices it after two.
void tst_MqttLink::frozenBroker_isNoticed()
{
    QFETCH(const int, version);
    QFETCH(const bool, tls);
    BrokerOptions brokerOptions;
    brokerOptions.tls = tls;
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    MqttOptions options = optionsFor(broker.port());
    options.version = version;
    options.tls = tls;
    options.authorityFile = tls ? broker.authority() : QString();
    options.connectWithin = 2s;
    Link link(options);
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    // Counts the time in which this machine keeps up. After a pause, the link waits anew.
    constexpr auto step = 250ms;
    std::chrono::milliseconds passed {0};
    QElapsedTimer sinceStep;
    QTimer steps;
    connect(&steps, &QTimer::timeout, this, [&] {
        const bool wasPaused = sinceStep.restart() > 2 * step.count();
        passed = wasPaused ? 0ms : passed + step;
    });
    broker.freeze();
    sinceStep.start();
    steps.start(step);
    QTRY_VERIFY_WITH_TIMEOUT(!link.isConnected(), longTime);
    QVERIFY2(passed < options.keepAlive * 7 / 4, qPrintable(QString::number(passed.count())));
    QCOMPARE(link.link.reason(), QStringLiteral("connection lost: the broker does not reply"));
    broker.thaw();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
}

void tst_MqttLink::tooManyClients_areToldLater()
{
    BrokerOptions brokerOptions;
    brokerOptions.connections = 1;
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    auto other = std::make_unique<BrokerClient>(broker);
    QVERIFY(other->isConnected());
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(!link.link.reason().isEmpty(), longTime);
    other.reset();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
}

void tst_MqttLink::sameClientId_endsTheOther()
{
    Broker broker;
    QVERIFY(broker.start());
    MqttOptions options = optionsFor(broker.port());
    options.clientId = QStringLiteral("gateway");
    Link first(options), second(options);
    first.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(first.isConnected(), longTime);
    second.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(!first.link.reason().isEmpty(), longTime);
    // The reason depends on the version of the broker.
    QVERIFY(first.link.reason()
                == QStringLiteral("connection lost: the broker closed the connection")
            || first.link.reason()
                == QStringLiteral("connection lost: the broker ended it: Session taken over"));
}

void tst_MqttLink::socketsAbove1023_work()
{
    rlimit limit {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit before = limit;
    if (limit.rlim_max < 2048)
        QSKIP("no more files can be open");
    limit.rlim_cur = 2048;
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker); // otherwise, its library would be the first to fail
    std::vector<int> files;
    while (files.empty() || files.back() < 1100)
        files.push_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    QVERIFY(link.subscribe("a"));
    writer.publish("a", "1");
    QTRY_COMPARE_WITH_TIMEOUT(link.payloads("a").size(), 1, longTime);
    link.link.publish(1, "b", "2", 1, 0ms);
    QTRY_COMPARE_WITH_TIMEOUT(link.outcomes, (Outcomes {{1, acknowledged}}), longTime);
    link.link.close();
    for (const int file : files)
        ::close(file);
    ::setrlimit(RLIMIT_NOFILE, &before);
}

void tst_MqttLink::messages_haveWhatTheyWerePublishedWith()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    writer.publish("kept", "1", true, 1, 1000);
    QVERIFY(writer.flush());
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    QVERIFY(link.subscribe("#"));
    QTRY_COMPARE_WITH_TIMEOUT(link.received.size(), 1, longTime);
    QVERIFY(link.received.at(0).isRetained);
    QVERIFY(link.received.at(0).expiry > 900 && link.received.at(0).expiry <= 1000);
    writer.publish("live", QByteArray(1 << 20, 'x'));
    writer.publish("kept", "", true); // retained, as published
    QTRY_COMPARE_WITH_TIMEOUT(link.received.size(), 3, longTime);
    QVERIFY(!link.received.at(1).isRetained);
    QCOMPARE(link.received.at(1).payload.size(), 1 << 20);
    QCOMPARE(link.received.at(1).expiry, -1);
    QVERIFY(link.received.at(2).isRetained);
    QCOMPARE(link.received.at(2).payload, QByteArray());
}

// Otherwise, a broker that waits for the acknowledgment delays the messages that follow.
void tst_MqttLink::messages_areAcknowledgedAtOnce()
{
#ifdef Q_OS_LINUX
    Broker broker;
    QVERIFY(broker.start());
    MqttOptions options = optionsFor(broker.port());
    options.keepAlive = 600s; // a ping would count as sending
    Link link(options);
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    QVERIFY(link.subscribe("a"));
    const int socket = socketConnectedTo(broker.port());
    QVERIFY(socket >= 0);
    for (int i = 1; i <= 20; ++i) { // the system delays more for a link that also sends
        link.link.publish(quint64(i), "a", QByteArray::number(i), 0, 10s);
        QTRY_COMPARE_WITH_TIMEOUT(link.received.size(), i, longTime);
        int isQuick = 0;
        socklen_t size = sizeof isQuick;
        QCOMPARE(::getsockopt(socket, IPPROTO_TCP, TCP_QUICKACK, &isQuick, &size), 0);
        QCOMPARE(isQuick, 1);
    }
#else
    QSKIP("the system has no such option");
#endif
}

void tst_MqttLink::manyFilters_areSubscribed()
{
    Broker broker;
    QVERIFY(broker.start());
    Link link(optionsFor(broker.port()));
    QSignalSpy subscribed(&link.link, &MqttLink::subscribed);
    QSignalSpy refusals(&link.link, &MqttLink::filterRefused);
    QByteArrayList filters;
    for (int i = 0; i < 1050; ++i)
        filters.append("plant/line/" + QByteArray::number(i));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    link.link.subscribe(filters, 0);
    QVERIFY(subscribed.wait(longTime));
    BrokerClient writer(broker);
    for (const QByteArray &topic : std::as_const(filters))
        writer.publish(topic, "1");
    QTRY_COMPARE_WITH_TIMEOUT(link.received.size(), filters.size(), longTime);
    QCOMPARE(subscribed.size(), 1);
    QCOMPARE(refusals.size(), 0);
    QCOMPARE(broker.log().count("Received SUBSCRIBE from"), 11);
    link.link.unsubscribe({filters.at(7)});
    QTRY_VERIFY_WITH_TIMEOUT(broker.log().contains("Received UNSUBSCRIBE from"), longTime);
}

void tst_MqttLink::refusedFilter_isNamed_data()
{
    QTest::addColumn<QByteArray>("filter");
    QTest::addColumn<QString>("reason");
    QTest::newRow("not a filter") << QByteArray("a/#/b") << "no topic filter";
    QTest::newRow("by the broker") << QByteArray("forbidden/#") << "Unspecified error";
}

void tst_MqttLink::refusedFilter_isNamed()
{
    QFETCH(const QByteArray, filter);
    QFETCH(const QString, reason);
    FakeBroker broker({}, QByteArray("\x20\x02\x00\x00", 4));
    broker.suback = QByteArray("\x90\x03\x00\x00\x80", 5);
    MqttOptions options = optionsFor(broker.serverPort());
    options.version = 3;
    Link link(options);
    QSignalSpy refusals(&link.link, &MqttLink::filterRefused);
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    QVERIFY(link.subscribe(filter));
    QCOMPARE(refusals.size(), 1);
    QCOMPARE(refusals.at(0).at(0).toByteArray(), filter);
    QCOMPARE(refusals.at(0).at(1).toString(), reason);
    QVERIFY(link.isConnected());
}

void tst_MqttLink::publish_isAcknowledged_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<int>("qos");
    QTest::newRow("5, QoS 1") << 5 << 1;
    QTest::newRow("5, QoS 0") << 5 << 0;
    QTest::newRow("5, QoS 2") << 5 << 2;
    QTest::newRow("3.1.1, QoS 1") << 3 << 1;
}

void tst_MqttLink::publish_isAcknowledged()
{
    QFETCH(const int, version);
    QFETCH(const int, qos);
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    QVERIFY(device.subscribe("pump/set", 2));
    MqttOptions options = optionsFor(broker.port());
    options.version = version;
    Link link(options);
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    link.link.publish(7, "pump/set", "ON", qos, 4100ms);
    link.link.publish(8, "nobody/listens", "ON", qos, 4100ms);
    QTRY_COMPARE_WITH_TIMEOUT(link.outcomes.size(), 2, longTime);
    QCOMPARE(link.outcomes, (Outcomes {{7, acknowledged}, {8, acknowledged}}));
    QTRY_COMPARE_WITH_TIMEOUT(device.messages().size(), 1, longTime);
    const BrokerClient::Message message = device.messages().constFirst();
    QCOMPARE(message.payload, QByteArray("ON"));
    QCOMPARE(message.qos, qos);
    QCOMPARE(message.retained, false);
    QCOMPARE(message.expiry, version == 5 ? 5 : -1);
    BrokerClient late(broker);
    QVERIFY(late.subscribe("#"));
    late.publish("end", "");
    QTRY_COMPARE_WITH_TIMEOUT(late.messages().size(), 1, longTime); // no message was retained
}

void tst_MqttLink::publish_isRefusedByTheBroker()
{
    BrokerOptions brokerOptions;
    brokerOptions.acl = "topic read #\ntopic write pump/set\n";
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    link.link.publish(1, "valve/set", "ON", 1, 1s);
    QTRY_COMPARE_WITH_TIMEOUT(link.outcomes, (Outcomes {{1, refused}}), longTime);
    QCOMPARE(link.lastReason, QStringLiteral("Not authorized"));
    link.link.publish(2, "pump/set", "ON", 1, 1s);
    QTRY_COMPARE_WITH_TIMEOUT(link.outcomes.size(), 2, longTime);
    QCOMPARE(link.outcomes.at(1).second, acknowledged);
}

void tst_MqttLink::publish_isRefusedIfTooLong()
{
    BrokerOptions brokerOptions;
    brokerOptions.lines = {"max_packet_size 1000"};
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    link.link.publish(1, "a", QByteArray(2000, 'x'), 1, 1s);
    link.link.publish(2, "a/+", "x", 1, 1s);
    QCOMPARE(link.outcomes, (Outcomes {{1, refused}, {2, refused}}));
    QVERIFY(link.isConnected());
}

void tst_MqttLink::publish_withoutLinkIsNotKept()
{
    Broker broker;
    QVERIFY(broker.start());
    Link link(optionsFor(broker.port()));
    link.link.publish(1, "pump/set", "1", 1, 1s);
    link.link.open();
    link.link.publish(2, "pump/set", "2", 1, 1s);
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    broker.kill();
    QTRY_VERIFY_WITH_TIMEOUT(!link.isConnected(), longTime);
    link.link.publish(3, "pump/set", "3", 1, 1s);
    QCOMPARE(link.outcomes, (Outcomes {{1, refused}, {2, refused}, {3, refused}}));
    QVERIFY(broker.start());
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    link.link.publish(4, "pump/set", "4", 1, 1s);
    QTRY_COMPARE_WITH_TIMEOUT(link.outcomes.size(), 4, longTime);
    QCOMPARE(broker.publicationsSeen("pump/set"), 1);
}

void tst_MqttLink::publish_isUnknownIfTheBrokerDies()
{
    Broker broker;
    QVERIFY(broker.start());
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    // Between PUBLISH and PUBACK: the message has been sent, but not read.
    broker.freeze();
    link.link.publish(1, "pump/set", "1", 1, 1s);
    link.link.publish(2, "pump/set", "2", 1, 1s);
    QCOMPARE(link.outcomes, Outcomes());
    broker.kill();
    QTRY_COMPARE_WITH_TIMEOUT(link.outcomes.size(), 2, longTime);
    std::sort(link.outcomes.begin(), link.outcomes.end());
    QCOMPARE(link.outcomes, (Outcomes {{1, unknown}, {2, unknown}}));
    // It is not sent again
    QVERIFY(broker.start());
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    link.link.publish(3, "pump/set", "3", 1, 1s);
    QTRY_COMPARE_WITH_TIMEOUT(link.outcomes.size(), 3, longTime);
    QCOMPARE(link.outcomes.at(2).second, acknowledged);
    QCOMPARE(broker.publicationsSeen("pump/set"), 1);
}

void tst_MqttLink::publish_isUnknownIfTheLinkIsClosed()
{
    Broker broker;
    QVERIFY(broker.start());
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    broker.freeze();
    link.link.publish(1, "pump/set", "1", 1, 1s);
    link.link.close();
    QCOMPARE(link.outcomes, (Outcomes {{1, unknown}}));
}

void tst_MqttLink::publish_isNotSentAfterItsTime_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<int>("receiveMaximum"); // of the broker; its default if negative
    QTest::addColumn<int>("expected"); // to be sent before they are acknowledged
    QTest::newRow("5") << 5 << -1 << 20;
    QTest::newRow("5, one at a time") << 5 << 1 << 1;
    QTest::newRow("5, many at a time") << 5 << 1000 << 100;
    QTest::newRow("3.1.1") << 3 << -1 << 20;
}

// The broker does not reply for a while. Publications that the link has refused in the meantime
// are not sent when the broker replies again.
void tst_MqttLink::publish_isNotSentAfterItsTime()
{
    QFETCH(const int, version);
    QFETCH(const int, receiveMaximum);
    QFETCH(const int, expected);
    constexpr int count = 120;
    BrokerOptions brokerOptions;
    brokerOptions.inflightMessages = receiveMaximum;
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    BrokerClient device(broker);
    QVERIFY(device.subscribe("pump/set", 0)); // so the broker keeps nothing for it
    MqttOptions options = optionsFor(broker.port());
    options.version = version;
    options.keepAlive = 60s;
    options.announceTopic = QStringLiteral("gateway"); // this message is acknowledged as well
    Link link(options);
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    QTRY_VERIFY_WITH_TIMEOUT(broker.log().contains("Sending PUBACK"), longTime);
    QVERIFY(link.subscribe("nothing")); // so the acknowledgment has been read
    broker.freeze();
    for (int i = 0; i < count; ++i)
        link.link.publish(quint64(i), "pump/set", QByteArray::number(i), 1, 500ms);
    QTRY_COMPARE_WITH_TIMEOUT(link.outcomes.size(), count - expected, longTime);
    for (int i = expected; i < count; ++i)
        QVERIFY(link.outcomes.contains({quint64(i), refused}));
    QCOMPARE(link.lastReason, QStringLiteral("the broker does not reply"));
    broker.thaw();
    QTRY_COMPARE_WITH_TIMEOUT(link.outcomes.size(), count, longTime);
    for (int i = 0; i < expected; ++i)
        QVERIFY(link.outcomes.contains({quint64(i), acknowledged}));
    link.link.publish(count, "pump/set", "end", 1, 0ms);
    QTRY_VERIFY_WITH_TIMEOUT(device.payloads("pump/set").contains("end"), longTime);
    QCOMPARE(device.payloads("pump/set").size(), expected + 1);
}

void tst_MqttLink::publish_waitsForEarlierOnes()
{
    BrokerOptions brokerOptions;
    brokerOptions.inflightMessages = 2;
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    BrokerClient device(broker);
    QVERIFY(device.subscribe("pump/set", 0)); // so the broker keeps nothing for it
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    constexpr int count = 900;
    for (int i = 0; i < count; ++i)
        link.link.publish(quint64(i), "pump/set", QByteArray::number(i), 1 + i % 2, i % 3 * 60s);
    QTRY_COMPARE_WITH_TIMEOUT(link.outcomes.size(), count, longTime);
    for (const auto &outcome : std::as_const(link.outcomes))
        QCOMPARE(outcome.second, acknowledged);
    QTRY_COMPARE_WITH_TIMEOUT(device.messages().size(), count, longTime);
    // Those that were never sent are not unknown
    link.outcomes.clear();
    broker.freeze();
    for (int i = 0; i < 4; ++i)
        link.link.publish(quint64(i), "pump/set", "late", 1, 60s);
    broker.kill();
    QTRY_COMPARE_WITH_TIMEOUT(link.outcomes.size(), 4, longTime);
    std::sort(link.outcomes.begin(), link.outcomes.end());
    QCOMPARE(link.outcomes, (Outcomes {{0, unknown}, {1, unknown}, {2, refused}, {3, refused}}));
}

void tst_MqttLink::announcement_followsTheLink()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient reader(broker);
    QVERIFY(reader.subscribe("gateway"));
    MqttOptions options = optionsFor(broker.port());
    options.announceTopic = QStringLiteral("gateway");
    Link link(options);
    link.link.open();
    QTRY_COMPARE_WITH_TIMEOUT(reader.payloads("gateway"), QList<QByteArray> {"1"}, longTime);
    link.link.close();
    QTRY_COMPARE_WITH_TIMEOUT(reader.payloads("gateway"), (QList<QByteArray> {"1", "0"}), longTime);
}

void tst_MqttLink::askForAnswer_isAnsweredAfterWhatWasSent()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    for (int i = 0; i < 2000; ++i)
        writer.publish("plant/" + QByteArray::number(i), "1", true);
    QVERIFY(writer.flush());
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    QSignalSpy answered(&link.link, &MqttLink::answered);
    link.link.subscribe({"#"}, 0);
    const int number = link.link.askForAnswer();
    QVERIFY(answered.wait(longTime));
    QCOMPARE(answered.at(0).at(0).toInt(), number);
    QCOMPARE(link.received.size(), 2000);
}

void tst_MqttLink::destruction_isPossibleAtAnyTime()
{
    Broker broker;
    QVERIFY(broker.start());
    {
        Link link(optionsFor(broker.port()));
        link.link.open();
    }
    {
        Link link(optionsFor(broker.port()));
        QObject::connect(&link.link, &MqttLink::stateChanged, &link.link,
                         [&link](MqttLink::State state) {
                             if (state == MqttLink::State::Connected)
                                 link.link.close();
                         });
        link.link.open();
        QTRY_COMPARE_WITH_TIMEOUT(link.link.state(), MqttLink::State::Closed, longTime);
    }
    Link link(optionsFor(broker.port()));
    link.link.open();
    QTRY_VERIFY_WITH_TIMEOUT(link.isConnected(), longTime);
    link.link.setMessageHandler([&link](const MqttMessage &) { link.link.close(); });
    QVERIFY(link.subscribe("a"));
    BrokerClient writer(broker);
    writer.publish("a", "1");
    QTRY_COMPARE_WITH_TIMEOUT(link.link.state(), MqttLink::State::Closed, longTime);
}

QTEST_GUILESS_MAIN(tst_MqttLink)
#include "tst_mqttlink.moc"
