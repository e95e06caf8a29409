// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "client/websocketkeywordclient.h"
#include "module/pellixclientkeywordmodule.h"
#include "server/inprocesslink.h"
#include "tests/scenarios/teardownscene.h"

#include <QtCore/QDir>
#include <QtCore/QLoggingCategory>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickView>
#include <QtTest/QTest>

#include <memory>
#include <vector>

using namespace pellix::client;
using namespace pellix::server;

namespace {

constexpr int startsPerWay = 10; // starts of a program for each way to exit
constexpr int atOnce = 5;
constexpr int toggles = 1000;

// A page that uses every type of the module.
const QByteArray page = R"(
import QtQuick
import PellixClient.Keyword 1.0

Item {
    id: root
    width: 400; height: 300
    property alias loader: loader
    property int shown: 0 // values seen over all rounds
    property url serverUrl

    Loader {
        id: loader
        anchors.fill: parent
        active: false
        sourceComponent: Item {
            id: page

            readonly property bool live: level.value !== undefined && hottest.value !== undefined
                && named.value !== undefined && children.count === 2 && path.count === 2

            // Handed out once the host has linked it to its server
            property PInProcessKeywordClient linked

            PInProcessKeywordClient { id: inProcess }
            PWebSocketKeywordClient { id: webSocket; urls: [root.serverUrl]; autoReconnect: true }

            PKeywordProxy { id: level; client: page.linked; keyword: "/plant/tank1/level" }
            PKeywordProxy {
                client: webSocket
                keywordExpression: PKeywordExpression { value: "/plant/name" }
            }
            PKeywordProxy {
                id: named
                client: page.linked
                keywordExpression: PPostfixKeywordExpression { value: "/plant"; postfix: "name" }
            }
            PKeywordProxy {
                id: hottest
                client: page.linked
                keywordExpression: PListPostfixKeywordExpression {
                    values: ["/plant/tank1", "/plant/tank2"]
                    postfix: "level"
                    aggregation: PKeyword.Max
                }
            }
            PKeywordProxy { id: label; client: page.linked }
            PKeywordQueryModel {
                id: query
                keywordClient: page.linked
                Component.onCompleted: keyword = "/plant/tank1"
            }
            PKeywordQueryFilterProxyModel { id: filter; sourceModel: query }
            PKeywordPathModel { id: pathModel; keyword: "/plant/tank1" }
            Loader {
                source: "qrc:/PKeywordBinding.qml"
                onLoaded: {
                    item.property = "text"
                    item.target = target
                    item.proxy.client = Qt.binding(() => page.linked)
                    item.proxy.keyword = "/plant/name"
                }
            }
            Column {
                Text { id: target }
                Text { text: `${level.value}` }
                Repeater {
                    id: path
                    model: pathModel
                    Text { required property string partDisplay; text: partDisplay }
                }
                Repeater {
                    id: children
                    model: filter
                    Text { required property string displayName; text: displayName }
                }
                PKeywordPath { keyword: "/plant/tank1/level"; keywordClient: page.linked }
                PKeywordPathList {
                    width: 200; height: 60
                    keywords: ["/plant/name", "/plant/tank2/level"]
                    keywordClient: page.linked
                    isRemoveVisible: true
                }
            }
            Component.onCompleted: {
                host.link(inProcess)
                linked = inProcess
                label.getKeywordLabel("/plant/tank1/level")
            }
            onLiveChanged: if (live) root.shown++
        }
    }
}
)";

// The C++ objects that the page requires.
class Host : public QObject
{
    Q_OBJECT

public:
    explicit Host(KeywordServer *server) : server(server) { }

    Q_INVOKABLE qreal dp(qreal units) const { return units; }
    Q_INVOKABLE void link(QObject *client)
    {
        linkInProcess(server, qobject_cast<PInProcessKeywordClient *>(client));
    }

private:
    KeywordServer *const server;
};

// The lines that a process has printed at its exit, without their numbers.
QStringList lines(QProcess &program)
{
    static const QRegularExpression number(QStringLiteral("0x[0-9a-f]+|[0-9]+"));
    QStringList lines = QString::fromLocal8Bit(program.readAllStandardError())
                            .replace(number, QStringLiteral("N"))
                            .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    lines.removeDuplicates();
    return lines;
}

qsizetype openFiles()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::NoDotAndDotDot | QDir::System | QDir::Files)
        .size();
}

} // namespace

// Tests objects that are created and destroyed repeatedly: pages of an application, and the
// application itself.
class tst_TeardownLife : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void loader_isToggled();
    void process_endsWithEverythingAlive_data();
    void process_endsWithEverythingAlive();
};

void tst_TeardownLife::initTestCase()
{
    // Connections that are closed while in use are logged as lost.
    QLoggingCategory::setFilterRules(QStringLiteral("pellixclient.keyword.websocketclient=false"));
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
}

void tst_TeardownLife::loader_isToggled()
{
    TeardownScene::Servers servers;
    Host host(&servers.keywords);
    QQuickView view;
    view.engine()->addImportPath(QStringLiteral(QML_IMPORTS));
    view.engine()->rootContext()->setContextProperty(QStringLiteral("theme"), &host);
    view.engine()->rootContext()->setContextProperty(QStringLiteral("host"), &host);
    QQmlComponent component(view.engine());
    component.setData(page, QUrl(QStringLiteral("qrc:/page.qml")));
    QVERIFY2(component.isReady(), qPrintable(component.errorString()));
    QObject *const root = component.createWithInitialProperties(
        {{QStringLiteral("serverUrl"), servers.sockets.url()}});
    QVERIFY(root);
    view.setContent(component.url(), nullptr, root);
    view.show();
    QObject *const loader = root->property("loader").value<QObject *>();
    QVERIFY(loader);

    qsizetype filesBefore = 0;
    int lived = 0;
    for (int round = 1; round <= toggles; ++round) {
        // Pages are destroyed before their first event, while connecting, and while in use.
        loader->setProperty("active", true);
        QVERIFY(loader->property("item").value<QObject *>());
        for (int turn = 0; turn < round % 8; ++turn)
            QCoreApplication::processEvents();
        if (round % 8 == 0) {
            ++lived;
            QTRY_COMPARE(servers.sockets.clientCount(), 1);
            QTRY_VERIFY(loader->property("item").value<QObject *>()->property("live").toBool());
        }
        loader->setProperty("active", false);
        QVERIFY(!loader->property("item").value<QObject *>());

        if (round == toggles / 2 || round == toggles) {
            QTRY_COMPARE(servers.sockets.clientCount(), 0);
            QTRY_COMPARE(servers.keywords.sessionCount(), 0);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            if (round == toggles)
                QTRY_VERIFY(openFiles() <= filesBefore);
            filesBefore = openFiles();
        }
    }
    QVERIFY(root->property("shown").toInt() >= lived);
}

void tst_TeardownLife::process_endsWithEverythingAlive_data()
{
    QTest::addColumn<QString>("way");
    QTest::addColumn<QString>("transport");
    for (const char *way : {"stack", "static", "left unseen", "left", "exit", "handler"}) {
        for (const char *transport : {"inprocess", "websocket"}) {
            QTest::addRow("%s, %s", way, transport)
                << QString::fromLatin1(way) << QString::fromLatin1(transport);
        }
    }
}

void tst_TeardownLife::process_endsWithEverythingAlive()
{
    QFETCH(QString, way);
    QFETCH(QString, transport);
    QTemporaryDir runtime; // otherwise, Qt warns that there is none
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
    // The leak sanitizer cannot see which memory a QML engine uses, because it is on the engine's
    // own heap. If the engine is not destroyed, only the other sanitizers are used.
    if (way == QLatin1String("left") || way == QLatin1String("exit")
        || way == QLatin1String("handler")) {
        const QString name = QStringLiteral("ASAN_OPTIONS");
        environment.insert(name, environment.value(name) + QLatin1String(":detect_leaks=0"));
    }

    // Qt 6.8 prints a warning for each timer that outlives the application, and for each exit()
    // inside an event loop.
    QStringList qtsOwn;
    if (way == QLatin1String("static") || way == QLatin1String("exit")
        || way == QLatin1String("handler")) {
        QProcess program;
        program.setProcessEnvironment(environment);
        program.start(QStringLiteral(EXIT_PROGRAM), {way, QStringLiteral("qt")});
        QVERIFY2(program.waitForFinished(60000), qPrintable(program.errorString()));
        QCOMPARE(program.exitCode(), 0);
        qtsOwn = lines(program);
    }

    for (int done = 0; done < startsPerWay; done += atOnce) {
        std::vector<std::unique_ptr<QProcess>> programs;
        for (int i = 0; i < atOnce; ++i) {
            programs.push_back(std::make_unique<QProcess>());
            programs.back()->setProcessEnvironment(environment);
            programs.back()->start(QStringLiteral(EXIT_PROGRAM), {way, transport});
        }
        for (const auto &program : programs) {
            QVERIFY2(program->waitForFinished(60000), qPrintable(program->errorString()));
            QStringList said = lines(*program);
            said.removeIf([&qtsOwn](const QString &line) { return qtsOwn.contains(line); });
            QCOMPARE(said, QStringList());
            QCOMPARE(program->exitStatus(), QProcess::NormalExit);
            QCOMPARE(program->exitCode(), 0);
        }
    }
}

QTEST_MAIN(tst_TeardownLife)
#include "tst_teardownlife.moc"
