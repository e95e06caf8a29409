// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/cluster/cluster.h"

#include <QtCore/QUrl>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslSocket>
#include <QtTest/QTest>

namespace {

constexpr int longTime = 60000; // in milliseconds; the time that a loaded machine may take

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

} // namespace

// A balancer on the same machine: its clients connect from 127.0.0.1, but must not get the rights
// of local clients.
class tst_Balancer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void screen_isWhoItsCertificateSays();
    void screenWithoutCertificate_isNobody_data();
    void screenWithoutCertificate_isNobody();
    void gateway_knowsNobodyForComingFromThisMachine();
    void cleanupTestCase() { cluster.reset(); }

private:
    bool isAccepted(const QUrl &url, bool hasCertificate, const QByteArray &subject = {});

    std::unique_ptr<Cluster> cluster;
};

void tst_Balancer::initTestCase()
{
    for (const char *const program : {"nats-server", "haproxy"}) {
        if (findProgram(q(program)).isEmpty())
            QSKIP(qPrintable(q("%1 is not installed").arg(q(program))));
    }
    ClusterOptions options;
    options.gateways = 1;
    cluster = std::make_unique<Cluster>(options);
    QVERIFY2(cluster->start() && cluster->startGateways(), qPrintable(cluster->error()));
}

// Whether the client is accepted or refused; any other reply is an error. The handshake is done
// manually, because QWebSocket takes 20 s to report that it has been refused for missing
// credentials.
bool tst_Balancer::isAccepted(const QUrl &url, bool hasCertificate, const QByteArray &subject)
{
    QSslSocket socket;
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setCaCertificates(QSslCertificate::fromPath(cluster->file(q("ca.crt"))));
    socket.setSslConfiguration(tls);
    if (hasCertificate) {
        socket.setLocalCertificate(cluster->file(q("screen.crt")));
        socket.setPrivateKey(cluster->file(q("screen.key")), QSsl::Ec);
    }
    const bool isEncrypted = url.scheme() == q("wss");
    if (isEncrypted)
        socket.connectToHostEncrypted(url.host(), quint16(url.port()));
    else
        socket.connectToHost(url.host(), quint16(url.port()));
    if (isEncrypted ? !socket.waitForEncrypted(longTime) : !socket.waitForConnected(longTime))
        qFatal("no connection");
    QByteArray request = "GET / HTTP/1.1\r\nHost: localhost\r\nConnection: Upgrade\r\n"
                         "Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
                         "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";
    if (!subject.isEmpty())
        request += "X-Client-Subject: " + subject + "\r\n";
    socket.write(request + "\r\n");
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(longTime))
            qFatal("no answer");
    }
    const QByteArray line = socket.readLine();
    if (line.startsWith("HTTP/1.1 101 "))
        return true;
    if (!line.startsWith("HTTP/1.1 401 "))
        qFatal("unexpected answer: %s", line.constData());
    return false;
}

void tst_Balancer::screen_isWhoItsCertificateSays()
{
    QVERIFY(isAccepted(QUrl(cluster->screenUrl()), true));
}

void tst_Balancer::screenWithoutCertificate_isNobody_data()
{
    QTest::addColumn<QByteArray>("subject");
    QTest::newRow("says nothing") << QByteArray();
    QTest::newRow("says that it is the screen") << QByteArray("CN=screen");
}

void tst_Balancer::screenWithoutCertificate_isNobody()
{
    QFETCH(const QByteArray, subject);
    QVERIFY(!isAccepted(QUrl(cluster->screenUrl()), false, subject));
}

void tst_Balancer::gateway_knowsNobodyForComingFromThisMachine()
{
    QVERIFY(!isAccepted(QUrl(q("ws://127.0.0.1:%1").arg(cluster->proxiedPort(0))), false));
    QVERIFY(isAccepted(QUrl(q("ws://127.0.0.1:%1").arg(cluster->gatewayPort(0))), false));
}

QTEST_GUILESS_MAIN(tst_Balancer)
#include "tst_balancer.moc"
