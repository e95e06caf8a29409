// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "module/pellixclientkeywordmodule.h"

#include <QtCore/QTemporaryDir>
#include <QtGui/QGuiApplication>
#include <QtGui/QPalette>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQml/QQmlProperty>
#include <QtQuick/QQuickItem>
#include <QtTest/QTest>

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

class HostTheme : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE qreal dp(qreal units) const { return units * 3; }
};

class HostContext : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QObject *theme MEMBER theme CONSTANT)

public:
    QObject *theme = nullptr;
};

QPalette palette(const QColor &window, const QColor &text)
{
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    return palette;
}

qreal luminance(const QColor &color)
{
    const auto linear = [](qreal part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF())
        + 0.0722 * linear(color.blueF());
}

qreal contrast(const QColor &one, const QColor &other)
{
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}

} // namespace

// Tests the modules PellixClient.Control and PellixClient.Theme, for applications without modules
// of their own.
class tst_Control : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void components_workWithTheDefaults_data();
    void components_workWithTheDefaults();
    void components_loadInTheBackground();
    void components_followTheScale();
    void theme_followsTheSystem_data();
    void theme_followsTheSystem();
    void theme_keepsWhatIsSet();
    void theme_isOneForEachEngine();
    void theme_ofTheHostStays();
    void theme_ofTheHostMayBeNull();
    void theme_inTheContextObjectOfTheHostStays();
    void theme_ofTheHostMayComeLater();
    void module_ofTheHostIsTakenAlone();

private:
    QObject *create(const QString &body, const QString &imports = q("PellixClient.Control 1.0"));

    std::unique_ptr<QQmlEngine> engine;
    std::unique_ptr<QObject> object;
};

void tst_Control::initTestCase()
{
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
}

void tst_Control::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    engine = std::make_unique<QQmlEngine>();
    engine->addImportPath(q(IMPORTS));
}

void tst_Control::cleanup()
{
    object.reset();
    engine.reset();
    QGuiApplication::setPalette(QPalette());
}

QObject *tst_Control::create(const QString &body, const QString &imports)
{
    QQmlComponent component(engine.get());
    QString text = q("import QtQuick\nimport PellixClient.Keyword\n");
    if (!imports.isEmpty())
        text += q("import ") + imports + QLatin1Char('\n');
    component.setData(text.toUtf8() + body.toUtf8(), QUrl(q("qrc:/test.qml")));
    object.reset(component.isReady() ? component.create() : nullptr);
    if (!object)
        qWarning("%s", qPrintable(component.errorString()));
    return object.get();
}

void tst_Control::components_workWithTheDefaults_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("imports");

    QTest::newRow("path") << q("PKeywordPath { keyword: '/a/b' }") << QString();
    QTest::newRow("path list") << q("PKeywordPathList { keywords: ['/a', '/b/c'] }") << QString();
    QTest::newRow("text") << q("PText { height: theme.dp(24); text: 'a' }")
                          << q("PellixClient.Control 1.0");
    QTest::newRow("text, no version")
        << q("PText { height: Theme.dp(24); text: 'a' }") << q("PellixClient.Control");
    QTest::newRow("theme alone") << q("Item { height: theme.dp(24); width: Theme.dp(24) }")
                                 << q("PellixClient.Theme");
}

void tst_Control::components_workWithTheDefaults()
{
    QFETCH(QString, body);
    QFETCH(QString, imports);

    QVERIFY(create(body, imports));
    if (!body.startsWith(q("PKeywordPathList")))
        QCOMPARE(object->property("height").toReal(), 24.0);
    const auto size = object->property("implicitWidth").toReal();
    QVERIFY(size > 0 || body.startsWith(q("Item")));
}

// In this case, a thread of the engine loads the plugin.
void tst_Control::components_loadInTheBackground()
{
    QTemporaryDir folder;
    QFile file(folder.filePath(q("Path.qml")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("import PellixClient.Keyword\nPKeywordPath { keyword: '/a' }\n");
    file.close();
    QQmlComponent component(engine.get(), QUrl::fromLocalFile(file.fileName()),
                            QQmlComponent::Asynchronous);
    QVERIFY(component.isLoading());
    QTRY_VERIFY2(component.isReady(), qPrintable(component.errorString()));
    object.reset(component.create());
    QVERIFY(object);
    QCOMPARE(object->property("height").toReal(), 24.0);
}

void tst_Control::components_followTheScale()
{
    QVERIFY(create(q("Item {\n"
                     "    property alias path: path\n"
                     "    property QtObject singleton: Theme\n"
                     "    PKeywordPath { id: path; keyword: '/a' }\n"
                     "}")));
    auto *const path = object->property("path").value<QQuickItem *>();
    auto *const theme = object->property("singleton").value<QObject *>();
    QCOMPARE(path->height(), 24.0);
    theme->setProperty("scale", 1.5);
    QCOMPARE(path->height(), 36.0);
}

void tst_Control::theme_followsTheSystem_data()
{
    QTest::addColumn<QPalette>("system");
    QTest::addColumn<bool>("isDark");

    QTest::newRow("dark") << palette(Qt::black, Qt::white) << true;
    QTest::newRow("light") << palette(Qt::white, Qt::black) << false;
}

void tst_Control::theme_followsTheSystem()
{
    QFETCH(QPalette, system);
    QFETCH(bool, isDark);

    QGuiApplication::setPalette(system);
    QVERIFY(create(q("PText {\n"
                     "    property bool isDark: Theme.dark\n"
                     "    property color window: Theme.window\n"
                     "    property color card: Theme.card\n"
                     "    property color control: Theme.control\n"
                     "    property color secondary: Theme.textSecondary\n"
                     "    property color faint: Theme.textFaint\n"
                     "}")));
    const auto color = [this](const char *name) { return object->property(name).value<QColor>(); };
    QCOMPARE(object->property("isDark").toBool(), isDark);
    // Less important text must also be readable for users with low vision.
    for (const char *text : {"secondary", "faint"}) {
        for (const char *behind : {"window", "card", "control"})
            QVERIFY2(contrast(color(text), color(behind)) >= 4.5, text);
    }
    QVERIFY(contrast(color("color"), color("window")) > 7);
    QVERIFY(contrast(color("color"), color("card")) > 7);
    const QColor before = color("color");

    // The palette changes while the program runs
    QGuiApplication::setPalette(isDark ? palette(Qt::white, Qt::black)
                                       : palette(Qt::black, Qt::white));
    QTRY_COMPARE(object->property("isDark").toBool(), !isDark);
    QVERIFY(color("color") != before);
    QVERIFY(contrast(color("color"), color("window")) > 7);
}

void tst_Control::theme_keepsWhatIsSet()
{
    QVERIFY(create(q("QtObject { property QtObject singleton: Theme }")));
    auto *const theme = object->property("singleton").value<QObject *>();
    QVERIFY(QQmlProperty::write(theme, q("dark"), true)); // as from QML
    QGuiApplication::setPalette(palette(Qt::black, Qt::white));
    QGuiApplication::setPalette(palette(Qt::white, Qt::black));
    QCoreApplication::sendPostedEvents();
    QCOMPARE(theme->property("dark"), QVariant(true));
}

void tst_Control::theme_isOneForEachEngine()
{
    const auto scaleAndSize = [this](const char *change) {
        create(q("PText { property real size: theme.dp(10); Component.onCompleted: { %1 } }")
                   .arg(q(change)));
        return object ? object->property("size").toReal() : -1;
    };
    QCOMPARE(scaleAndSize("Theme.scale = 2"), 20.0);
    object.reset();
    const std::unique_ptr<QQmlEngine> first = std::move(engine);
    init();
    QCOMPARE(scaleAndSize(""), 10.0);
}

void tst_Control::theme_ofTheHostStays()
{
    HostTheme host;
    engine->rootContext()->setContextProperty(q("theme"), &host);
    QVERIFY(create(q("PKeywordPath { keyword: '/a' }")));
    QCOMPARE(object->property("height").toReal(), 72.0);
    QCOMPARE(engine->rootContext()->contextProperty(q("theme")).value<QObject *>(), &host);
    object.reset();
}

void tst_Control::theme_ofTheHostMayBeNull()
{
    engine->rootContext()->setContextProperty(q("theme"), static_cast<QObject *>(nullptr));
    QVERIFY(create(q("PText { property bool isNull: theme === null }")));
    QCOMPARE(object->property("isNull"), QVariant(true));
}

void tst_Control::theme_inTheContextObjectOfTheHostStays()
{
    HostTheme host;
    HostContext context;
    context.theme = &host;
    engine->rootContext()->setContextObject(&context);
    QVERIFY(create(q("PKeywordPath { keyword: '/a' }")));
    QCOMPARE(object->property("height").toReal(), 72.0);
    object.reset();
    engine.reset();
}

void tst_Control::theme_ofTheHostMayComeLater()
{
    HostTheme host;
    QVERIFY(create(q("PKeywordPath { keyword: '/a' }")));
    QCOMPARE(object->property("height").toReal(), 24.0);
    engine->rootContext()->setContextProperty(q("theme"), &host);
    QCOMPARE(object->property("height").toReal(), 72.0);
    object.reset();
}

// An application with its own module must also provide the theme.
void tst_Control::module_ofTheHostIsTakenAlone()
{
    HostTheme host;
    engine->addImportPath(q(HOST_IMPORTS)); // has priority over the other path
    engine->rootContext()->setContextProperty(q("hostTheme"), &host);
    QVERIFY(create(q("PText { property string missing: typeof theme }")));
    QCOMPARE(object->objectName(), q("PText"));
    QCOMPARE(object->property("missing").toString(), q("undefined"));
}

QTEST_MAIN(tst_Control)
#include "tst_control.moc"
