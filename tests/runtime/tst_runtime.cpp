// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"
#include "simulator/jsonscene.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QLibraryInfo>
#include <QtCore/QProcess>
#include <QtCore/QProcessEnvironment>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <memory>

#include <csignal>
#include <unistd.h>

using namespace pellix::server;
using namespace pellix::simulator;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// The program that runs QML files. It is set by the environment, because the package tests set
// other import paths. The first words of the command line are the program and its own arguments.
QStringList runtime()
{
    return qEnvironmentVariable("PELLIX_RUNTIME").split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

bool copyFiles(const QString &from, const QString &to)
{
    QDirIterator files(from, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString file = files.next();
        const QString copy = to + QLatin1Char('/') + QDir(from).relativeFilePath(file);
        if (!QDir().mkpath(QFileInfo(copy).path()) || !QFile::copy(file, copy))
            return false;
    }
    return true;
}

// A copy of the program qml whose Qt import folder also contains the modules of the library.
// qmlpreview loads plugins only from this folder, and does not follow links to other folders.
QString runtimeWithModules(const QString &folder)
{
    const QString imports = folder + q("/qml");
    QDir().mkpath(imports);
    const QDir qtImports(QLibraryInfo::path(QLibraryInfo::QmlImportsPath));
    const QStringList names = qtImports.entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        if (name != q("PellixClient"))
            QFile::link(qtImports.filePath(name), imports + QLatin1Char('/') + name);
    }
    QFile configuration(folder + q("/qt.conf"));
    QString program = folder + q("/qml-with-modules");
    if (!configuration.open(QIODevice::WriteOnly) || !QFile::copy(runtime().constFirst(), program)
        || !copyFiles(qEnvironmentVariable("PELLIX_IMPORTS") + q("/PellixClient"),
                      imports + q("/PellixClient")))
        return {};
    const auto path = [](QLibraryInfo::LibraryPath which) { return QLibraryInfo::path(which); };
    const QStringList lines {q("[Paths]"), q("Prefix=") + path(QLibraryInfo::PrefixPath),
                             q("Plugins=") + path(QLibraryInfo::PluginsPath),
                             q("QmlImports=") + imports};
    configuration.write(lines.join(QLatin1Char('\n')).toUtf8());
    return program;
}

} // namespace

// Tests programs that import the modules without linking the library.
class tst_Runtime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void window_showsAndWritesLiveValues();
    void screen_hasSetpointsATrendAndAlarms();
    void screen_loadsInThePreview();
    void components_haveTheirDefaults();
    void components_takeTheHostsText();
    void components_takeTheHostsTheme();

private:
    QString run(const char *file, const QString &firstImports = {},
                const QStringList &program = runtime());

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

// The output of the program, or nothing if it fails. The address follows the file.
QString tst_Runtime::run(const char *file, const QString &firstImports, const QStringList &program)
{
    QStringList imports {qEnvironmentVariable("PELLIX_IMPORTS")};
    if (!firstImports.isEmpty())
        imports.prepend(firstImports);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(q("QML_IMPORT_PATH"), imports.join(QDir::listSeparator()));
    environment.insert(q("QT_LOGGING_RULES"), q("pellixclient.*.debug=false"));
    environment.insert(q("QT_FORCE_STDERR_LOGGING"), q("1"));
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setChildProcessModifier([] { ::setpgid(0, 0); }); // the preview starts another program
    process.start(program.constFirst(),
                  program.mid(1) << q(TESTS "/") + q(file) << q("--")
                                 << socketServer->url().toString());
    // The server is in this thread, so events are processed.
    const auto isOver = [&process] { return process.state() == QProcess::NotRunning; };
    if (!QTest::qWaitFor(isOver, 60000)) {
        ::kill(-pid_t(process.processId()), SIGKILL);
        process.waitForFinished();
    }
    QString printed = QString::fromUtf8(process.readAll());
    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return printed;
    qWarning("%s", qPrintable(printed));
    return {};
}

void tst_Runtime::window_showsAndWritesLiveValues()
{
    const QString printed = run("Watch.qml");
    QVERIFY2(printed.contains(q("setpoint 60, a double\n")), qPrintable(printed));
    QVERIFY2(printed.contains(q("setpoint 53, a double\n")), qPrintable(printed));
    QVERIFY2(printed.contains(q("level 45.0\n")), qPrintable(printed));
    QCOMPARE(server->value(q("/plant/tank1/setpoint")), QVariant(53));
    // The Python program of the guide also reads the value, as an int in Qt 6.11.
    const bool isPython = runtime().constLast().endsWith(q(".py"));
    const bool isRead =
        printed.contains(q("last level: 45.0\n")) || printed.contains(q("last level: 45\n"));
    QVERIFY2(isRead == isPython, qPrintable(printed));
}

void tst_Runtime::screen_hasSetpointsATrendAndAlarms()
{
    QVERIFY(server->setValue(q("/plant/tank2/level"), 20));
    const QString printed = run("WatchScreen.qml");
    QVERIFY2(printed.contains(q("Tanks|/plant/tank1/setpoint: 30|/plant/tank2/setpoint: 35|"
                                "/plant/tank1/level: 45; /plant/tank2/level: 20|"
                                "Tank 2 is too empty\n")),
             qPrintable(printed));
    QCOMPARE(server->value(q("/plant/tank1/setpoint")), QVariant(30));
    QCOMPARE(server->value(q("/plant/tank2/setpoint")), QVariant(35));
}

void tst_Runtime::screen_loadsInThePreview()
{
    const QString preview = qEnvironmentVariable("PELLIX_QMLPREVIEW");
    if (preview.isEmpty())
        QSKIP("Qt's qmlpreview was not found, or this is not the test of qml.");
    const QDir plugins(QLibraryInfo::path(QLibraryInfo::PluginsPath) + q("/qmltooling"));
    if (plugins.entryList({q("*qmldbg_preview*")}).isEmpty())
        QSKIP("Qt's plugin for qmlpreview is not installed.");
    QTemporaryDir folder;
    const QString program = runtimeWithModules(folder.path());
    QVERIFY(!program.isEmpty());

    QVERIFY(server->setValue(q("/plant/tank2/level"), 20));
    const QString printed = run("WatchScreen.qml", {}, {preview, program});
    QVERIFY2(printed.contains(q("QML Debugger: Connecting")),
             qPrintable(printed)); // the preview
    QVERIFY2(printed.contains(q("Tanks|/plant/tank1/setpoint: 30|/plant/tank2/setpoint: 35|")),
             qPrintable(printed));
    QVERIFY2(printed.contains(q("Tank 2 is too empty\n")), qPrintable(printed));
}

void tst_Runtime::components_haveTheirDefaults()
{
    const QString printed = run("WatchPaths.qml");
    QVERIFY2(printed.contains(q("Bottling works (16)|Tank 1 (16)|Level (16)|= 45.00 (16)|")),
             qPrintable(printed));
    QVERIFY2(!printed.contains(q("theme")), qPrintable(printed)); // is not defined
}

void tst_Runtime::components_takeTheHostsText()
{
    const QString printed = run("WatchOwnPaths.qml", q(SNIPPETS "/control/own"));
    QVERIFY2(printed.contains(q("Level (24, bold)|= 45.00 (24, bold)\n")), qPrintable(printed));
}

void tst_Runtime::components_takeTheHostsTheme()
{
    const QString printed = run("WatchOwnPaths.qml");
    QVERIFY2(printed.contains(q("Level (24)|= 45.00 (24)\n")), qPrintable(printed));
}

QTEST_GUILESS_MAIN(tst_Runtime)
#include "tst_runtime.moc"
