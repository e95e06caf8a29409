// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"
#include "simulator/jsonscene.h"

#include <QtCore/QProcess>
#include <QtCore/QProcessEnvironment>
#include <QtTest/QTest>

using namespace pellix::server;
using namespace pellix::simulator;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// What runs QML files, told by the environment, so that the package tests can say where the modules
// are installed. The first words of the command line are the program and its own arguments.
QStringList runtime()
{
    return qEnvironmentVariable("PELLIX_RUNTIME").split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

// Programs that know nothing of the library import its modules.
class tst_Runtime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void window_showsAndWritesLiveValues();

private:
    QString run(const QStringList &arguments, int *exitCode);

    std::unique_ptr<KeywordServer> server;
    std::unique_ptr<FaultyWebSocketServer> socketServer;
};

void tst_Runtime::initTestCase()
{
    QVERIFY(!runtime().isEmpty());
    QVERIFY(!qEnvironmentVariable("PELLIX_IMPORTS").isEmpty());
    server = std::make_unique<KeywordServer>();
    JsonScene scene(server.get());
    QVERIFY(scene.load(q(PLANT_SCENE)));
    socketServer = std::make_unique<FaultyWebSocketServer>(server.get());
    QVERIFY(socketServer->listen());
}

// The program in a process of its own: the address follows the file.
QString tst_Runtime::run(const QStringList &arguments, int *exitCode)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(q("QML_IMPORT_PATH"), qEnvironmentVariable("PELLIX_IMPORTS"));
    environment.insert(q("QT_LOGGING_RULES"), q("pellixclient.*.debug=false"));
    environment.insert(q("QT_FORCE_STDERR_LOGGING"), q("1"));
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(runtime().constFirst(), runtime().mid(1) + arguments);
    // The server is in this thread.
    const auto isOver = [&process] { return process.state() == QProcess::NotRunning; };
    if (!QTest::qWaitFor(isOver, 60000)) {
        process.kill();
        process.waitForFinished();
    }
    *exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return QString::fromUtf8(process.readAll());
}

void tst_Runtime::window_showsAndWritesLiveValues()
{
    int exitCode = -1;
    const QString printed =
        run({q(TESTS "/Watch.qml"), q("--"), socketServer->url().toString()}, &exitCode);
    QVERIFY2(printed.contains(q("setpoint 60, a double\n")), qPrintable(printed));
    QVERIFY2(printed.contains(q("setpoint 53, a double\n")), qPrintable(printed));
    QVERIFY2(printed.contains(q("level 45.0\n")), qPrintable(printed));
    QCOMPARE(exitCode, 0);
    QCOMPARE(server->value(q("/plant/tank1/setpoint")), QVariant(53));
}

QTEST_GUILESS_MAIN(tst_Runtime)
#include "tst_runtime.moc"
