// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "models/keywordquerymodel.h"
#include "tests/support/socketclient.h"

#include <QtCore/QDir>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// Adds Debian's module folder, which other builds of Node.js do not search by default.
QProcessEnvironment environmentOfNode()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    QStringList folders =
        environment.value(q("NODE_PATH")).split(QDir::listSeparator(), Qt::SkipEmptyParts);
    folders << q("/usr/share/nodejs");
    environment.insert(q("NODE_PATH"), folders.join(QDir::listSeparator()));
    return environment;
}

// The script keywordserver.cjs as a program
class ForeignServer
{
public:
    ForeignServer() = default;
    ForeignServer(const ForeignServer &) = delete;
    ForeignServer &operator=(const ForeignServer &) = delete;
    ~ForeignServer() { stop(); }

    bool start(const QString &compression)
    {
        process.setProcessEnvironment(environmentOfNode());
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QObject::connect(&process, &QProcess::readyReadStandardOutput, &process, [this] {
            while (process.canReadLine())
                lines << QString::fromUtf8(process.readLine()).trimmed();
        });
        process.start(q("node"), {q(SERVER_SCRIPT), QString::number(port), compression});
        if (!QTest::qWaitFor([this] { return !lines.isEmpty(); }, 20000))
            return false;
        port = lines.takeFirst().section(QLatin1Char(' '), 1).toUShort();
        return port != 0;
    }
    void stop()
    {
        process.kill();
        process.waitForFinished();
        lines.clear();
    }
    void order(const QJsonObject &order)
    {
        process.write(QJsonDocument(order).toJson(QJsonDocument::Compact) + '\n');
    }
    void set(const char *keyword, const QJsonValue &value)
    {
        order({{q("do"), q("set")}, {q("keyword"), q(keyword)}, {q("value"), value}});
    }
    QString url() const { return q("ws://127.0.0.1:%1").arg(port); }

    QStringList lines; // printed lines that have not been taken yet

private:
    QProcess process;
    quint16 port = 0;
};

} // namespace

// Tests the client with a WebSocket implementation that does not use Qt.
class tst_ForeignServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void keywords_areBoundWrittenAndQueried_data();
    void keywords_areBoundWrittenAndQueried();
    void pings_areAnsweredBothWays();
    void fragments_arePutTogether_data();
    void fragments_arePutTogether();
    void largeMessages_pass_data();
    void largeMessages_pass();
    void droppedClient_returnsWithFreshValues_data();
    void droppedClient_returnsWithFreshValues();
    void restartedServer_isFoundAgain();

private:
    void bind();

    std::unique_ptr<ForeignServer> server;
    std::unique_ptr<SocketClient> client;
    std::unique_ptr<PKeywordProxy> level;
    std::unique_ptr<PKeywordProxy> name;
};

void tst_ForeignServer::initTestCase()
{
    // Lost connections are logged as warnings, but are intended here.
    QLoggingCategory::setFilterRules(q(CLIENT_CATEGORY "=false"));
    QVERIFY2(!QStandardPaths::findExecutable(q("node")).isEmpty(),
             "node is required; scripts/test installs it");
    QProcess node;
    node.setProcessEnvironment(environmentOfNode());
    node.start(q("node"), {q("--eval"), q(R"(
        try {
            new (require("ws").WebSocketServer)({ noServer: true })
        } catch (error) {
            process.stdout.write(error.message.split("\n")[0])
            process.exitCode = 1
        }
    )")});
    QVERIFY(node.waitForFinished());
    QVERIFY2(
        node.exitStatus() == QProcess::NormalExit && node.exitCode() == 0,
        "node cannot use its package ws, version 8 or newer: " + node.readAllStandardOutput()
            + ". On Debian that is the package node-ws, which scripts/test installs; elsewhere "
              "install ws, and let NODE_PATH name the folder with it");
}

void tst_ForeignServer::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    server = std::make_unique<ForeignServer>();
    client = std::make_unique<SocketClient>();
    level = std::make_unique<PKeywordProxy>();
    name = std::make_unique<PKeywordProxy>();
}

void tst_ForeignServer::cleanup()
{
    name.reset();
    level.reset();
    client.reset();
    server.reset();
}

void tst_ForeignServer::bind()
{
    level->setKeyword(q("/plant/tank1/level"));
    name->setKeyword(q("/plant/name"));
    for (PKeywordProxy *proxy : {level.get(), name.get()})
        proxy->setClient(client.get());
    client->setAutoReconnect(true);
    client->setUrls({server->url()});
    QTRY_VERIFY(client->connected());
    QTRY_COMPARE(level->value().toDouble(), 41.5);
    QTRY_COMPARE(name->value().toString(), q("Works"));
}

void tst_ForeignServer::keywords_areBoundWrittenAndQueried_data()
{
    QTest::addColumn<QString>("compression");
    QTest::newRow("permessage-deflate offered") << q("deflate");
    QTest::newRow("permessage-deflate not offered") << q("plain");
}

void tst_ForeignServer::keywords_areBoundWrittenAndQueried()
{
    QFETCH(QString, compression);
    QVERIFY(server->start(compression));
    bind();
    // The Qt client does not request compression, so the server must not use it.
    QTRY_COMPARE(server->lines.value(0), q("connected plain"));
    QCOMPARE(level->valueType(), PKeywordValueType::KVT_DOUBLE);
    QVERIFY(level->connected() && level->online() && level->consistent() && !level->error());

    QVERIFY(level->update(50.25));
    QTRY_COMPARE(level->value().toDouble(), 50.25);
    QVERIFY(level->updateRelative(-10));
    QTRY_COMPARE(level->value().toDouble(), 40.25);
    QVERIFY(name->update(q("W\u00e4rk \u2713 \U0001F600")));
    QTRY_COMPARE(name->value().toString(), q("W\u00e4rk \u2713 \U0001F600"));
    server->set("/plant/tank1/level", 1);
    QTRY_COMPARE(level->value().toDouble(), 1.0);

    PKeywordQueryModel model;
    model.setKeywordClient(client.get());
    model.setKeyword(q("/plant"));
    QTRY_COMPARE(model.rowCount(), 3);
    QStringList rows;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QModelIndex index = model.index(row, 0);
        rows << index.data(PKeywordQueryModel::KeywordRole).toString() + QLatin1Char('=')
                + index.data(PKeywordQueryModel::TypeRole).toString();
    }
    rows.sort();
    QCOMPARE(rows.join(QLatin1Char(' ')),
             q("/plant/name=string /plant/tank1=object /plant/tank2=object"));

    name.reset();
    QTRY_VERIFY(server->lines.contains(q("destroyed /plant/name")));
}

void tst_ForeignServer::pings_areAnsweredBothWays()
{
    QVERIFY(server->start(q("plain")));
    bind();
    QSignalSpy connected(client.get(), &SocketClient::connectedChanged);

    server->order({{q("do"), q("ping")}});
    QTRY_VERIFY(server->lines.contains(q("pong are you there")));

    // Three pings of the client: after two without a reply, it would have closed the connection.
    QTRY_COMPARE_WITH_TIMEOUT(server->lines.count(q("ping")), 3, 20000);
    QVERIFY(client->connected());
    QCOMPARE(connected.count(), 0);
}

void tst_ForeignServer::fragments_arePutTogether_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("1 byte each") << 1;
    QTest::newRow("7 bytes each") << 7;
    QTest::newRow("100 bytes each") << 100;
}

void tst_ForeignServer::fragments_arePutTogether()
{
    QFETCH(int, size);
    QVERIFY(server->start(q("plain")));
    bind();
    const QString text = q("\u00e4\u2713\U0001F600").repeated(50);

    server->order({{q("do"), q("fragments")},
                   {q("keyword"), q("/plant/name")},
                   {q("value"), text},
                   {q("size"), size}});

    QTRY_COMPARE(name->value().toString(), text);
    QVERIFY(client->connected());
}

void tst_ForeignServer::largeMessages_pass_data()
{
    QTest::addColumn<QString>("compression");
    QTest::addColumn<int>("size");
    for (const int size : {125, 126, 65535, 65536, 1 << 20, 8 << 20}) {
        QTest::addRow("%d", size) << q("plain") << size;
        QTest::addRow("%d, permessage-deflate offered", size) << q("deflate") << size;
    }
}

void tst_ForeignServer::largeMessages_pass()
{
    QFETCH(QString, compression);
    QFETCH(int, size);
    QVERIFY(server->start(compression));
    bind();

    server->order({{q("do"), q("large")}, {q("keyword"), q("/plant/name")}, {q("size"), size}});
    QTRY_COMPARE_WITH_TIMEOUT(name->value().toString().size(), size, 20000);

    const QString written(size, QLatin1Char('y'));
    QVERIFY(name->update(written));
    QTRY_VERIFY_WITH_TIMEOUT(name->value().toString() == written, 20000);
    QVERIFY(client->connected());
}

void tst_ForeignServer::droppedClient_returnsWithFreshValues_data()
{
    QTest::addColumn<int>("code");
    for (const int code : {1000, 1001, 1008, 1011, 1012, 1013, 4000})
        QTest::addRow("close code %d", code) << code;
    QTest::newRow("without a word") << 0;
}

void tst_ForeignServer::droppedClient_returnsWithFreshValues()
{
    QFETCH(int, code);
    QVERIFY(server->start(q("plain")));
    bind();
    QSignalSpy connected(client.get(), &SocketClient::connectedChanged);
    bool isCleared = false; // the client may reconnect before the test checks it
    const QObject context;
    connect(level.get(), &PKeywordProxy::valueChanged, &context,
            [&] { isCleared = isCleared || !level->value().isValid(); });

    if (code == 0)
        server->order({{q("do"), q("terminate")}});
    else
        server->order({{q("do"), q("close")}, {q("code"), code}});
    QTRY_VERIFY(connected.count() >= 1);
    server->set("/plant/tank1/level", 99.5);

    QTRY_COMPARE(connected.count(), 2);
    QVERIFY(client->connected());
    QVERIFY(isCleared);
    QTRY_COMPARE(level->value().toDouble(), 99.5);
    QTRY_COMPARE(name->value().toString(), q("Works"));
    // The closing handshake was completed: with the same code or, if Qt does not know the code,
    // with 1002, protocol error.
    const QString closed = server->lines.filter(q("closed ")).value(0);
    if (code == 0)
        QCOMPARE(closed, q("closed 1006"));
    else
        QVERIFY2(closed == q("closed %1").arg(code) || (code > 1011 && closed == q("closed 1002")),
                 qPrintable(closed));
}

void tst_ForeignServer::restartedServer_isFoundAgain()
{
    QVERIFY(server->start(q("plain")));
    bind();
    for (int round = 0; round < 3; ++round) {
        server->stop();
        QTRY_VERIFY(!client->connected());
        QVERIFY(server->start(q("plain")));
        QTRY_VERIFY(client->connected());
        QTRY_COMPARE(level->value().toDouble(), 41.5);
        QVERIFY(level->update(round));
        QTRY_COMPARE(level->value().toDouble(), double(round));
    }
}

QTEST_GUILESS_MAIN(tst_ForeignServer)
#include "tst_foreignserver.moc"
