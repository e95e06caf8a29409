// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/websocketkeywordclient.h"
#include "docs/snippets/lifetimes.h"
#include "docs/snippets/logging.h"
#include "extras/keywordextrasmodule.h"
#include "extras/tables/keywordtable.h"
#include "extras/writing/keywordwrite.h"
#include "models/keywordquerymodel.h"
#include "module/pellixclientkeywordmodule.h"
#include "server/keywordsession.h"
#include "simulator/faultywebsocketserver.h"
#include "simulator/jsonscene.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QScopeGuard>
#include <QtCore/QTemporaryDir>
#include <QtGui/QAccessible>
#include <QtGui/QColor>
#include <QtQml/QQmlApplicationEngine>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>
#include <functional>

using namespace pellix::client;
using namespace pellix::server;
using namespace pellix::simulator;
using pellix::extras::PKeywordTable;
using pellix::extras::PKeywordWrite;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QString snippet(const char *name)
{
    return q(SNIPPETS "/") + q(name);
}

QJsonObject message(const char *name)
{
    QFile file(snippet("protocol/") + q(name) + q(".json"));
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                          : QJsonObject();
}

QByteArray text(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject object(const QByteArray &json)
{
    return QJsonDocument::fromJson(json).object();
}

// The code blocks of README.md in this language.
QList<QByteArray> blocksOfReadme(const QByteArray &language)
{
    QList<QByteArray> blocks;
    QFile file(q(README));
    if (!file.open(QIODevice::ReadOnly))
        return blocks;
    const QByteArray text = '\n' + file.readAll();
    const QByteArray opening = "\n```" + language + '\n';
    for (auto at = text.indexOf(opening); at >= 0; at = text.indexOf(opening, at)) {
        at += opening.size();
        blocks.append(text.mid(at, text.indexOf("```", at) - at));
    }
    return blocks;
}

// The commands in the transcripts of a guide, and their output in the guide.
QList<std::pair<QString, QString>> transcriptOf(const char *guide)
{
    QList<std::pair<QString, QString>> commands;
    QFile file(q(GUIDES "/") + q(guide));
    bool isTranscript = false;
    while (file.isOpen() || file.open(QIODevice::ReadOnly)) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        isTranscript = isTranscript && line != q("\\endcode");
        if (line.startsWith(q("$ "))) {
            isTranscript = true;
            commands.append({line.mid(2), QString()});
        } else if (isTranscript) {
            commands.last().second += line + QLatin1Char('\n');
        }
        if (file.atEnd())
            break;
    }
    return commands;
}

// The level changes all the time.
QString withoutLevels(QString text)
{
    static const QRegularExpression level(q("(?<=/plant/tank1/level)(.*?)\\d+( *)(?=double|$)"),
                                          QRegularExpression::MultilineOption);
    return text.replace(level, q("\\1N "));
}

QList<QByteArray> logged;

void record(QtMsgType, const QMessageLogContext &context, const QString &)
{
    logged.append(context.category);
}

} // namespace

// Tests that the code quoted in the guides works as described.
class tst_Guides : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
        pellix::extras::KeywordExtrasModule::registerTypes();
    }
    void init();
    void cleanup();

    void firstScreen_showsTheLevelAndMovesTheSetpoint();
    void firstScreen_runsAsAProgram();
    void cpp_printsTheLevel();
    void serving_clientsFollowAndWriteTheTank();
    void serving_commandsPrintWhatTheGuideShows();
    void serving_refusesWhatIsNoPort();
    void stateFrame_names_data();
    void stateFrame_names();
    void stateFrame_withoutALink_isNotConnected();
    void trend_keepsDrawsAndSaves();
    void setpoint_isTakenRefusedOrNotAnswered();
    void setpoint_keepsTheOutcomeWhenAnotherClientWrites();
    void setpoint_isTakenAfterAnotherClientsWrite();
    void setpoint_isTakenAfterAnEarlierOneWasRefused();
    void setpoint_isRefusedOnceMore();
    void setpoint_isChangedByALimit();
    void setpoint_isNotAnsweredByTheValueAfterALostLink();
    void setpoint_isTakenWhenItWasTheValueAlready();
    void setpoint_hasNoOutcomeWithoutAWrite();
    void setpoint_sliderFollowsTheServer();
    void setpoint_sliderStaysWhereItIsUntilTheOutcome();
    void expressions_followTheTank();
    void expressions_aggregateOnTheServer();
    void expressions_sameIsUnknownUntilAllAnswer();
    void expressions_aQtObjectPropertyTakesAny();
    void browse_listsFiltersAndOpens();
    void browse_asksAgainWhenTheLinkIsBack();
    void connecting_saysHowItIs();
    void connecting_lampFollowsAnyClient();
    void browseTree_expands();
    void alarms_comeAndAreAcknowledged();
    void table_followsThePattern();
    void table_isEditedByKeys();
    void table_keepsWhatIsTyped();
    void readme_showsAKeywordAndWritesIt();
    void readme_registersAsTheFirstScreenDoes();
    void readme_buildsQmlAsTheTestDoes();
    void logging_isSilencedByTheRule();
    void logging_rulesEnableOneCategory();
    void lifetimes_anyOrder_data();
    void lifetimes_anyOrder();
    void protocol_commandsAreWhatTheClientSends();
    void protocol_serverAnswersAsShown();
    void protocol_clientTakesTheMessagesOfTheServer();

private:
    QQuickItem *load(const char *name, const QVariantMap &properties);
    QObject *part(const char *name) const { return item->findChild<QObject *>(q(name)); }
    QVariant textOf(const char *name) const { return part(name)->property("text"); }
    bool loadSetpoint()
    {
        return load("Setpoint.qml", {{q("client"), QVariant::fromValue(client.get())}});
    }
    QQuickItem *slider() const { return item->childItems().value(0); }
    void send(double value) const { item->findChild<PKeywordWrite *>()->set(value); }
    QString outcome() const { return item->childItems().value(2)->property("text").toString(); }
    QString shown() const
    {
        const QString values = item->childItems().value(1)->property("text").toString();
        return outcome().isEmpty() ? values : values + QLatin1Char('|') + outcome();
    }
    void answerWrites(const std::function<void(double)> &answer);
    void editTable(QQuickWindow *window);
    QString cell(int row, int column) const;

    std::unique_ptr<KeywordServer> server;
    std::unique_ptr<PInProcessKeywordClient> client;
    std::unique_ptr<QQmlEngine> engine;
    std::unique_ptr<QQuickItem> item;
};

void tst_Guides::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    server = std::make_unique<KeywordServer>();
    JsonScene scene(server.get());
    QVERIFY(scene.load(q(PLANT_SCENE)));
    client = std::make_unique<PInProcessKeywordClient>();
    linkInProcess(server.get(), client.get());
    engine = std::make_unique<QQmlEngine>();
}

void tst_Guides::cleanup()
{
    item.reset();
    engine.reset();
    client.reset();
    server.reset();
}

QQuickItem *tst_Guides::load(const char *name, const QVariantMap &properties)
{
    QQmlComponent component(engine.get(), QUrl::fromLocalFile(snippet(name)));
    item.reset(qobject_cast<QQuickItem *>(component.createWithInitialProperties(properties)));
    if (!item)
        qWarning() << component.errors();
    return item.get();
}

void tst_Guides::firstScreen_showsTheLevelAndMovesTheSetpoint()
{
    FaultyWebSocketServer socketServer(server.get());
    QVERIFY(socketServer.listen());
    QQmlApplicationEngine window;
    window.setInitialProperties({{q("address"), socketServer.url().toString()}});
    window.load(QUrl::fromLocalFile(snippet("firstscreen/Main.qml")));
    QCOMPARE(window.rootObjects().size(), 1);
    const auto part = [&](const char *name) {
        return window.rootObjects().constFirst()->findChild<QObject *>(q(name));
    };

    QTRY_COMPARE(part("levelText")->property("text").toString(), q("45.0"));
    QTRY_COMPARE(part("setpointText")->property("text").toString(), q("setpoint 60"));
    QVERIFY(!part("linkText")->property("visible").toBool());

    QVERIFY(QMetaObject::invokeMethod(part("more"), "clicked"));
    QTRY_COMPARE(part("setpointText")->property("text").toString(), q("setpoint 65"));

    QTest::ignoreMessage(QtWarningMsg, "\"The remote host closed the connection\"");
    socketServer.close();
    QTRY_VERIFY(part("linkText")->property("visible").toBool());
    QCOMPARE(part("levelText")->property("text").toString(), q("–"));
    QVERIFY(window.rootObjects().constFirst()->setProperty("address", QString()));
}

void tst_Guides::firstScreen_runsAsAProgram()
{
    FaultyWebSocketServer socketServer(server.get());
    QVERIFY(socketServer.listen());
    QProcess program;
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    program.start(q(FIRST_SCREEN), {socketServer.url().toString()});
    QTRY_COMPARE_WITH_TIMEOUT(socketServer.clientCount(), 1, 20000);
    QSignalSpy gone(&socketServer, &FaultyWebSocketServer::clientCountChanged);
    program.terminate();
    QTRY_COMPARE(socketServer.clientCount(), 0);
    QVERIFY(program.state() == QProcess::NotRunning || program.waitForFinished());
}

void tst_Guides::cpp_printsTheLevel()
{
    FaultyWebSocketServer socketServer(server.get());
    QVERIFY(socketServer.listen());
    QVERIFY(server->setValue(q("/plant/tank1/level"), 41.5));
    QProcess program;
    const auto end = qScopeGuard([&program] {
        program.kill();
        program.waitForFinished();
    });
    program.setProcessChannelMode(QProcess::MergedChannels);
    program.start(q(WATCH_LEVEL), {socketServer.url().toString()});
    QByteArray said;
    const auto says = [&](const char *line) {
        said += program.readAll();
        return said.contains(line);
    };
    QTRY_VERIFY_WITH_TIMEOUT(says("\nlevel: 41.5\n"), 20000);
    QVERIFY(says("connected\n") && !says("not connected\n"));
    QVERIFY(server->setValue(q("/plant/tank1/level"), 42.5));
    QTRY_VERIFY(says("level: 42.5\n"));
    socketServer.close();
    QTRY_VERIFY(says("not connected\n"));
}

void tst_Guides::serving_clientsFollowAndWriteTheTank()
{
    QProcess program;
    const auto end = qScopeGuard([&program] {
        program.kill();
        program.waitForFinished();
    });
    program.setProcessChannelMode(QProcess::MergedChannels);
    program.start(q(SERVE_TANK), {q("0")});
    QTRY_VERIFY_WITH_TIMEOUT(program.canReadLine(), 20000);
    const QString said = QString::fromUtf8(program.readLine()).trimmed();
    QVERIFY2(said.startsWith(q("serving at ws://127.0.0.1:")), qPrintable(said));
    PWebSocketKeywordClient socket;
    socket.setUrls({said.section(QLatin1Char(' '), -1)});
    PKeywordProxy level, setpoint, mode;
    for (const auto &[proxy, name] :
         {std::pair(&level, "level"), std::pair(&setpoint, "setpoint"), std::pair(&mode, "mode")}) {
        proxy->setKeyword(q("/plant/tank1/") + q(name));
        proxy->setClient(&socket);
    }
    QTRY_COMPARE(level.value(), QVariant(40));
    QTRY_COMPARE(mode.value(), QVariant(q("Automatic")));

    QVERIFY(setpoint.update(250));
    QTRY_COMPARE(setpoint.value(), QVariant(100));
    QTRY_VERIFY(level.value().toDouble() > 41);
    QVERIFY(mode.update(q("Manual")));
    QTRY_COMPARE(mode.value(), QVariant(q("Manual")));
    QVERIFY(level.update(7));
    QTRY_VERIFY(level.error());
}

void tst_Guides::serving_commandsPrintWhatTheGuideShows()
{
#ifndef KEYWORD_PROGRAM
    QSKIP("The programs are not built.");
#else
    QProcess tank;
    const auto end = qScopeGuard([&tank] {
        tank.kill();
        tank.waitForFinished();
    });
    tank.setProcessChannelMode(QProcess::MergedChannels);
    tank.start(q(SERVE_TANK), {q("0")});
    QTRY_VERIFY_WITH_TIMEOUT(tank.canReadLine(), 20000);
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(q("KEYWORD_URL"),
                       QString::fromUtf8(tank.readLine()).trimmed().section(QLatin1Char(' '), -1));
    int commands = 0;
    for (const auto &[command, shown] : transcriptOf("serving.qdoc")) {
        QStringList words = QProcess::splitCommand(command);
        if (words.takeFirst() != q("keyword"))
            continue;
        QProcess keyword;
        keyword.setProcessEnvironment(environment);
        keyword.setProcessChannelMode(QProcess::MergedChannels);
        keyword.start(q(KEYWORD_PROGRAM), words);
        QVERIFY(keyword.waitForFinished());
        QCOMPARE(withoutLevels(QString::fromUtf8(keyword.readAll())), withoutLevels(shown));
        ++commands;
    }
    QCOMPARE(commands, 8);
#endif
}

void tst_Guides::serving_refusesWhatIsNoPort()
{
    QProcess program;
    program.setProcessChannelMode(QProcess::MergedChannels);
    program.start(q(SERVE_TANK), {q("tank")});
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 1);
    QCOMPARE(program.readAll().trimmed(), QByteArray("cannot listen on port tank: no port number"));
}

void tst_Guides::stateFrame_names_data()
{
    QTest::addColumn<bool>("connected");
    QTest::addColumn<bool>("online");
    QTest::addColumn<bool>("consistent");
    QTest::addColumn<bool>("error");
    QTest::addColumn<QString>("condition");
    QTest::newRow("good") << true << true << true << false << q("good");
    QTest::newRow("inconsistent") << true << true << false << false << q("inconsistent");
    QTest::newRow("offline") << true << false << false << false << q("offline");
    QTest::newRow("not connected") << false << false << false << false << q("not connected");
    QTest::newRow("error before all") << false << false << false << true << q("error");
}

void tst_Guides::stateFrame_names()
{
    QFETCH(bool, connected);
    QFETCH(bool, online);
    QFETCH(bool, consistent);
    QFETCH(bool, error);
    QFETCH(QString, condition);

    const QString name = q("/plant/name");
    QVERIFY(load("FramedLevel.qml",
                 {{q("client"), QVariant::fromValue(client.get())}, {q("keyword"), name}}));
    QTRY_COMPARE(item->property("condition").toString(), q("good"));
    QVERIFY(server->setState(name, connected, online, consistent, error));
    QTRY_COMPARE(item->property("condition").toString(), condition);
    QCOMPARE(textOf("valueText").toString(), q("Riverside works"));
}

void tst_Guides::stateFrame_withoutALink_isNotConnected()
{
    QVERIFY(
        load("FramedLevel.qml",
             {{q("client"), QVariant::fromValue(client.get())}, {q("keyword"), q("/plant/name")}}));
    QTRY_COMPARE(item->property("condition").toString(), q("good"));
    client->publisher()->setActive(false);
    QCOMPARE(item->property("condition").toString(), q("not connected"));
    QCOMPARE(textOf("valueText").toString(), q("–"));
}

void tst_Guides::trend_keepsDrawsAndSaves()
{
    QVERIFY(
        load("Trend.qml", {{q("client"), QVariant::fromValue<PKeywordClient *>(client.get())}}));
    QTRY_COMPARE(textOf("mean").toString(), q("mean level 45.0"));
    QCOMPARE(part("plot")->property("span").toDouble(), 600.0);
    QTemporaryDir folder;
    QString said;
    QVERIFY(QMetaObject::invokeMethod(item.get(), "save", Q_RETURN_ARG(QString, said),
                                      Q_ARG(QString, folder.filePath(q("a.csv")))));
    QCOMPARE(said, q("saved"));
    QFile file(folder.filePath(q("a.csv")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray header = "\"Time\",\"Level\",\"/plant/tank1/setpoint\"\r\n";
    QCOMPARE(file.readLine(), header);
    QVERIFY(QMetaObject::invokeMethod(item.get(), "save", Q_RETURN_ARG(QString, said),
                                      Q_ARG(QString, folder.filePath(q("none/a.csv")))));
    QVERIFY2(said.contains(q("none/a.csv")), qPrintable(said));
}

void tst_Guides::setpoint_isTakenRefusedOrNotAnswered()
{
    const QString path = q("/plant/tank1/setpoint");
    QVERIFY(loadSetpoint());
    QTRY_COMPARE(shown(), q("setpoint 60, level 45"));
    QCOMPARE(outcome(), QString());

    send(70);
    QCOMPARE(outcome(), q("pending"));
    QTRY_COMPARE(outcome(), q("taken"));
    QCOMPARE(server->value(path).toDouble(), 70.0);

    server->setWriteCheck(path, [](const QVariant &value) { return value.toDouble() <= 80; });
    send(90);
    QTRY_COMPARE(outcome(), q("the server refused it"));
    QCOMPARE(server->value(path).toDouble(), 70.0);

    send(75);
    QTRY_COMPARE(outcome(), q("taken"));

    // There is no reply any more.
    client->disconnect(SIGNAL(sendToServer(QByteArray)));
    send(20);
    QTRY_COMPARE_WITH_TIMEOUT(outcome(), q("no reply within 6 s"), 30000);
}

// Makes the function, and not the server, reply to the following writes.
void tst_Guides::answerWrites(const std::function<void(double)> &answer)
{
    auto *const session = client->findChild<KeywordSession *>();
    QVERIFY(session);
    client->disconnect(SIGNAL(sendToServer(QByteArray)));
    QObject::connect(client.get(), &PInProcessKeywordClient::sendToServer, session,
                     [session, answer](const QByteArray &command) {
                         const QJsonObject sent = object(command);
                         if (sent.value(q("cmd")) == q("keyUpdate"))
                             answer(
                                 sent.value(q("payload")).toObject().value(q("value")).toDouble());
                         else
                             session->receive(command);
                     });
}

void tst_Guides::setpoint_keepsTheOutcomeWhenAnotherClientWrites()
{
    QVERIFY(loadSetpoint());
    QTRY_COMPARE(shown(), q("setpoint 60, level 45"));
    send(70);
    QTRY_COMPARE(shown(), q("setpoint 70, level 45|taken"));
    QVERIFY(server->setValue(q("/plant/tank1/setpoint"), 33.0));
    QTRY_COMPARE(slider()->property("value").toDouble(), 33.0);
    QCOMPARE(shown(), q("setpoint 33, level 45|taken"));
}

void tst_Guides::setpoint_isTakenAfterAnotherClientsWrite()
{
    const QString path = q("/plant/tank1/setpoint");
    QVERIFY(loadSetpoint());
    QTRY_COMPARE(shown(), q("setpoint 60, level 45"));
    server->setWriteCheck(path, [&](const QVariant &) { return server->setValue(path, 33.0); });
    send(70);
    QTRY_VERIFY(outcome() != q("pending"));
    QCOMPARE(shown(), q("setpoint 70, level 45|taken"));
}

void tst_Guides::setpoint_isTakenAfterAnEarlierOneWasRefused()
{
    QVERIFY(loadSetpoint());
    QTRY_COMPARE(shown(), q("setpoint 60, level 45"));
    server->setWriteCheck(q("/plant/tank1/setpoint"),
                          [](const QVariant &value) { return value.toDouble() <= 80; });
    send(90);
    send(75);
    QTRY_COMPARE(shown(), q("setpoint 75, level 45|taken"));
}

void tst_Guides::setpoint_isRefusedOnceMore()
{
    QVERIFY(loadSetpoint());
    QTRY_COMPARE(shown(), q("setpoint 60, level 45"));
    server->setWriteCheck(q("/plant/tank1/setpoint"), [](const QVariant &) { return false; });
    send(90);
    QTRY_COMPARE(outcome(), q("the server refused it"));
    send(91);
    QCOMPARE(outcome(), q("pending"));
    QTRY_COMPARE(outcome(), q("the server refused it"));
}

void tst_Guides::setpoint_isChangedByALimit()
{
    QVERIFY(loadSetpoint());
    QTRY_COMPARE(shown(), q("setpoint 60, level 45"));
    answerWrites([this](double value) {
        QVERIFY(server->setValue(q("/plant/tank1/setpoint"), std::min(value, 80.0)));
    });
    send(90);
    QTRY_VERIFY(outcome() != q("pending"));
    QCOMPARE(shown(), q("setpoint 80, level 45|changed"));
}

void tst_Guides::setpoint_isNotAnsweredByTheValueAfterALostLink()
{
    QVERIFY(loadSetpoint());
    QTRY_COMPARE(shown(), q("setpoint 60, level 45"));
    answerWrites([this](double) {
        client->publisher()->setActive(false);
        client->publisher()->setActive(true);
    });
    send(90);
    QCOMPARE(shown(), q("setpoint –, level –|pending"));
    QTRY_COMPARE(shown(), q("setpoint 60, level 45|pending"));
    QTRY_COMPARE_WITH_TIMEOUT(shown(), q("setpoint 60, level 45|the connection was lost"), 30000);
}

void tst_Guides::setpoint_isTakenWhenItWasTheValueAlready()
{
    QVERIFY(loadSetpoint());
    QTRY_COMPARE(shown(), q("setpoint 60, level 45"));
    send(60);
    QTRY_COMPARE(shown(), q("setpoint 60, level 45|taken"));
}

void tst_Guides::setpoint_hasNoOutcomeWithoutAWrite()
{
    const QString path = q("/plant/tank1/setpoint");
    QVERIFY(server->setState(path, true, true, true, true));
    QVERIFY(loadSetpoint());
    QVERIFY(!slider()->property("enabled").toBool());
    QTRY_COMPARE(shown(), q("setpoint 60, level 45"));
    QVERIFY(slider()->property("enabled").toBool());

    QVERIFY(server->setState(path, true, true, true, false));
    QVERIFY(server->setValue(path, 61.0));
    QTRY_COMPARE(shown(), q("setpoint 61, level 45"));
    QVERIFY(server->setState(path, true, true, true, true));
    QVERIFY(server->setValue(path, 62.0));
    QTRY_COMPARE(shown(), q("setpoint 62, level 45"));
}

void tst_Guides::setpoint_sliderFollowsTheServer()
{
    QVERIFY(loadSetpoint());
    QTRY_COMPARE(slider()->property("value").toDouble(), 60.0);
    QVERIFY(server->setValue(q("/plant/tank1/setpoint"), 33.0));
    QTRY_COMPARE(slider()->property("value").toDouble(), 33.0);
}

void tst_Guides::setpoint_sliderStaysWhereItIsUntilTheOutcome()
{
    QVERIFY(loadSetpoint());
    QTRY_COMPARE(slider()->property("value").toDouble(), 60.0);
    client->disconnect(SIGNAL(sendToServer(QByteArray))); // no reply to writes
    QQuickWindow window;
    item->setParentItem(window.contentItem());
    window.show();
    window.requestActivate();
    const auto leave = qScopeGuard([this] { item.reset(); });
    QVERIFY(QTest::qWaitForWindowActive(&window));
    slider()->forceActiveFocus();
    QTest::keyClick(&window, Qt::Key_Right);
    QCOMPARE(slider()->property("value").toDouble(), 61.0);
    QCOMPARE(shown(), q("setpoint 60, level 45|pending"));

    // A value from another client does not move it while the user's value is pending.
    QVERIFY(server->setValue(q("/plant/tank1/setpoint"), 33.0));
    QTRY_COMPARE(shown(), q("setpoint 33, level 45|pending"));
    QCOMPARE(slider()->property("value").toDouble(), 61.0);
    QVERIFY(server->setState(q("/plant/tank1/setpoint"), true, true, true, true));
    QTRY_VERIFY(outcome() != q("pending"));
    QCOMPARE(shown(), q("setpoint 33, level 45|the server refused it"));
    QCOMPARE(slider()->property("value").toDouble(), 33.0);
}

void tst_Guides::expressions_followTheTank()
{
    QVERIFY(load("Expressions.qml", {{q("client"), QVariant::fromValue(client.get())}}));
    QTRY_COMPARE(part("level")->property("value").toDouble(), 45.0);
    QVERIFY(item->setProperty("tank", 2));
    QTRY_COMPARE(part("level")->property("value").toDouble(), 50.0);
    QCOMPARE(part("level")->property("keyword").toString(), q("/plant/tank2/level"));
}

void tst_Guides::expressions_aggregateOnTheServer()
{
    QVERIFY(load("Expressions.qml", {{q("client"), QVariant::fromValue(client.get())}}));
    QTRY_COMPARE(part("highest")->property("value").toDouble(), 55.0);
    QVERIFY(part("highest")->property("keyword").toString().startsWith(q("/store/aggregated/")));
    QVERIFY(server->setValue(q("/plant/tank1/level"), 77.5));
    QTRY_COMPARE(part("highest")->property("value").toDouble(), 77.5);

    QTRY_COMPARE(textOf("sameText").toString(), q("60"));
    QVERIFY(server->setValue(q("/plant/tank1/setpoint"), 10.0));
    QTRY_COMPARE(textOf("sameText").toString(), q("different"));
}

void tst_Guides::expressions_sameIsUnknownUntilAllAnswer()
{
    QVERIFY(load("Expressions.qml", {{q("client"), QVariant::fromValue(client.get())}}));
    QCOMPARE(textOf("sameText").toString(), q("–"));
    QTRY_COMPARE(textOf("sameText").toString(), q("60"));
    client->publisher()->setActive(false);
    QCOMPARE(textOf("sameText").toString(), q("–"));
    client->publisher()->setActive(true);
    QTRY_COMPARE(textOf("sameText").toString(), q("60"));

    QVERIFY(server->remove(q("/plant/tank2/setpoint")));
    QTRY_COMPARE(textOf("sameText").toString(), q("–"));
    QObject *const same = part("sameSetpoint");
    QVERIFY(!same->property("connected").toBool() && !same->property("online").toBool());
    QVERIFY(!same->property("consistent").toBool());
}

void tst_Guides::expressions_aQtObjectPropertyTakesAny()
{
    QQmlComponent component(engine.get());
    component.setData(R"(
        import QtQuick
        import PellixClient.Keyword 1.0
        Item {
            id: root
            property PKeywordClient client
            property QtObject expression: PListPostfixKeywordExpression {
                values: ["/plant/tank1", "/plant/tank2"]
                postfix: "level"
                aggregation: PKeyword.Min
            }
            PKeywordProxy {
                objectName: "proxy"
                client: root.client
                keywordExpression: root.expression
            }
        })",
                      QUrl());
    item.reset(qobject_cast<QQuickItem *>(
        component.createWithInitialProperties({{q("client"), QVariant::fromValue(client.get())}})));
    QVERIFY2(item, qPrintable(component.errorString()));
    QTRY_COMPARE(part("proxy")->property("value").toDouble(), 45.0);
}

void tst_Guides::browse_listsFiltersAndOpens()
{
    FaultyWebSocketServer socketServer(server.get());
    QVERIFY(socketServer.listen());
    PWebSocketKeywordClient webClient;
    webClient.setUrls({socketServer.url().toString()});
    QVERIFY(load("Browse.qml",
                 {{q("client"), QVariant::fromValue(&webClient)}, {q("path"), q("/plant/tank1")}}));
    QTRY_COMPARE(part("list")->property("count").toInt(), 5);
    QVERIFY(part("entries")->setProperty("currentKeyword", q("/plant/tank1/setpoint")));
    QTRY_VERIFY(part("list")->property("currentIndex").toInt() > 0);
    QVERIFY(part("words")->setProperty("text", q("set LEVEL")));
    QTRY_COMPARE(part("list")->property("count").toInt(), 1);
    QCOMPARE(part("levels")->property("normalizedKeyword").toString(), q("/plant/tank1"));

    QVERIFY(part("words")->setProperty("text", QString()));
    QVERIFY(item->setProperty("path", q("/plant/line1/motor1")));
    QTRY_COMPARE(part("list")->property("count").toInt(), 4);
    item.reset();
}

void tst_Guides::browse_asksAgainWhenTheLinkIsBack()
{
    FaultyWebSocketServer socketServer(server.get());
    QVERIFY(socketServer.listen());
    PWebSocketKeywordClient webClient;
    webClient.setUrls({socketServer.url().toString()});
    QTRY_VERIFY(webClient.connected());
    socketServer.setAnswerDelay(std::chrono::hours(1));
    QVERIFY(load("Browse.qml",
                 {{q("client"), QVariant::fromValue(&webClient)}, {q("path"), q("/plant/tank1")}}));
    QVERIFY(part("entries")->property("loading").toBool());

    // The query ends with its connection.
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QTcpSocket): device not open");
    webClient.disconnect();
    QVERIFY(!webClient.connected());
    QVERIFY(part("entries")->property("loading").toBool());

    socketServer.setAnswerDelay(std::chrono::milliseconds(0));
    webClient.setAutoReconnect(true);
    QTRY_COMPARE(part("list")->property("count").toInt(), 5);
    QVERIFY(!part("entries")->property("loading").toBool());
    item.reset();
}

void tst_Guides::connecting_saysHowItIs()
{
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.connection=false"));
    FaultyWebSocketServer socketServer(server.get());
    QVERIFY(socketServer.listen());
    const quint16 port = socketServer.port();
    const QString url = socketServer.url().toString();
    QVERIFY(load("connecting/ConnectionLine.qml", {}));
    QCOMPARE(textOf("stateText").toString(), q("not connected. "));
    QVERIFY(item->setProperty("urls", QStringList(url)));
    QCOMPARE(textOf("stateText").toString(), q("connecting to ") + url);
    QTRY_COMPARE(textOf("stateText").toString(), q("connected to ") + url);
    QVERIFY(!part("tryNow")->property("visible").toBool());

    socketServer.close();
    QTRY_VERIFY(textOf("stateText").toString().endsWith(q("; next attempt in 1 s")));
    QVERIFY2(textOf("stateText").toString().startsWith(url + q(": ")),
             qPrintable(textOf("stateText").toString()));
    QVERIFY(socketServer.listen(QHostAddress::LocalHost, port));
    QVERIFY(QMetaObject::invokeMethod(part("tryNow"), "clicked"));
    QTRY_COMPARE(textOf("stateText").toString(), q("connected to ") + url);

    QVERIFY(item->setProperty("token", q("hush")));
    QCOMPARE(textOf("stateText").toString(),
             q("not connected. credentials are not sent over ws://, which is not encrypted; use "
               "wss://"));
    QLoggingCategory::setFilterRules(QString());
}

void tst_Guides::connecting_lampFollowsAnyClient()
{
    QVERIFY(load("connecting/LinkLamp.qml", {{q("client"), QVariant::fromValue(client.get())}}));
    QCOMPARE(item->property("color").value<QColor>(), QColor(q("green")));
    client->publisher()->setActive(false);
    QCOMPARE(item->property("color").value<QColor>(), QColor(q("red")));
    client->publisher()->setActive(true);
    QCOMPARE(item->property("color").value<QColor>(), QColor(q("green")));
    client.reset();
    QCOMPARE(item->property("color").value<QColor>(), QColor(q("red")));
}

void tst_Guides::browseTree_expands()
{
    QVERIFY(load("BrowseTree.qml", {{q("client"), QVariant::fromValue(client.get())}}));
    QQuickWindow window; // a view without a window has no rows
    item->setParentItem(window.contentItem());
    window.show();
    const auto leave = qScopeGuard([this] { item.reset(); });
    QTRY_COMPARE(item->property("rows").toInt(), 1);
    QVERIFY(QMetaObject::invokeMethod(item.get(), "expand", Q_ARG(int, 0)));
    QTRY_VERIFY(item->property("rows").toInt() > 1);

    // With keys: to the first row, which Space collapses.
    window.requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    item->forceActiveFocus();
    QTest::keyClick(&window, Qt::Key_Down);
    QTest::keyClick(&window, Qt::Key_Up);
    QTRY_COMPARE(item->property("currentRow").toInt(), 0);
    QTest::keyClick(&window, Qt::Key_Space);
    QTRY_COMPARE(item->property("rows").toInt(), 1);
    QTest::keyClick(&window, Qt::Key_Space);
    QTRY_VERIFY(item->property("rows").toInt() > 1);
    QAccessibleInterface *const reader = QAccessible::queryAccessibleInterface(item.get());
    QVERIFY(reader);
    QCOMPARE(reader->role(), QAccessible::Tree);
    QCOMPARE(reader->text(QAccessible::Name), q("Keywords"));
}

void tst_Guides::alarms_comeAndAreAcknowledged()
{
    QVERIFY(load("Alarms.qml", {{q("client"), QVariant::fromValue(client.get())}}));
    QObject *const alarms = part("alarms");
    QCOMPARE(alarms->property("count").toInt(), 0);
    QVERIFY(server->setValue(q("/plant/tank1/level"), 95.0));
    QTRY_COMPARE(alarms->property("activeCount").toInt(), 1);
    QVERIFY(server->setState(q("/plant/tank1/setpoint"), true, false, true, false));
    QTRY_COMPARE(alarms->property("activeCount").toInt(), 2);
    QTRY_COMPARE(part("list")->property("count").toInt(), 2);
    QQuickWindow window; // a view without a window has no rows
    window.resize(400, 600);
    item->setParentItem(window.contentItem());
    window.show();
    const auto leave = qScopeGuard([this] { item.reset(); });
    QQuickItem *row = nullptr;
    // clazy:excludeall=connect-not-normalized
    QTRY_VERIFY(QMetaObject::invokeMethod(part("list"), "itemAtIndex",
                                          Q_RETURN_ARG(QQuickItem *, row), Q_ARG(int, 0))
                && row);
    QVERIFY(row->property("text").toString().endsWith(q("  Tank 1 is full")));
    QAccessibleInterface *const reader = QAccessible::queryAccessibleInterface(row);
    QVERIFY(reader);
    QVERIFY(reader->text(QAccessible::Name).endsWith(q("Tank 1 is full")));
    QCOMPARE(reader->text(QAccessible::Description), q("active, not acknowledged"));
    auto *const list = qobject_cast<QQuickItem *>(part("list"));
    QVERIFY(list);
    QCOMPARE(QAccessible::queryAccessibleInterface(list)->role(), QAccessible::List);
    window.requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    list->forceActiveFocus();
    QCOMPARE(list->property("currentIndex").toInt(), 0);
    QTest::keyClick(&window, Qt::Key_Space);
    QCOMPARE(alarms->property("unacknowledgedCount").toInt(), 1);
    QCOMPARE(reader->text(QAccessible::Description), q("active"));
}

void tst_Guides::table_followsThePattern()
{
    QVERIFY(load("Table.qml", {{q("client"), QVariant::fromValue(client.get())}}));
    auto *const table = part("table")->property("model").value<QAbstractItemModel *>();
    QVERIFY(table);
    QTRY_COMPARE(table->rowCount(), 3);
    QVERIFY(part("pattern")->setProperty("text", q("/plant/tank1/**")));
    QTRY_VERIFY(table->rowCount() > 3);
    item.reset();
}

// Shows the table in a window, with the keyboard focus on the value of the first row.
void tst_Guides::editTable(QQuickWindow *window)
{
    QVERIFY(load("Table.qml", {{q("client"), QVariant::fromValue(client.get())}}));
    window->resize(500, 400);
    item->setParentItem(window->contentItem());
    window->show();
    window->requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(window));
    QTRY_COMPARE(cell(0, PKeywordTable::ValueColumn), q("60"));
    QTRY_COMPARE(cell(1, PKeywordTable::ValueColumn), q("60"));
    qobject_cast<QQuickItem *>(part("pattern"))->forceActiveFocus();
    QTest::keyClick(window, Qt::Key_Tab);
}

// The text shown in the cell.
QString tst_Guides::cell(int row, int column) const
{
    for (const QQuickItem *shown :
         part("table")->property("contentItem").value<QQuickItem *>()->childItems()) {
        if (shown->isVisible() && shown->property("row") == row
            && shown->property("column") == column)
            return shown->property("text").toString();
    }
    return {};
}

void tst_Guides::table_isEditedByKeys()
{
    QQuickWindow window;
    const auto leave = qScopeGuard([this] { item.reset(); });
    editTable(&window);
    server->setWriteCheck(q("/plant/tank2/setpoint"), [](const QVariant &) { return false; });

    QTest::keyClick(&window, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(&window, Qt::Key_7);
    QTest::keyClick(&window, Qt::Key_Return);
    QTRY_COMPARE(cell(0, PKeywordTable::OutcomeColumn), q("taken"));
    QTRY_COMPARE(cell(0, PKeywordTable::ValueColumn), q("7"));
    QCOMPARE(server->value(q("/plant/tank1/setpoint")).toDouble(), 7.0);

    QTest::keyClick(&window, Qt::Key_Tab); // skips cells that cannot be edited
    QTest::keyClick(&window, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(&window, Qt::Key_8);
    QCOMPARE(cell(1, PKeywordTable::ValueColumn), q("8"));
    QTest::keyClick(&window, Qt::Key_Return);
    QCOMPARE(cell(1, PKeywordTable::ValueColumn), q("60"));
    QTRY_COMPARE(cell(1, PKeywordTable::OutcomeColumn), q("refused"));
    QCOMPARE(cell(1, PKeywordTable::ValueColumn), q("60"));
}

void tst_Guides::table_keepsWhatIsTyped()
{
    QQuickWindow window;
    const auto leave = qScopeGuard([this] { item.reset(); });
    editTable(&window);
    QTest::keyClick(&window, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(&window, Qt::Key_7);
    auto *const table = part("table")->property("model").value<QAbstractItemModel *>();
    QSignalSpy arrived(table, &QAbstractItemModel::dataChanged);
    QVERIFY(server->setValue(q("/plant/tank1/setpoint"), 33.0));
    QTRY_VERIFY(!arrived.isEmpty());
    QCOMPARE(cell(0, PKeywordTable::ValueColumn), q("7"));
    QTest::keyClick(&window, Qt::Key_Escape);
    QCOMPARE(cell(0, PKeywordTable::ValueColumn), q("33"));
    QCOMPARE(cell(0, PKeywordTable::OutcomeColumn), QString());
    QCOMPARE(server->value(q("/plant/tank1/setpoint")).toDouble(), 33.0);
}

void tst_Guides::readme_showsAKeywordAndWritesIt()
{
    FaultyWebSocketServer socketServer(server.get());
    QVERIFY(socketServer.listen());
    const QList<QByteArray> blocks = blocksOfReadme("qml");
    QCOMPARE(blocks.size(), 1);
    QByteArray qml = blocks.constFirst();
    const QByteArray address = "ws://127.0.0.1:8765";
    QCOMPARE(qml.count(address), 1);
    qml.replace(address, socketServer.url().toString().toUtf8());

    QQmlComponent component(engine.get());
    component.setData(qml, QUrl::fromLocalFile(q(README)));
    item.reset(qobject_cast<QQuickItem *>(component.create()));
    QVERIFY2(item, qPrintable(component.errorString()));
    const QList<QQuickItem *> parts = item->childItems();
    QCOMPARE(parts.size(), 4); // the value, a slider, a button, and a text without a connection
    QTRY_COMPARE(parts.at(0)->property("text").toString(), q("60.0"));
    QCOMPARE(parts.at(1)->property("value").toDouble(), 60.0);
    QVERIFY(!parts.at(3)->isVisible());
    QVERIFY(QMetaObject::invokeMethod(parts.at(2), "clicked"));
    QTRY_COMPARE(parts.at(0)->property("text").toString(), q("65.0"));

    QTest::ignoreMessage(QtWarningMsg, "\"The remote host closed the connection\"");
    socketServer.close();
    QTRY_VERIFY(parts.at(3)->isVisible());
    QCOMPARE(parts.at(0)->property("text").toString(), q("no value"));
    item.reset();
}

void tst_Guides::readme_registersAsTheFirstScreenDoes()
{
    const QList<QByteArray> blocks = blocksOfReadme("cpp");
    QCOMPARE(blocks.size(), 1);
    QFile program(snippet("firstscreen/main.cpp"));
    QVERIFY(program.open(QIODevice::ReadOnly));
    const QByteArray compiled = program.readAll();
    for (const QByteArray &line : blocks.constFirst().split('\n'))
        QVERIFY2(compiled.contains(line), line.constData());
}

void tst_Guides::readme_buildsQmlAsTheTestDoes()
{
    const QList<QByteArray> blocks = blocksOfReadme("cmake");
    QCOMPARE(blocks.size(), 1);
    QFile project(q(COMPILED_PROJECT));
    QVERIFY(project.open(QIODevice::ReadOnly));
    QVERIFY2(project.readAll().contains("#! [project]\n" + blocks.constFirst() + "#! [project]\n"),
             blocks.constFirst().constData());
}

void tst_Guides::logging_isSilencedByTheRule()
{
    const auto logsOfAnAttempt = [] {
        logged.clear();
        const auto previous = qInstallMessageHandler(record);
        PWebSocketKeywordClient webClient;
        webClient.setUrls({q("ws://127.0.0.1:1")});
        qInstallMessageHandler(previous);
        return logged.count("pellixclient.keyword.websocketclient");
    };
    QVERIFY(logsOfAnAttempt() > 0);
    silenceTransport();
    QCOMPARE(logsOfAnAttempt(), 0);
    QLoggingCategory::setFilterRules(QString());
    QVERIFY(logsOfAnAttempt() > 0);
}

void tst_Guides::logging_rulesEnableOneCategory()
{
    followOneKeyword();
    logged.clear();
    const auto previous = qInstallMessageHandler(record);
    PKeywordProxy proxy;
    proxy.setClient(client.get());
    proxy.setKeyword(q("/plant/name"));
    qInstallMessageHandler(previous);
    QLoggingCategory::setFilterRules(QString());
    QVERIFY(!logged.isEmpty());
    QCOMPARE(logged.count("pellixclient.keyword.proxy"), logged.size());
}

void tst_Guides::lifetimes_anyOrder_data()
{
    QTest::addColumn<bool>("clientFirst");
    QTest::newRow("as members") << false;
    QTest::newRow("client first") << true;
}

void tst_Guides::lifetimes_anyOrder()
{
    QFETCH(bool, clientFirst);
    Plant plant;
    plant.server.declare({q("/plant/name"), q("string"), q("R"), QString(), q("Works")});
    QTRY_COMPARE(plant.name.value().toString(), q("Works"));
    if (clientFirst) {
        plant.client.reset();
        QVERIFY(!plant.name.client());
        QVERIFY(!plant.name.value().isValid());
        QVERIFY(!plant.name.update(q("other")));
    }
}

void tst_Guides::protocol_commandsAreWhatTheClientSends()
{
    RecordingClient sender;
    const QString level = q("/plant/tank1/level");
    const QString setpoint = q("/plant/tank1/setpoint");

    QVERIFY(sender.sendKeyCreate(level));
    QCOMPARE(sender.taken().toUtf8(), text(message("keyCreateOrUpdate")));
    PListPostfixKeywordExpression expression;
    expression.setValues({level, q("/plant/tank2/level")});
    expression.setAggregation(PKeywordAggregation::Max);
    QVERIFY(sender.sendKeyCreate(expression.keyword(), expression.keywordChildren(),
                                 expression.aggregation()));
    QCOMPARE(sender.taken().toUtf8(), text(message("keyCreateOrUpdate-aggregate")));
    QVERIFY(sender.sendKeyUpdate(setpoint, 60));
    QCOMPARE(sender.taken().toUtf8(), text(message("keyUpdate")));
    QVERIFY(sender.sendKeyUpdateRelative(setpoint, -5));
    QCOMPARE(sender.taken().toUtf8(), text(message("keyUpdate-relative")));
    QVERIFY(sender.sendKeyDestroy(level));
    QCOMPARE(sender.taken().toUtf8(), text(message("keyDestroy")));

    const QUuid id = sender.sendKeyIndex(q("/plant/line1/motor1"), PKeywordValueType::KVT_DOUBLE,
                                         PKeywordValueAccess::KVA_READ);
    QJsonObject expected = message("keyIndex");
    QJsonObject payload = expected.value(q("payload")).toObject();
    QVERIFY(!QUuid(payload.value(q("uuid")).toString()).isNull());
    payload.insert(q("uuid"), id.toString());
    expected.insert(q("payload"), payload);
    QCOMPARE(sender.taken().toUtf8(), text(expected));

    PInProcessKeywordClient inProcess;
    QSignalSpy sent(&inProcess, &PInProcessKeywordClient::sendToServer);
    inProcess.afterSignalsConnected();
    QCOMPARE(sent.size(), 1);
    QFile file(snippet("protocol/keyChangeProtocol.json"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(sent.at(0).at(0).toByteArray(), file.readAll().trimmed());
}

void tst_Guides::protocol_serverAnswersAsShown()
{
    const std::unique_ptr<KeywordSession> session(server->openSession());
    QSignalSpy answers(session.get(), &KeywordSession::send);
    QJsonObject create = message("keyCreateOrUpdate");
    create.insert(q("payload"), QJsonObject {{q("keyword"), q("/plant/tank1/setpoint")}});
    session->receive(text(create));
    QCOMPARE(answers.size(), 1);
    QCOMPARE(object(answers.takeFirst().at(0).toByteArray()), message("keyEvent"));

    session->receive(text(message("keyIndex")));
    QCOMPARE(answers.size(), 1);
    QCOMPARE(object(answers.takeFirst().at(0).toByteArray()), message("keyIndex-answer"));
}

void tst_Guides::protocol_clientTakesTheMessagesOfTheServer()
{
    RecordingClient receiver;
    PKeywordProxy proxy;
    proxy.setClient(&receiver);
    proxy.setKeyword(q("/plant/tank1/setpoint"));
    QVERIFY(receiver.receive(QString::fromUtf8(text(message("keyEvent")))));
    QCOMPARE(proxy.value().toDouble(), 60.0);
    QCOMPARE(proxy.valueType(), PKeywordValueType::KVT_DOUBLE);
    QVERIFY(proxy.connected() && proxy.online() && proxy.consistent() && !proxy.error());

    QSignalSpy responses(&receiver, &PKeywordClient::keyIndexResponse);
    QVERIFY(receiver.receive(QString::fromUtf8(text(message("keyIndex-answer")))));
    QCOMPARE(responses.size(), 1);
    QCOMPARE(responses.at(0).at(0).toUuid(), QUuid(q("{67c8770b-44f1-410a-ab9a-f9b5446f13ee}")));
}

QTEST_MAIN(tst_Guides)
#include "tst_guides.moc"
