// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "module/pellixclientkeywordmodule.h"

#include <QtQml/QJSValue>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQml/qqml.h>
#include <QtTest/QTest>

#include <memory>

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

// An application that registers its own text element under PellixClient.Control, while the
// installed module is also on its import path. Each row runs in a separate process, because
// registrations are permanent.
class tst_RegisteredControl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void components_useTheHostsText();
    void host_importsItsModule_data();
    void host_importsItsModule();
};

void tst_RegisteredControl::initTestCase()
{
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    qmlRegisterType(QUrl::fromLocalFile(q(HOST_IMPORTS "/PellixClient/Control/PText.qml")),
                    "PellixClient.Control", 1, 0, "PText");
    if (qEnvironmentVariableIsSet("PELLIX_PROTECT_CONTROL"))
        QVERIFY(qmlProtectModule("PellixClient.Control", 1));
}

void tst_RegisteredControl::components_useTheHostsText()
{
    QQmlEngine engine;
    engine.addImportPath(q(IMPORTS));
    const QJSValue theme = engine.evaluate(q("({ dp: units => 2 * units })"));
    engine.rootContext()->setContextProperty(q("theme"), QVariant::fromValue(theme));
    QQmlComponent component(&engine);
    component.setData("import PellixClient.Keyword 1.0\nPKeywordPath { keyword: '/a/b' }", QUrl());
    const std::unique_ptr<QObject> object(component.isReady() ? component.create() : nullptr);
    QVERIFY2(object, qPrintable(component.errorString()));
    QCOMPARE(object->property("height").toReal(), 48.0);
    QCOMPARE(object->findChildren<QObject *>(q("PText")).size(), 1);
}

void tst_RegisteredControl::host_importsItsModule_data()
{
    QTest::addColumn<QString>("imports");
    QTest::newRow("version") << q("PellixClient.Control 1.0");
    QTest::newRow("no version") << q("PellixClient.Control");
}

void tst_RegisteredControl::host_importsItsModule()
{
    QFETCH(QString, imports);

    QQmlEngine engine;
    engine.addImportPath(q(IMPORTS));
    QQmlComponent component(&engine);
    component.setData("import " + imports.toUtf8() + "\nPText { }", QUrl());
    const std::unique_ptr<QObject> object(component.isReady() ? component.create() : nullptr);
    QVERIFY2(object, qPrintable(component.errorString()));
    QCOMPARE(object->objectName(), q("PText"));
}

QTEST_MAIN(tst_RegisteredControl)
#include "tst_registeredcontrol.moc"
