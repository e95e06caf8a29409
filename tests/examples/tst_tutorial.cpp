// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordserver.h"
#include "server/writerequest.h"
#include "simulator/faultywebsocketserver.h"
#include "simulator/jsonscene.h"
#include "tests/support/programscreen.h"
#ifdef GATEWAY
#include "tests/gateway/mqtt/broker.h"
#endif

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QScopeGuard>
#include <QtCore/QTemporaryDir>

#include <chrono>

using namespace pellix::server;
using namespace pellix::simulator;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

constexpr int lastStep = 7;
constexpr int patience = ProgramScreen::patience;

} // namespace

// Tests the programs of the tutorial with the scene that it uses: operates them with the keyboard,
// and checks the contents of their screens.
class tst_Tutorial : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void level_isShown_data() { everyStep(); }
    void level_isShown();
    void lostServer_isShownAndComesBack_data() { everyStep(); }
    void lostServer_isShownAndComesBack();
    void flags_areShown_data();
    void flags_areShown();
    void controls_haveNames_data() { everyStep(); }
    void controls_haveNames();
    void setpoint_isTaken();
    void setpoint_isChangedByTheServer();
    void setpoint_isRefused();
    void setpoint_isNotAnswered();
    void setpoint_followsTheServer();
    void pages_areChosenByKeys();
    void connection_isRetriedAtOnce();
    void trend_hasSamples();
    void trend_showsTheLastTenMinutes();
    void trend_goesOnWhileAnotherPageIsShown();
    void alarm_comesIsAcknowledgedAndGoes();
    void alarms_areAcknowledgedAtOnce();
    void alarm_tellsOfAnOutdatedLevel();
    void keywords_areListed();
    void keyword_isAddedToTheTrend();
    void configuration_isRead_data();
    void configuration_isRead();
    void configuration_ofTheFolderNamesTheGateway();
    void plant_isShownThroughTheGateway();

private:
    static void everyStep(int first = 1);
    bool start(int step);
    QString configurationFor(const QString &url);
    QString tank(int number, const char *property) const
    {
        return q("/plant/tank%1/%2").arg(number).arg(q(property));
    }
    // The level as reported to screen readers, in the format of the step.
    QString levelText(const char *value) const
    {
        return (currentStep == 1 ? q("%1") : q("Level of Tank 1: %1")).arg(q(value));
    }
    // Moves to this row of the tree with the keyboard.
    bool moveTo(const char *name);
    QString chart() { return screen->find(q("Chart")).value(q("description")).toString(); }

    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<KeywordServer> server;
    std::unique_ptr<FaultyWebSocketServer> socketServer;
    std::unique_ptr<ProgramScreen> screen;
    int currentStep = 0;
};

void tst_Tutorial::init()
{
    folder = std::make_unique<QTemporaryDir>();
    server = std::make_unique<KeywordServer>();
    JsonScene scene(server.get()); // not started, so its values do not change
    QVERIFY(scene.load(q(PLANT_SCENE)));
    socketServer = std::make_unique<FaultyWebSocketServer>(server.get());
    QVERIFY(socketServer->listen());
}

void tst_Tutorial::cleanup()
{
    screen.reset();
    socketServer.reset();
    server.reset();
}

void tst_Tutorial::everyStep(int first)
{
    QTest::addColumn<int>("step");
    for (int step = first; step <= lastStep; ++step)
        QTest::addRow("%d", step) << step;
}

QString tst_Tutorial::configurationFor(const QString &url)
{
    QString name = folder->filePath(q("plant.ini"));
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    file.write("[server]\nurls=" + url.toUtf8() + '\n');
    return name;
}

bool tst_Tutorial::start(int step)
{
    currentStep = step;
    const QString url = socketServer->url().toString();
    screen = std::make_unique<ProgramScreen>();
    return screen->start(q(TUTORIAL).arg(step), {step == lastStep ? configurationFor(url) : url},
                         q(PLUGINS));
}

bool tst_Tutorial::moveTo(const char *name)
{
    if (!screen->focus(q("Tree")))
        return false;
    for (int i = 0; i < 20; ++i) {
        if (screen->find(q("TreeItem"), q(name)).value(q("selected")).toBool())
            return true;
        screen->press(q("Down"));
    }
    return false;
}

void tst_Tutorial::level_isShown()
{
    QFETCH(int, step);
    QVERIFY(start(step));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("45.0 %")), patience);
    QVERIFY(server->setValue(tank(1, "level"), 12.34));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("12.3 %")), patience);
    if (step > 1)
        QVERIFY(screen->shows(q("Level of Tank 2: 50.0 %")));
    static const QRegularExpression warning(q("qrc:|QML|TypeError|Unable"));
    const QString errors = screen->errors();
    QVERIFY2(!errors.contains(warning), qPrintable(errors));
}

void tst_Tutorial::lostServer_isShownAndComesBack()
{
    QFETCH(int, step);
    QVERIFY(start(step));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("45.0 %")), patience);

    const quint16 port = socketServer->port();
    socketServer->close();
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("–")), patience);
    QVERIFY(screen->shows(step == 1 ? q("No connection to the server") : q("Tank 1: No value")));

    QVERIFY(server->setValue(tank(1, "level"), 46.0));
    QVERIFY(socketServer->listen(QHostAddress::LocalHost, port));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("46.0 %")), patience);
    QVERIFY(!screen->shows(step == 1 ? q("No connection to the server") : q("Tank 1: No value")));
}

void tst_Tutorial::flags_areShown_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<bool>("connected");
    QTest::addColumn<bool>("online");
    QTest::addColumn<bool>("consistent");
    QTest::addColumn<bool>("error");
    QTest::addColumn<QString>("text");
    for (const int step : {1, 2}) {
        const QString form = step == 1 ? q("%1") : q("Tank 1: %1");
        const auto row = [&](const char *name, bool connected, bool online, bool consistent,
                             bool error) {
            QTest::addRow("%d, %s", step, name)
                << step << connected << online << consistent << error << form.arg(q(name));
        };
        row("Error", true, true, true, true);
        row("No value", false, false, true, false);
        row("Out of date", true, false, true, false);
        row("Inconsistent", true, true, false, false);
    }
}

void tst_Tutorial::flags_areShown()
{
    QFETCH(int, step);
    QFETCH(bool, connected);
    QFETCH(bool, online);
    QFETCH(bool, consistent);
    QFETCH(bool, error);
    QFETCH(QString, text);
    QVERIFY(start(step));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("45.0 %")), patience);
    QVERIFY(!screen->shows(text));
    QVERIFY(server->setState(tank(1, "level"), connected, online, consistent, error));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(text), patience);
}

// All controls that can have the focus have an accessible name.
void tst_Tutorial::controls_haveNames()
{
    QFETCH(int, step);
    QVERIFY(start(step));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("45.0 %")), patience);
    QVERIFY(server->setValue(tank(1, "level"), 90.0));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("90.0 %")), patience);
    int controls = 0;
    for (int page = 1; page <= (step < 4 ? 1 : 3); ++page) {
        QVERIFY(screen->press(q("Ctrl+%1").arg(page)));
        const QJsonArray objects = screen->objects();
        for (const auto &object : objects) {
            const QString role = object[q("role")].toString();
            if (role == q("StaticText") || role == q("Pane") || role == q("Client"))
                continue; // nothing that takes input
            const QString text = q(QJsonDocument(object.toObject()).toJson());
            QVERIFY2(!object[q("name")].toString().isEmpty(), qPrintable(text));
            ++controls;
        }
    }
    const int least = step < 3 ? 1 : step; // the first steps have only the window
    QVERIFY2(controls >= least, qPrintable(QString::number(controls)));
}

void tst_Tutorial::setpoint_isTaken()
{
    QVERIFY(start(3));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("Setpoint of Tank 2: 60 %")), patience);
    QVERIFY(screen->focus(q("Slider"), q("Setpoint of Tank 2")));
    QVERIFY(screen->press(q("Right")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("61 % taken")), patience);
    QCOMPARE(server->value(tank(2, "setpoint")).toDouble(), 61.0);
    QCOMPARE(server->value(tank(1, "setpoint")).toDouble(), 60.0);
    QVERIFY(screen->shows(q("Setpoint of Tank 2: 61 %")));

    QVERIFY(screen->press(q("PgUp")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("71 % taken")), patience);
    QVERIFY(screen->press(q("Home")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("0 % taken")), patience);
    QCOMPARE(screen->find(q("Slider"), q("Setpoint of Tank 2")).value(q("value")).toDouble(), 0.0);
}

void tst_Tutorial::setpoint_isChangedByTheServer()
{
    server->setWriteHandler(tank(1, "setpoint"),
                            [](const WriteRequest &request) { request.accept(80); });
    QVERIFY(start(3));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("Setpoint of Tank 1: 60 %")), patience);
    QVERIFY(screen->focus(q("Slider"), q("Setpoint of Tank 1")));
    QVERIFY(screen->press(q("End")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("100 % changed to 80 %")), patience);
    QVERIFY(screen->shows(q("Setpoint of Tank 1: 80 %")));
    QTRY_COMPARE_WITH_TIMEOUT(screen->find(q("Slider")).value(q("value")).toDouble(), 80.0,
                              patience);
}

void tst_Tutorial::setpoint_isRefused()
{
    server->setWriteCheck(tank(1, "setpoint"),
                          [](const QVariant &value) { return value.toDouble() <= 60; });
    QVERIFY(start(3));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("Setpoint of Tank 1: 60 %")), patience);
    QVERIFY(screen->focus(q("Slider"), q("Setpoint of Tank 1")));
    QVERIFY(screen->press(q("Right")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("61 % refused")), patience);
    QVERIFY(screen->shows(q("Setpoint of Tank 1: 60 %")));
    QTRY_COMPARE_WITH_TIMEOUT(screen->find(q("Slider")).value(q("value")).toDouble(), 60.0,
                              patience);
}

void tst_Tutorial::setpoint_isNotAnswered()
{
    QVERIFY(start(3));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("Setpoint of Tank 1: 60 %")), patience);
    QVERIFY(screen->focus(q("Slider"), q("Setpoint of Tank 1")));
    socketServer->setAnswerDelay(std::chrono::hours(1));
    QVERIFY(screen->press(q("Right")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("Writing 61 %")), patience);
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("Not written: no reply within 6 s")), patience);
}

void tst_Tutorial::setpoint_followsTheServer()
{
    QVERIFY(start(3));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("Setpoint of Tank 1: 60 %")), patience);
    QVERIFY(server->setValue(tank(1, "setpoint"), 33.0));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("Setpoint of Tank 1: 33 %")), patience);
    QCOMPARE(screen->find(q("Slider")).value(q("value")).toDouble(), 33.0);
}

void tst_Tutorial::pages_areChosenByKeys()
{
    QVERIFY(start(4));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("45.0 %")), patience);
    QVERIFY(screen->shows(q("Connected to ") + socketServer->url().toString()));
    QVERIFY(screen->press(q("Ctrl+2")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("The trend is added in step 5")), patience);
    QVERIFY(!screen->shows(levelText("45.0 %")));
    QVERIFY(screen->focus(q("PageTab"), q("Alarms")));
    QVERIFY(screen->press(q("Space")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("The alarms are added in step 6")), patience);
    QVERIFY(screen->find(q("PageTab"), q("Alarms")).value(q("selected")).toBool());
}

void tst_Tutorial::connection_isRetriedAtOnce()
{
    QVERIFY(start(4));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("45.0 %")), patience);
    QVERIFY(screen->find(q("Button"), q("Try Now")).isEmpty());
    const quint16 port = socketServer->port();
    socketServer->close();
    static const QRegularExpression waits(q("^ws://.*: .+\\. Next attempt in [4-9] s$"));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(waits), patience);
    QVERIFY(screen->focus(q("Button"), q("Try Now")));
    QVERIFY(socketServer->listen(QHostAddress::LocalHost, port));
    QVERIFY(screen->press(q("Space")));
    QVERIFY(!screen->shows(QRegularExpression(q("Next attempt")))); // the attempt is made now
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("45.0 %")), patience);
    QVERIFY(screen->find(q("Button"), q("Try Now")).isEmpty());
}

void tst_Tutorial::trend_hasSamples()
{
    QVERIFY(start(5));
    QVERIFY(screen->press(q("Ctrl+2")));
    QTRY_COMPARE_WITH_TIMEOUT(chart(), q("Tank 1 in %: 45; Tank 2 in %: 50"), patience);
    QVERIFY(server->setValue(tank(2, "level"), 51.5));
    QTRY_COMPARE_WITH_TIMEOUT(chart(), q("Tank 1 in %: 45; Tank 2 in %: 51.5"), patience);
    QVERIFY(screen->focus(q("CheckBox"), q("Tank 1 in %: 45")));
    QVERIFY(screen->press(q("Space")));
    QTRY_VERIFY_WITH_TIMEOUT(
        !screen->find(q("CheckBox"), q("Tank 1 in %: 45")).value(q("checked")).toBool(), patience);
    QTRY_COMPARE_WITH_TIMEOUT(chart(), q("Tank 2 in %: 51.5"), patience);
}

void tst_Tutorial::trend_showsTheLastTenMinutes()
{
    QVERIFY(start(5));
    QVERIFY(screen->press(q("Ctrl+2")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->find(q("Button"), q("1 min")).value(q("checked")).toBool(),
                             patience);
    QVERIFY(screen->focus(q("Button"), q("10 min")));
    QVERIFY(screen->press(q("Space")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->find(q("Button"), q("10 min")).value(q("checked")).toBool(),
                             patience);
    QVERIFY(!screen->find(q("Button"), q("1 min")).value(q("checked")).toBool());
}

void tst_Tutorial::trend_goesOnWhileAnotherPageIsShown()
{
    QVERIFY(start(5));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("45.0 %")), patience);
    QVERIFY(server->setValue(tank(1, "level"), 70.0));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("70.0 %")), patience);
    QVERIFY(screen->press(q("Ctrl+2")));
    QTRY_VERIFY_WITH_TIMEOUT(chart().startsWith(q("Tank 1 in %: 70")), patience);
}

void tst_Tutorial::alarm_comesIsAcknowledgedAndGoes()
{
    QVERIFY(start(6));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("45.0 %")), patience);
    QVERIFY(screen->press(q("Ctrl+3")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("There are no alarms")), patience);

    QVERIFY(server->setValue(tank(1, "level"), 76.0));
    QTRY_VERIFY_WITH_TIMEOUT(!screen->find(q("PageTab"), q("Alarms (1)")).isEmpty(), patience);
    QVERIFY(screen->shows(q("1 active, 1 not acknowledged")));
    QVERIFY(!screen->shows(q("There are no alarms")));
    const auto row = [this] {
        const QJsonArray all = screen->objects();
        for (const auto &object : all) {
            if (object[q("name")].toString().endsWith(q(" Tank 1 is too full")))
                return object[q("description")].toString();
        }
        return QString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(row(), q("Active, not acknowledged"), patience);

    QVERIFY(screen->focus(q("Button"), q("Acknowledge All")));
    QVERIFY(screen->press(q("Tab"))); // to the list, on its first row
    QVERIFY(screen->press(q("Space")));
    QTRY_COMPARE_WITH_TIMEOUT(row(), q("Active"), patience);

    QVERIFY(server->setValue(tank(1, "level"), 74.0)); // not yet below the hysteresis
    QVERIFY(server->setValue(tank(2, "level"), 20.0));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("2 active, 1 not acknowledged")), patience);
    QVERIFY(server->setValue(tank(1, "level"), 72.0));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("1 active, 1 not acknowledged")), patience);
}

void tst_Tutorial::alarms_areAcknowledgedAtOnce()
{
    QVERIFY(server->setValue(tank(1, "level"), 76.0));
    QVERIFY(server->setValue(tank(2, "level"), 10.0));
    QVERIFY(start(6));
    QVERIFY(screen->press(q("Ctrl+3")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("2 active, 2 not acknowledged")), patience);
    QVERIFY(screen->focus(q("Button"), q("Acknowledge All")));
    QVERIFY(screen->press(q("Space")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("2 active, 0 not acknowledged")), patience);
}

void tst_Tutorial::alarm_tellsOfAnOutdatedLevel()
{
    QVERIFY(start(6));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(levelText("45.0 %")), patience);
    QVERIFY(server->setState(tank(1, "level"), true, false, true, false));
    QTRY_VERIFY_WITH_TIMEOUT(!screen->find(q("PageTab"), q("Alarms (1)")).isEmpty(), patience);
}

void tst_Tutorial::keywords_areListed()
{
    QVERIFY(start(7));
    QVERIFY(screen->press(q("Ctrl+2")));
    for (const char *const name : {"Tank 1", "Name: Riverside works", "Emergency stop: false",
                                   "Power: 212.5", "Shift: 2", "Recipe"})
        QTRY_VERIFY2(!screen->find(q("TreeItem"), q(name)).isEmpty(), name);
    QVERIFY(screen->find(q("TreeItem"), q("Bottles: 0")).isEmpty());
    QVERIFY(moveTo("Line 1"));
    QVERIFY(screen->press(q("Right")));
    QTRY_VERIFY_WITH_TIMEOUT(!screen->find(q("TreeItem"), q("Bottles: 0")).isEmpty(), patience);
    QVERIFY(screen->press(q("Left")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->find(q("TreeItem"), q("Bottles: 0")).isEmpty(), patience);
}

void tst_Tutorial::keyword_isAddedToTheTrend()
{
    QVERIFY(start(7));
    QVERIFY(screen->press(q("Ctrl+2")));
    QTRY_VERIFY_WITH_TIMEOUT(!screen->find(q("TreeItem"), q("Power: 212.5")).isEmpty(), patience);
    QVERIFY(moveTo("Power: 212.5"));
    QVERIFY(screen->press(q("Space")));
    const QString levels = q("Tank 1 in %: 45; Tank 2 in %: 50");
    QTRY_COMPARE_WITH_TIMEOUT(chart(), levels + q("; /plant/power: 212.5"), patience);
    QCOMPARE(screen->find(q("TreeItem"), q("Power: 212.5")).value(q("description")).toString(),
             q("In the trend"));
    QVERIFY(screen->press(q("Space")));
    QTRY_COMPARE_WITH_TIMEOUT(chart(), levels, patience);
}

void tst_Tutorial::configuration_isRead_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("message");
    QTest::newRow("missing") << QByteArray()
                             << q("tutorial-7: cannot open %1: No such file or directory\n");
    QTest::newRow("without addresses")
        << QByteArray("[other]\nx=1\n") << q("tutorial-7: %1: the section [server] has no urls\n");
}

void tst_Tutorial::configuration_isRead()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, message);
    const QString name = folder->filePath(q("my.ini"));
    if (!content.isEmpty()) {
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    QProcess program;
    program.start(q(TUTORIAL).arg(lastStep), {name});
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 1);
    const QString errors = QString::fromUtf8(program.readAllStandardError());
    QVERIFY2(errors.endsWith(message.arg(name)), qPrintable(errors));
}

void tst_Tutorial::configuration_ofTheFolderNamesTheGateway()
{
    QFile file(q(CONFIGURATION));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().contains("\n[server]\nurls=ws://127.0.0.1:8765\n"));
}

// The last step without changes, with another address.
void tst_Tutorial::plant_isShownThroughTheGateway()
{
#ifndef GATEWAY
    QSKIP("The gateway is not built.");
#else
    Broker broker;
    QVERIFY(broker.start());
    QProcess plant;
    QProcess gateway;
    const auto end = qScopeGuard([&] {
        screen.reset();
        for (QProcess *const program : {&gateway, &plant}) {
            program->terminate();
            program->waitForFinished();
        }
    });
    plant.start(q(MQTT_PLANT), {q("--url"), broker.url(), q("--period"), q("600")});
    QVERIFY(plant.waitForStarted());

    QFile given(q(GATEWAY_CONFIGURATION));
    QVERIFY(given.open(QIODevice::ReadOnly));
    QByteArray json = given.readAll();
    json.replace("mqtt://127.0.0.1:1883", broker.url().toUtf8());
    json.replace("\"port\": 8765", "\"port\": 0");
    json.replace("\"staleAfter\": 5", "\"staleAfter\": 1.5");
    QFile file(folder->filePath(q("gateway.json")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(json);
    file.close();
    gateway.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    gateway.start(q(GATEWAY), {q("--config"), file.fileName()});
    QTRY_VERIFY_WITH_TIMEOUT(gateway.canReadLine(), patience);
    const QString url =
        QString::fromUtf8(gateway.readLine()).trimmed().section(QLatin1Char(' '), -1);

    currentStep = lastStep;
    screen = std::make_unique<ProgramScreen>();
    QVERIFY(screen->start(q(TUTORIAL).arg(lastStep), {configurationFor(url)}, q(PLUGINS)));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("Setpoint of Tank 1: 60 %")), patience);
    QVERIFY(screen->shows(q("Connected to ") + url));
    QTRY_VERIFY_WITH_TIMEOUT(!screen->shows(levelText("–")), patience);

    // The plant accepts at most 95 %, and the gateway waits for 100 % in vain. The level follows.
    QVERIFY(screen->focus(q("Slider"), q("Setpoint of Tank 2")));
    QVERIFY(screen->press(q("End")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("100 % refused")), patience);
    QVERIFY(screen->shows(q("Setpoint of Tank 2: 95 %")));
    QTRY_VERIFY_WITH_TIMEOUT(!screen->find(q("PageTab"), q("Alarms (1)")).isEmpty(), 60000);

    QVERIFY(screen->press(q("Ctrl+2")));
    static const QRegularExpression full(q("Tank 2 in %: [789][0-9]"));
    QTRY_VERIFY_WITH_TIMEOUT(chart().contains(full), patience);
    QTRY_VERIFY_WITH_TIMEOUT(!screen->find(q("TreeItem"), q("tank1")).isEmpty(), patience);

    // The plant is killed, and the broker reports it.
    QVERIFY(screen->press(q("Ctrl+1")));
    plant.kill();
    QVERIFY(plant.waitForFinished());
    QTRY_VERIFY_WITH_TIMEOUT(screen->shows(q("Tank 1: Out of date")), patience);
    QTRY_VERIFY_WITH_TIMEOUT(!screen->find(q("PageTab"), q("Alarms (2)")).isEmpty(), patience);
#endif
}

QTEST_GUILESS_MAIN(tst_Tutorial)
#include "tst_tutorial.moc"
