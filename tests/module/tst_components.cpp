// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "module/keywordresource.h"
#include "module/pellixclientkeywordmodule.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QFile>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickView>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <functional>
#include <memory>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// The object that the application provides as theme.
class Theme : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE qreal dp(qreal units) const { return units * scale; }

    qreal scale = 1;
};

QList<QQuickItem *> itemsOf(QQuickItem *root, const std::function<bool(QQuickItem *)> &wanted)
{
    QList<QQuickItem *> found;
    for (QQuickItem *child : root->childItems()) {
        if (wanted(child))
            found << child;
        found << itemsOf(child, wanted);
    }
    return found;
}

// The rectangles that show text, in order: levels, value, remove buttons.
QList<QQuickItem *> boxesOf(QQuickItem *root)
{
    return itemsOf(root, [](QQuickItem *item) {
        if (!item->inherits("QQuickRectangle"))
            return false;
        for (const QQuickItem *child : item->childItems()) {
            if (child->objectName() == q("PText"))
                return true;
        }
        return false;
    });
}

QQuickItem *textOf(QQuickItem *box)
{
    for (QQuickItem *child : box->childItems()) {
        if (child->objectName() == q("PText"))
            return child;
    }
    return nullptr;
}

QString texts(QQuickItem *root)
{
    QStringList shown;
    for (QQuickItem *box : boxesOf(root)) {
        if (box->isVisible())
            shown << textOf(box)->property("text").toString();
    }
    return shown.join(q("|"));
}

QString colour(QQuickItem *box)
{
    return box->property("color").value<QColor>().name();
}

} // namespace

class tst_Components : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void resource_holdsTheFiles();
    void path_showsLevelsAndValue();
    void path_scales_data();
    void path_scales();
    void path_showsValuesByType_data();
    void path_showsValuesByType();
    void path_hidesTheValue_data();
    void path_hidesTheValue();
    void path_showsLabels_data();
    void path_showsLabels();
    void path_changes();
    void list_showsItsKeywords();
    void list_reportsTaps();
    void list_removeButtonsTakeNoRoomWhenHidden();
    void texts_getNoPropertiesBeyondTheHosts();
    void binding_drivesAProperty();
    void components_outliveTheirClient();

private:
    QQuickItem *load(const QString &body);
    void sendEvent(const char *keyword, const char *value, const char *type, bool connected = true,
                   bool error = false);

    std::unique_ptr<RecordingClient> client;
    std::unique_ptr<Theme> theme;
    std::unique_ptr<QQuickView> view;
};

void tst_Components::initTestCase()
{
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
}

void tst_Components::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    client = std::make_unique<RecordingClient>();
    theme = std::make_unique<Theme>();
    view = std::make_unique<QQuickView>();
    view->engine()->addImportPath(q(QML_IMPORTS));
    view->engine()->rootContext()->setContextProperty(q("theme"), theme.get());
    view->engine()->rootContext()->setContextProperty(q("testClient"), client.get());
}

void tst_Components::cleanup()
{
    view.reset();
    client.reset();
    theme.reset();
}

QQuickItem *tst_Components::load(const QString &body)
{
    QQmlComponent component(view->engine());
    component.setData("import QtQuick\nimport PellixClient.Keyword 1.0\n" + body.toUtf8(),
                      QUrl(q("qrc:/test.qml")));
    QObject *const root = component.isReady() ? component.create() : nullptr;
    if (!root) {
        qWarning() << component.errors();
        return nullptr;
    }
    view->setContent(component.url(), nullptr, root);
    view->resize(600, 300);
    view->show();
    if (!QTest::qWaitForWindowExposed(view.get()))
        return nullptr;
    return view->rootObject();
}

void tst_Components::sendEvent(const char *keyword, const char *value, const char *type,
                               bool connected, bool error)
{
    client->receive(q(R"({"cmd":"keyEvent","payload":{"keyword":"%1","value":%2,"type":"%3",)"
                      R"("connected":%4,"error":%5}})")
                        .arg(q(keyword), q(value), q(type), connected ? q("true") : q("false"),
                             error ? q("true") : q("false")));
}

void tst_Components::resource_holdsTheFiles()
{
    initKeywordResource();
    initKeywordResource(); // has no effect
    for (const char *name : {"PKeywordBinding.qml", "PKeywordPath.qml", "PKeywordPathList.qml"}) {
        QFile file(q(":/") + q(name));
        QVERIFY2(file.open(QIODevice::ReadOnly), name);
        QVERIFY(QString::fromUtf8(file.readAll()).contains(q("import PellixClient.Keyword 1.0")));
    }
}

void tst_Components::path_showsLevelsAndValue()
{
    QQuickItem *const path =
        load(q("PKeywordPath { keyword: 'a//b#c'; keywordClient: testClient }"));
    QVERIFY(path);
    QCOMPARE(path->property("keyword").toString(), q("/a/b#c"));
    QCOMPARE(texts(path), q("a|b|c"));
    sendEvent("/a/b#c", "7", "int");
    QCOMPARE(texts(path), q("a|b|c| = 7 "));
    const QList<QQuickItem *> boxes = boxesOf(path);
    QCOMPARE(boxes.size(), 4);
    QCOMPARE(colour(boxes.at(0)), q("#000000"));
    QCOMPARE(colour(boxes.at(1)), q("#005691"));
    QCOMPARE(colour(boxes.at(2)), q("#005691"));
    QCOMPARE(colour(boxes.at(3)), q("#557828"));
    path->setProperty("providerDisplayName", q("Server"));
    QCOMPARE(texts(path), q("Server|b|c| = 7 "));
}

void tst_Components::path_scales_data()
{
    QTest::addColumn<qreal>("scale");
    QTest::newRow("1") << qreal(1);
    QTest::newRow("2") << qreal(2);
}

void tst_Components::path_scales()
{
    QFETCH(qreal, scale);
    theme->scale = scale;
    QQuickItem *const path = load(q("PKeywordPath { keyword: '/a/b'; keywordClient: testClient }"));
    QVERIFY(path);
    sendEvent("/a/b", "\"x\"", "string");
    QCOMPARE(path->height(), 24 * scale);
    const QList<QQuickItem *> boxes = boxesOf(path);
    QCOMPARE(boxes.size(), 3);
    for (QQuickItem *box : boxes) {
        QCOMPARE(box->height(), 24 * scale);
        QCOMPARE(textOf(box)->height(), 16 * scale);
    }
    for (QQuickItem *box : {boxes.at(0), boxes.at(1)})
        QCOMPARE(box->width(), textOf(box)->implicitWidth() + 8 * scale);
    QCOMPARE(boxes.at(2)->width(), textOf(boxes.at(2))->width());
    QCOMPARE(boxes.at(1)->x(), boxes.at(0)->width() + 2 * scale);
    const qreal width = boxes.at(0)->width() + boxes.at(1)->width() + boxes.at(2)->width();
    QTRY_COMPARE(path->implicitWidth(), width + 4 * scale);
}

void tst_Components::path_showsValuesByType_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const char *value, const char *type, const char *text) {
        QTest::newRow(name) << QByteArray(value) << QByteArray(type) << q(text);
    };
    row("double", "3.14159", "double", " = 3.14 ");
    row("whole double", "2", "double", " = 2.00 ");
    row("int", "7", "int", " = 7 ");
    row("int with a fraction", "7.6", "int", " = 8 ");
    row("string", "\"abc\"", "string", " = abc ");
    row("bool", "true", "bool", " = true ");
    row("unknown type", "1.23456", "other", " = 1.23456 ");
    row("double null", "null", "double", " = null ");
    row("double text", "\"n/a\"", "double", " = n/a ");
    row("int null", "null", "int", " = null ");
    row("int text", "\"n/a\"", "int", " = n/a ");
}

void tst_Components::path_showsValuesByType()
{
    QFETCH(QByteArray, value);
    QFETCH(QByteArray, type);
    QFETCH(QString, text);
    QQuickItem *const path = load(q("PKeywordPath { keyword: '/a'; keywordClient: testClient }"));
    QVERIFY(path);
    sendEvent("/a", value.constData(), type.constData());
    QCOMPARE(texts(path), q("a|") + text);
}

void tst_Components::path_hidesTheValue_data()
{
    QTest::addColumn<bool>("connected");
    QTest::addColumn<bool>("error");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("colourName");
    QTest::newRow("good") << true << false << q(" = 7 ") << q("#557828");
    QTest::newRow("not connected") << false << false << q(" = UNKNOWN ") << q("#b67600");
    QTest::newRow("error") << true << true << q(" = ERROR ") << q("#9b2323");
    QTest::newRow("both") << false << true << q(" = ERROR ") << q("#9b2323");
}

void tst_Components::path_hidesTheValue()
{
    QFETCH(bool, connected);
    QFETCH(bool, error);
    QFETCH(QString, text);
    QFETCH(QString, colourName);
    QQuickItem *const path = load(q("PKeywordPath { keyword: '/a'; keywordClient: testClient }"));
    QVERIFY(path);
    QVERIFY(!boxesOf(path).constLast()->isVisible());
    sendEvent("/a", "7", "int", connected, error);
    QQuickItem *const value = boxesOf(path).constLast();
    QCOMPARE(value->isVisible(), connected && !error);
    QCOMPARE(textOf(value)->property("text").toString(), text);
    QCOMPARE(colour(value), colourName);
}

void tst_Components::path_showsLabels_data()
{
    QTest::addColumn<QByteArray>("label");
    QTest::addColumn<QString>("text");
    QTest::newRow("text") << QByteArray("\"Bee\"") << q("a|Bee");
    QTest::newRow("empty") << QByteArray("\"\"") << q("a|b");
    QTest::newRow("null") << QByteArray("null") << q("a|b");
    QTest::newRow("number") << QByteArray("5") << q("a|5");
}

void tst_Components::path_showsLabels()
{
    QFETCH(QByteArray, label);
    QFETCH(QString, text);
    QQuickItem *const path = load(q("PKeywordPath { keyword: '/a/b'; keywordClient: testClient }"));
    QVERIFY(path);
    sendEvent("/a/b/Label", label.constData(), "string");
    QCOMPARE(texts(path), text);
}

void tst_Components::path_changes()
{
    QQuickItem *const path = load(q("PKeywordPath { keyword: '/a/b'; keywordClient: testClient }"));
    QVERIFY(path);
    sendEvent("/a/b", "7", "int");
    path->setProperty("keyword", q("/c"));
    QCOMPARE(texts(path), q("c"));
    sendEvent("/c", "8", "int");
    QCOMPARE(texts(path), q("c| = 8 "));
    RecordingClient other;
    path->setProperty("keywordClient", QVariant::fromValue<PKeywordClient *>(&other));
    QCOMPARE(texts(path), q("c"));
    other.event(q("/c/Label"), q("\"See\""));
    other.event(q("/c"), q("9"), q("int"));
    QCOMPARE(texts(path), q("See| = 9 "));
    path->setProperty("keywordClient", QVariant::fromValue<PKeywordClient *>(nullptr));
}

void tst_Components::list_showsItsKeywords()
{
    QQuickItem *const list =
        load(q("PKeywordPathList { width: 400; height: 200; keywords: ['/a', '/b/c']; "
               "keywordClient: testClient; providerDisplayName: 'P' }"));
    QVERIFY(list);
    QCOMPARE(texts(list), q("P|P|c"));
    sendEvent("/b/c", "1.5", "double");
    QCOMPARE(texts(list), q("P|P|c| = 1.50 "));
    QCOMPARE(list->property("isRemoveVisible"), QVariant(false));
    list->setProperty("keywords", QStringList({q("/x/y")}));
    QCOMPARE(texts(list), q("P|y"));
}

void tst_Components::list_reportsTaps()
{
    QQuickItem *const list =
        load(q("PKeywordPathList { width: 400; height: 200; keywords: ['/a', '/b/c']; "
               "keywordClient: testClient; isRemoveVisible: true }"));
    QVERIFY(list);
    QSignalSpy selected(list, SIGNAL(keywordSelected(int, QString)));
    QSignalSpy removed(list, SIGNAL(keywordRemove(int, QString)));
    QQuickItem *second = nullptr;
    QQuickItem *button = nullptr;
    for (QQuickItem *box : boxesOf(list)) {
        if (textOf(box)->property("text") == q("c"))
            second = box;
        if (textOf(box)->property("text") == q("x"))
            button = box; // the last one remains
    }
    QVERIFY(second && button);
    const auto tap = [this](QQuickItem *item) {
        const QPointF centre = item->mapToScene({item->width() / 2, item->height() / 2});
        QTest::mouseClick(view.get(), Qt::LeftButton, {}, centre.toPoint());
    };
    tap(second);
    QTRY_COMPARE(selected.count(), 1);
    QCOMPARE(selected.at(0).at(0).toInt(), 1);
    QCOMPARE(selected.at(0).at(1).toString(), q("/b/c"));
    QCOMPARE(removed.count(), 0);
    tap(button);
    QTRY_COMPARE(removed.count(), 1);
    QCOMPARE(removed.at(0).at(0).toInt(), 1);
    QCOMPARE(removed.at(0).at(1).toString(), q("/b/c"));
    QCOMPARE(selected.count(), 1);
    QCOMPARE(list->property("keywords").toStringList().size(), 2); // only reported
}

void tst_Components::list_removeButtonsTakeNoRoomWhenHidden()
{
    QQuickItem *const list = load(q("PKeywordPathList { width: 400; height: 200; "
                                    "keywords: ['/a']; keywordClient: testClient }"));
    QVERIFY(list);
    const auto button = [&] { return boxesOf(list).constLast(); };
    QCOMPARE(textOf(button())->property("text").toString(), q("x"));
    QVERIFY(!button()->isVisible());
    QCOMPARE(button()->width(), 0.0);
    list->setProperty("isRemoveVisible", true);
    QVERIFY(button()->isVisible());
    QCOMPARE(button()->width(), 24.0);
    QCOMPARE(button()->height(), 24.0);
    QCOMPARE(colour(button()), q("#ff0000"));
    QCOMPARE(textOf(button())->property("color").value<QColor>(), QColor(Qt::white));
}

// A property that the library adds to an element of the application could hide one of its own.
void tst_Components::texts_getNoPropertiesBeyondTheHosts()
{
    QQuickItem *const list = load(q("PKeywordPathList { width: 400; height: 200; "
                                    "keywords: ['/a/b']; keywordClient: testClient }"));
    QVERIFY(list);
    for (QQuickItem *box : boxesOf(list)) {
        const QMetaObject *const text = textOf(box)->metaObject();
        const QMetaObject *host = text; // up to the Text element on which the stub is based
        while (host && qstrcmp(host->className(), "QQuickText") != 0)
            host = host->superClass();
        QVERIFY(host);
        QStringList added;
        for (int i = host->propertyCount(); i < text->propertyCount(); ++i)
            added << QString::fromLatin1(text->property(i).name());
        QCOMPARE(added.join(q(" ")), QString());
    }
}

void tst_Components::binding_drivesAProperty()
{
    QQuickItem *const root = load(q(R"(Item {
        id: root
        property string shown: "-"
        property var binding: loader.item
        function write(value) { loader.item.update(value) }
        Loader {
            id: loader
            source: "qrc:/PKeywordBinding.qml"
            onLoaded: {
                item.property = "shown"
                item.target = root
                item.proxy.client = testClient
                item.proxy.keyword = "/a"
            }
        }
    })"));
    QVERIFY(root);
    sendEvent("/a", "\"text\"", "string");
    QTRY_COMPARE(root->property("shown").toString(), q("text"));
    QObject *const binding = root->property("binding").value<QObject *>();
    QVERIFY(binding);
    QCOMPARE(binding->property("client").value<PKeywordClient *>(), client.get());
    // The proxy emits the signal before it changes its keyword.
    QCOMPARE(binding->property("keyword").toString(), QString());
    client->taken();
    QMetaObject::invokeMethod(root, "write", Q_ARG(QVariant, 5));
    QCOMPARE(client->taken(), q(R"({"cmd":"keyUpdate","payload":{"keyword":"/a","value":5}})"));
}

void tst_Components::components_outliveTheirClient()
{
    QQuickItem *const list = load(q("PKeywordPathList { width: 400; height: 200; "
                                    "keywords: ['/a', '/b']; keywordClient: testClient }"));
    QVERIFY(list);
    sendEvent("/a", "7", "int");
    QCOMPARE(texts(list), q("a| = 7 |b"));
    client.reset();
    QTRY_COMPARE(texts(list), q("a|b"));
}

QTEST_MAIN(tst_Components)
#include "tst_components.moc"
