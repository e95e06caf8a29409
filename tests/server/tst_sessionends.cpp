// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/clientidentification.h"
#include "server/keywordserver.h"
#include "server/keywordsession.h"
#include "server/websocketkeywordserver.h"
#include "tests/support/rawclient.h"
#include "tests/support/waitfor.h"

#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>
#include <QtNetwork/QSslKey>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>

#include <functional>
#include <memory>
#include <vector>

using namespace pellix::server;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QByteArray command(const char *name, const char *payload)
{
    return RawClient::frame(1,
                            q(R"({"cmd":"%1","payload":{%2}})").arg(q(name), q(payload)).toUtf8());
}

class Listener : public WebSocketKeywordServer
{
public:
    using WebSocketKeywordServer::abortClients;
    using WebSocketKeywordServer::clients;
    using WebSocketKeywordServer::WebSocketKeywordServer;

    std::function<void()> whenDelivered;

protected:
    void deliver(QWebSocket *client, const QByteArray &message) override
    {
        const QPointer<QWebSocket> alive(client);
        if (whenDelivered)
            std::exchange(whenDelivered, {})();
        if (alive)
            WebSocketKeywordServer::deliver(client, message);
    }
};

const char *const plainStates[] = {"connected", "half a request", "joined",    "watching",
                                   "aggregate", "full queue",     "undecided", "long answer"};
const char *const encryptedStates[] = {
    "connected", "half a TLS handshake", "half a request", "joined",     "watching",
    "aggregate", "full queue",           "undecided",      "long answer"};
const char *const endings[] = {"client closes",    "client aborts",
                               "server closes",    "server aborts",
                               "listener closes",  "listener deleted",
                               "keywords cleared", "keywords deleted",
                               "session deleted",  "socket deleted",
                               "role removed",     "token revoked",
                               "TLS replaced",     "listener and keywords deleted"};
const char *const moments[] = {"keywordRequested", "keywordReleased", "indexRequested",
                               "valueWritten",     "write handler",   "deliver",
                               "deliver, resumed", "roleRemoved",     "clientCountChanged",
                               "session destroyed"};

} // namespace

// Ends sessions in each way, in each state, and inside each signal. The sanitizers detect errors;
// in addition, no objects may be left.
class tst_SessionEnds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void ends_inEachState_data();
    void ends_inEachState();
    void ends_insideOfEachSignal_data();
    void ends_insideOfEachSignal();

private:
    bool listen(bool encrypted);
    bool setTls();
    bool setTokens(bool good);
    bool bring(const QString &state);
    void fillQueue();
    void end(const QString &ending);
    void checkNothingIsLeft();

    std::unique_ptr<KeywordServer> keywords;
    std::unique_ptr<Listener> listener;
    std::unique_ptr<RawClient> client;
    std::vector<WriteRequest> requests;
    QByteArray token;
};

void tst_SessionEnds::initTestCase()
{
    QLoggingCategory::setFilterRules(q("pellixclient.server.websocketserver=false"));
}

void tst_SessionEnds::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    keywords = std::make_unique<KeywordServer>();
    for (int i = 0; i < 1000; ++i)
        keywords->declare({q("/plant/a/long/name/k%1").arg(i), q("int"), q("RW"), QString(), 0});
    keywords->declare({q("/p/a"), q("int"), q("RW"), QString(), 0});
    keywords->declare({q("/p/h"), q("int"), q("RW"), QString(), 0});
    keywords->setWriteHandler(q("/p/h"),
                              [this](const WriteRequest &request) { requests.push_back(request); });
    QVERIFY(keywords->setRole({q("guest"), {q("/**")}, {q("/**")}}));
    listener = std::make_unique<Listener>(keywords.get());
    token.clear();
}

void tst_SessionEnds::cleanup()
{
    for (const WriteRequest &request : std::exchange(requests, {}))
        request.accept(); // the writer may have been destroyed long ago
    client.reset();
    listener.reset();
    keywords.reset();
}

bool tst_SessionEnds::setTls()
{
    QFile file(q(TLS_FILES "/server.key"));
    const auto certificates = QSslCertificate::fromPath(q(TLS_FILES "/server.crt"));
    return file.open(QIODevice::ReadOnly)
        && listener->setTls(certificates.value(0), QSslKey(&file, QSsl::Ec));
}

bool tst_SessionEnds::setTokens(bool good)
{
    ClientIdentification identification;
    const QByteArray created = identification.tokens.create(q("panel"), q("guest"));
    if (good)
        token = created;
    return listener->setIdentification(identification);
}

bool tst_SessionEnds::listen(bool encrypted)
{
    if (!setTokens(true) || (encrypted && !setTls()) || !listener->listen())
        return false;
    const QUrl url = listener->url();
    client = std::make_unique<RawClient>(url, encrypted);
    return true;
}

bool tst_SessionEnds::bring(const QString &state)
{
    const auto taken = [this](quint64 commands) {
        return waitFor([this, commands] { return keywords->statistics().commands >= commands; });
    };
    if (state == q("connected"))
        return waitFor([this] { return listener->handshakeCount() == 1; });
    if (state == q("half a TLS handshake")) {
        const QUrl url = listener->url();
        client = std::make_unique<RawClient>(url);
        client->send(QByteArray::fromHex("1603010200010001fc0303"));
        return waitFor([this] { return client->socket.bytesToWrite() == 0; });
    }
    if (state == q("half a request")) {
        client->send(RawClient::request().chopped(4));
        return waitFor([this] {
            return client->socket.isOpen() && client->socket.bytesToWrite() == 0
                && listener->handshakeCount() == 1;
        });
    }
    if (!client->open("Authorization: Bearer " + token + "\r\n"))
        return false;
    if (state == q("watching")) {
        client->send(command("keyCreateOrUpdate", R"("keyword":"/p/a")"));
        client->send(command("keyCreateOrUpdate", R"("keyword":"#p#h")"));
        return taken(2);
    }
    if (state == q("aggregate")) {
        client->send(command("keyCreateOrUpdate",
                             R"("keyword":"/x","children":["/p/a","/x"],"aggregation":"sum")"));
        return taken(1);
    }
    if (state == q("undecided")) {
        client->send(command("keyUpdate", R"("keyword":"/p/h","value":7)"));
        return waitFor([this] { return requests.size() == 1; });
    }
    if (state == q("long answer")) {
        client->setReading(100);
        client->send(
            command("keyIndex", R"("factory":"plant","keyQuery":["a","long","name"],"uuid":"x")"));
        return taken(1);
    }
    if (state == q("full queue")) {
        fillQueue();
        return keywords->statistics().sendingBytes > 0;
    }
    return waitFor([this] { return listener->clientCount() == 1; });
}

// More replies than the client reads, and changes after them.
void tst_SessionEnds::fillQueue()
{
    client->setReading(0);
    client->send(command("keyCreateOrUpdate", R"("keyword":"/p/a")"));
    for (int i = 0; i < 100; ++i) {
        client->send(
            command("keyIndex", R"("factory":"plant","keyQuery":["a","long","name"],"uuid":"x")"));
    }
    const bool isFull =
        waitFor([this] { return keywords->statistics().sendingBytes > qint64(32) * 1024; });
    if (isFull)
        keywords->setValue(q("/p/a"), 5);
}

void tst_SessionEnds::end(const QString &ending)
{
    if (ending == q("client closes")) {
        if (client->isConnected())
            client->send(RawClient::frame(8, QByteArray()));
        client->socket.disconnectFromHost();
    } else if (ending == q("client aborts")) {
        client->socket.abort();
    } else if (ending == q("server closes")) {
        listener->closeClients();
    } else if (ending == q("server aborts")) {
        listener->abortClients();
    } else if (ending == q("listener closes")) {
        listener->close();
    } else if (ending == q("listener deleted")) {
        listener.reset();
    } else if (ending == q("keywords cleared")) {
        keywords->clear();
    } else if (ending == q("keywords deleted")) {
        keywords.reset();
    } else if (ending == q("listener and keywords deleted")) {
        listener.reset();
        keywords.reset();
    } else if (ending == q("session deleted")) {
        const QList<QWebSocket *> sockets = listener->clients();
        for (QWebSocket *socket : sockets)
            qDeleteAll(socket->findChildren<KeywordSession *>());
    } else if (ending == q("socket deleted")) {
        const QList<QWebSocket *> sockets = listener->clients();
        for (QWebSocket *socket : sockets)
            socket->deleteLater();
    } else if (ending == q("role removed")) {
        keywords->removeRole(q("guest"));
    } else if (ending == q("token revoked")) {
        QVERIFY(setTokens(false));
    } else if (ending == q("TLS replaced")) {
        QVERIFY(setTls());
    } else {
        QFAIL("no such ending");
    }
}

void tst_SessionEnds::checkNothingIsLeft()
{
    if (listener && client)
        client->socket.abort(); // if still connected
    if (listener) {
        QVERIFY(waitFor([this] { return listener->clientCount() == 0; }));
        QVERIFY(waitFor([this] { return listener->handshakeCount() == 0; }));
    }
    for (const WriteRequest &request : std::exchange(requests, {}))
        request.accept();
    if (!keywords)
        return;
    QVERIFY(waitFor([this] { return keywords->sessionCount() == 0; }));
    QCOMPARE(keywords->statistics().watchedKeywords, qint64(0));
    QVERIFY(waitFor([this] { return keywords->statistics().sendingBytes == 0; }));
}

void tst_SessionEnds::ends_inEachState_data()
{
    QTest::addColumn<bool>("encrypted");
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("ending");
    for (const char *ending : endings) {
        for (const char *state : plainStates)
            QTest::addRow("ws, %s, %s", state, ending) << false << q(state) << q(ending);
        for (const char *state : encryptedStates)
            QTest::addRow("wss, %s, %s", state, ending) << true << q(state) << q(ending);
    }
}

void tst_SessionEnds::ends_inEachState()
{
    QFETCH(bool, encrypted);
    QFETCH(QString, state);
    QFETCH(QString, ending);
    QVERIFY(listen(encrypted));
    QVERIFY(bring(state));
    end(ending);
    QCoreApplication::processEvents();
    if (keywords)
        keywords->setValue(q("/p/a"), 9);
    checkNothingIsLeft();
}

void tst_SessionEnds::ends_insideOfEachSignal_data()
{
    QTest::addColumn<bool>("encrypted");
    QTest::addColumn<QString>("moment");
    QTest::addColumn<QString>("ending");
    for (const char *moment : moments) {
        for (const char *ending : endings) {
            QTest::addRow("ws, %s, %s", moment, ending) << false << q(moment) << q(ending);
            QTest::addRow("wss, %s, %s", moment, ending) << true << q(moment) << q(ending);
        }
    }
}

void tst_SessionEnds::ends_insideOfEachSignal()
{
    QFETCH(bool, encrypted);
    QFETCH(QString, moment);
    QFETCH(QString, ending);
    QVERIFY(listen(encrypted));
    const bool isResumed = moment == q("deliver, resumed");
    QVERIFY(bring(isResumed ? q("full queue") : q("watching")));
    bool done = false;
    QObject context;
    const auto once = [&] {
        if (!std::exchange(done, true))
            end(ending);
    };
    if (moment == q("keywordRequested")) {
        connect(keywords.get(), &KeywordServer::keywordRequested, &context, once);
        client->send(command("keyCreateOrUpdate", R"("keyword":"/p/x")"));
    } else if (moment == q("keywordReleased")) {
        connect(keywords.get(), &KeywordServer::keywordReleased, &context, once);
        client->send(command("keyCreateOrUpdate", R"("keyword":"/p/x")"));
        client->send(command("keyDestroy", R"("keyword":"/p/x")"));
    } else if (moment == q("indexRequested")) {
        connect(keywords.get(), &KeywordServer::indexRequested, &context, once);
        client->send(command("keyIndex", R"("keyQuery":["p"])"));
    } else if (moment == q("valueWritten")) {
        connect(keywords.get(), &KeywordServer::valueWritten, &context, once);
        client->send(command("keyUpdate", R"("keyword":"/p/a","value":1)"));
    } else if (moment == q("write handler")) {
        keywords->setWriteHandler(q("/p/h"), [once](const WriteRequest &request) {
            // The handler may be replaced, and the request destroyed.
            // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
            const WriteRequest kept = request;
            const auto ends = once;
            ends();
            kept.accept();
        });
        client->send(command("keyUpdate", R"("keyword":"/p/h","value":1)"));
    } else if (moment == q("deliver")) {
        listener->whenDelivered = once;
        keywords->setValue(q("/p/a"), 3);
    } else if (isResumed) {
        listener->whenDelivered = once;
        client->setReading(qint64(1024) * 1024);
    } else if (moment == q("roleRemoved")) {
        connect(keywords.get(), &KeywordServer::roleRemoved, &context, once);
        keywords->removeRole(q("guest"));
    } else if (moment == q("clientCountChanged")) {
        connect(listener.get(), &WebSocketKeywordServer::clientCountChanged, &context, once);
        client->socket.abort();
    } else {
        const auto sessions = listener->clients().constFirst()->findChildren<KeywordSession *>();
        QCOMPARE(sessions.size(), 1);
        connect(sessions.constFirst(), &QObject::destroyed, &context, once);
        client->socket.abort();
    }
    QVERIFY(waitFor([&done] { return done; }));
    QCoreApplication::processEvents();
    checkNothingIsLeft();
}

QTEST_GUILESS_MAIN(tst_SessionEnds)
#include "tst_sessionends.moc"
