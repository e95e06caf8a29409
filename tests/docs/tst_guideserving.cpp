// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "docs/snippets/serving/device.h"
#include "tests/server/testclient.h"
#include "tests/support/rawclient.h"

#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

using namespace pellix::server;

// The functions that the page "Serve your own values" quotes.
class tst_GuideServing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void writes_areDecidedByTheDevice();
    void roles_areAsDescribed();
    void tokens_areAdded();
    void network_needsATokenAndTls();
};

void tst_GuideServing::writes_areDecidedByTheDevice()
{
    KeywordServer server;
    Device device;
    declareSpeed(&server);
    forwardWrites(&server, &device);
    Client client(&server);
    client.create("/plant/motor1/speed");
    QCOMPARE(client.taken(), q("/plant/motor1/speed=0 coc-"));
    client.update("/plant/motor1/speed", "60");
    QCOMPARE(client.taken(), q("/plant/motor1/speed=60 coc-"));
    client.update("/plant/motor1/speed", "150");
    QCOMPARE(client.taken(), q("/plant/motor1/speed=100 coc-"));
    client.update("/plant/motor1/speed", "-1");
    QCOMPARE(client.taken(), q("/plant/motor1/speed=100 coce"));
    QTRY_VERIFY(device.children().isEmpty());
}

void tst_GuideServing::roles_areAsDescribed()
{
    KeywordServer server;
    declareSpeed(&server);
    addRoles(&server);
    QCOMPARE(server.roles(), (QStringList {q("operator"), q("viewer")}));
    Client viewer(&server, "viewer");
    viewer.update("/plant/motor1/speed", "10");
    QCOMPARE(viewer.taken(), q("/plant/motor1/speed=0 coce"));
    Client person(&server, "operator");
    person.update("/plant/motor1/speed", "20");
    QCOMPARE(server.value(q("/plant/motor1/speed")), QVariant(20.0));
}

void tst_GuideServing::tokens_areAdded()
{
    QTemporaryDir folder;
    const QString file = folder.filePath(q("tokens"));
    QString error;
    const QByteArray first = addToken(file, q("panel1"), &error);
    QVERIFY2(!first.isEmpty(), qPrintable(error));
    const QByteArray second = addToken(file, q("panel2"), &error);
    AccessTokens tokens;
    QVERIFY2(tokens.load(file, &error), qPrintable(error));
    for (const QByteArray &token : {first, second}) {
        QVERIFY(tokens.find(token));
        QCOMPARE(tokens.find(token)->role, q("operator"));
    }
    QVERIFY(addToken(folder.filePath(q("missing/tokens")), q("panel1"), &error).isEmpty());
    QVERIFY(!error.isEmpty());
}

void tst_GuideServing::network_needsATokenAndTls()
{
    KeywordServer server;
    declareSpeed(&server);
    addRoles(&server);
    WebSocketKeywordServer socket(&server);
    QFile file(q(TLS_FILES "/server.key"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const auto certificates = QSslCertificate::fromPath(q(TLS_FILES "/server.crt"));
    AccessTokens tokens;
    const QByteArray token = tokens.create(q("panel1"), q("operator"));
    QVERIFY2(listenOnNetwork(&socket, certificates.value(0), QSslKey(&file, QSsl::Ec), tokens, 0),
             qPrintable(socket.errorString()));
    QUrl url = socket.url();
    url.setHost(q("127.0.0.1"));
    RawClient stranger(url, true);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("sent no credentials")));
    QCOMPARE(stranger.statusOf(RawClient::request()), QByteArray("401"));
    RawClient panel(url, true);
    QVERIFY(panel.open("Authorization: Bearer " + token + "\r\n"));
}

QTEST_GUILESS_MAIN(tst_GuideServing)
#include "tst_guideserving.moc"
