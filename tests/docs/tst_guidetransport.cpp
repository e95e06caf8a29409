// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "docs/snippets/transport/localsocketclient.h"
#include "models/keywordquerymodel.h"
#include "server/keywordserver.h"
#include "server/keywordsession.h"

#include <QtCore/QCoreApplication>
#include <QtNetwork/QLocalServer>
#include <QtTest/QTest>

using namespace pellix::client;
using namespace pellix::server;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

// The transport of the guide, with a server behind a local socket.
class tst_GuideTransport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        KeywordServer::Keyword level;
        level.path = q("/plant/level");
        level.type = q("double");
        level.access = q("RW");
        level.label = q("Level");
        level.value = 40.0;
        QVERIFY(server.declare(level));
        connect(&local, &QLocalServer::newConnection, this, [this] {
            QLocalSocket *const socket = local.nextPendingConnection();
            KeywordSession *const session = server.openSession(socket);
            connect(socket, &QLocalSocket::readyRead, session, [socket, session] {
                while (socket->canReadLine())
                    session->receive(socket->readLine());
            });
            connect(session, &KeywordSession::send, socket,
                    [socket](const QByteArray &message) { socket->write(message + '\n'); });
            connect(this, &tst_GuideTransport::hangUp, socket, &QLocalSocket::abort);
        });
        QVERIFY2(listen(), qPrintable(local.errorString()));
    }

    void valuesAreFollowedAndWritten();
    void childrenAreListed();
    void handlersMayDeleteIt();

Q_SIGNALS:
    void hangUp();

private:
    bool listen()
    {
        return local.isListening()
            || local.listen(q("tst_guidetransport-%1").arg(QCoreApplication::applicationPid()));
    }

    KeywordServer server;
    QLocalServer local;
};

void tst_GuideTransport::valuesAreFollowedAndWritten()
{
    LocalSocketClient client;
    PKeywordProxy level;
    level.setClient(&client);
    level.setKeyword(q("/plant/level"));
    QVERIFY(!level.update(1));
    client.open(local.serverName());
    QTRY_COMPARE(level.value(), QVariant(40));
    QVERIFY(client.connected());
    QVERIFY(level.update(55.5));
    QTRY_COMPARE(server.value(q("/plant/level")), QVariant(55.5));
    QTRY_COMPARE(level.value(), QVariant(55.5));

    Q_EMIT hangUp();
    QTRY_VERIFY(!client.connected());
    QVERIFY(!level.value().isValid());
    client.open(local.serverName());
    QTRY_COMPARE(level.value(), QVariant(55.5));
}

void tst_GuideTransport::childrenAreListed()
{
    LocalSocketClient client;
    client.open(local.serverName());
    QTRY_VERIFY(client.connected());
    PKeywordQueryModel children;
    children.setKeywordClient(&client);
    children.setKeyword(q("/plant"));
    QTRY_COMPARE(children.rowCount(), 1);
}

void tst_GuideTransport::handlersMayDeleteIt()
{
    auto *const client = new LocalSocketClient;
    const QPointer<LocalSocketClient> watched(client);
    PKeywordProxy level;
    level.setClient(client);
    level.setKeyword(q("/plant/level"));
    connect(&level, &PKeywordProxy::valueChanged, this, [&level, &watched] {
        if (level.value().isValid())
            delete watched;
    });
    client->open(local.serverName());
    QTRY_VERIFY(!watched);
    QVERIFY(!level.value().isValid());
}

QTEST_GUILESS_MAIN(tst_GuideTransport)
#include "tst_guidetransport.moc"
