// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/cluster/cluster.h"

#include <QtCore/QFile>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkRequest>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslKey>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>

namespace {

constexpr int longTime = 60000; // in milliseconds; how long a loaded machine may take

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

} // namespace

// A balancer on the same machine: whoever comes through it comes from 127.0.0.1, and must not be
// taken for somebody of this machine.
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

// Or not, whatever the reason.
bool tst_Balancer::isAccepted(const QUrl &url, bool hasCertificate, const QByteArray &subject)
{
    QWebSocket socket;
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setCaCertificates(QSslCertificate::fromPath(cluster->file(q("ca.crt"))));
    if (hasCertificate) {
        QFile key(cluster->file(q("screen.key")));
        if (!key.open(QIODevice::ReadOnly))
            qFatal("no key");
        tls.setLocalCertificateChain(QSslCertificate::fromPath(cluster->file(q("screen.crt"))));
        tls.setPrivateKey(QSslKey(key.readAll(), QSsl::Ec));
    }
    socket.setSslConfiguration(tls);
    QNetworkRequest request(url);
    if (!subject.isEmpty())
        request.setRawHeader("X-Client-Subject", subject);
    bool isConnected = false;
    connect(&socket, &QWebSocket::connected, this, [&] { isConnected = true; });
    socket.open(request);
    // Whether it ends the connection at once as well does not matter.
    const auto isRefused = [&] { return socket.error() != QAbstractSocket::UnknownSocketError; };
    if (!QTest::qWaitFor([&] { return isConnected || isRefused(); }, longTime))
        qFatal("no answer");
    return isConnected;
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
