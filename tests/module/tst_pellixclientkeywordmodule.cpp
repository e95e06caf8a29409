// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "client/websocketkeywordclient.h"
#include "models/keywordpathmodel.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"
#include "module/pellixclientkeywordmodule.h"

#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQml/QQmlProperty>
#include <QtQml/qqml.h>
#include <QtTest/QTest>

#include <memory>

using namespace pellix::client;

class tst_PellixClientKeywordModule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void types_areCreated_data();
    void types_areCreated();
    void types_areRefusedWithTheirReason_data();
    void types_areRefusedWithTheirReason();
    void names_areNoTypes_data();
    void names_areNoTypes();
    void enumerators_areReachable_data();
    void enumerators_areReachable();
    void expression_nameTakesTheConcreteClasses_data();
    void expression_nameTakesTheConcreteClasses();
    void aggregation_isWrittenByName();
    void module_isProtected();

private:
    std::unique_ptr<QObject> create(const QString &body, QString *error = nullptr);

    QQmlEngine engine;
};

void tst_PellixClientKeywordModule::initTestCase()
{
    ::PellixClientKeywordModule::registerTypes("PellixClient.Keyword"); // unqualified
}

std::unique_ptr<QObject> tst_PellixClientKeywordModule::create(const QString &body, QString *error)
{
    QQmlComponent component(&engine);
    component.setData("import QtQml\nimport PellixClient.Keyword 1.0\n" + body.toUtf8(), QUrl());
    std::unique_ptr<QObject> object(component.isReady() ? component.create() : nullptr);
    if (error)
        *error = component.errorString();
    return object;
}

void tst_PellixClientKeywordModule::types_areCreated_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("className");
    const auto row = [](const char *name, const QMetaObject &meta) {
        QTest::newRow(name) << QString::fromLatin1(name) << QByteArray(meta.className());
    };
    row("PWebSocketKeywordClient", PWebSocketKeywordClient::staticMetaObject);
    row("PInProcessKeywordClient", PInProcessKeywordClient::staticMetaObject);
    row("PKeywordProxy", PKeywordProxy::staticMetaObject);
    row("PKeywordExpression", PKeywordExpression::staticMetaObject);
    row("PPostfixKeywordExpression", PPostfixKeywordExpression::staticMetaObject);
    row("PListPostfixKeywordExpression", PListPostfixKeywordExpression::staticMetaObject);
    row("PKeywordQueryModel", PKeywordQueryModel::staticMetaObject);
    row("PKeywordQueryFilterProxyModel", PKeywordQueryFilterProxyModel::staticMetaObject);
    row("PKeywordPathModel", PKeywordPathModel::staticMetaObject);
}

void tst_PellixClientKeywordModule::types_areCreated()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, className);
    QString error;
    const auto object = create(name + QStringLiteral(" {}"), &error);
    QVERIFY2(object, qPrintable(error));
    const QMetaObject *meta = object->metaObject();
    while (meta && meta->className() != className)
        meta = meta->superClass();
    QVERIFY(meta);
}

void tst_PellixClientKeywordModule::types_areRefusedWithTheirReason_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("PKeyword") << QStringLiteral("PKeyword");
    QTest::newRow("PKeywordClient") << QStringLiteral("PKeywordClient");
}

void tst_PellixClientKeywordModule::types_areRefusedWithTheirReason()
{
    QFETCH(QString, name);
    QString error;
    QVERIFY(!create(name + QStringLiteral(" {}"), &error));
    QVERIFY2(error.contains(name + QStringLiteral(" is not instantiable")), qPrintable(error));
}

void tst_PellixClientKeywordModule::names_areNoTypes_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("PKeywordBinding") << QStringLiteral("PKeywordBinding");
    QTest::newRow("PAbstractKeywordExpression") << QStringLiteral("PAbstractKeywordExpression");
    QTest::newRow("PPublisher") << QStringLiteral("PPublisher");
    QTest::newRow("PSubscriber") << QStringLiteral("PSubscriber");
}

void tst_PellixClientKeywordModule::names_areNoTypes()
{
    QFETCH(QString, name);
    QString error;
    QVERIFY(!create(name + QStringLiteral(" {}"), &error));
    QVERIFY2(error.contains(name + QStringLiteral(" is not a type")), qPrintable(error));
}

void tst_PellixClientKeywordModule::enumerators_areReachable_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("number");
    const auto rows = [](const QStringList &names) {
        for (int i = 0; i < names.size(); ++i)
            QTest::newRow(qPrintable(names.at(i))) << names.at(i) << i;
    };
    const auto list = [](const char *text) {
        return QString::fromLatin1(text).split(QLatin1Char(' '));
    };
    rows(list("No Min Max Equal Sum And Or"));
    rows(list("KVT_NOPROP KVT_OBJECT KVT_BOOL KVT_STRING KVT_DOUBLE KVT_INT"));
    rows(list("KVA_NONE KVA_READ KVA_READ_META KVA_WRITE KVA_READWRITE"));
}

void tst_PellixClientKeywordModule::enumerators_areReachable()
{
    QFETCH(QString, name);
    QFETCH(int, number);
    QString error;
    const auto object =
        create(QStringLiteral("QtObject { property int n: PKeyword.%1 }").arg(name), &error);
    QVERIFY2(object, qPrintable(error));
    QCOMPARE(object->property("n").toInt(), number);
}

void tst_PellixClientKeywordModule::expression_nameTakesTheConcreteClasses_data()
{
    QTest::addColumn<QString>("expression");
    QTest::addColumn<bool>("asProperty");
    QTest::newRow("plain") << QStringLiteral("PKeywordExpression { value: '/a' }") << true;
    QTest::newRow("postfix") << QStringLiteral("PPostfixKeywordExpression { postfix: '/a' }")
                             << true;
    QTest::newRow("list") << QStringLiteral("PListPostfixKeywordExpression { values: ['/a'] }")
                          << false;
}

// Two classes are registered under one name, and the later, concrete one applies: a property of
// this type accepts only derived classes, while a proxy accepts every expression.
void tst_PellixClientKeywordModule::expression_nameTakesTheConcreteClasses()
{
    QFETCH(QString, expression);
    QFETCH(bool, asProperty);
    QString error;
    const auto proxy =
        create(QStringLiteral("PKeywordProxy { keywordExpression: %1 }").arg(expression), &error);
    QVERIFY2(proxy, qPrintable(error));
    QCOMPARE(proxy->property("keyword").toString(), QStringLiteral("/a"));

    const auto object = create(
        QStringLiteral("QtObject { property PKeywordExpression e: %1 }").arg(expression), &error);
    QCOMPARE(bool(object), asProperty);
}

void tst_PellixClientKeywordModule::aggregation_isWrittenByName()
{
    QString error;
    const auto object = create(
        QStringLiteral("PListPostfixKeywordExpression { aggregation: PKeyword.Or }"), &error);
    QVERIFY2(object, qPrintable(error));
    QCOMPARE(object->property("aggregation").value<PKeywordAggregation>(), PKeywordAggregation::Or);
}

void tst_PellixClientKeywordModule::module_isProtected()
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("protected module")));
    QVERIFY(qmlRegisterType<PKeywordProxy>("PellixClient.Keyword", 1, 0, "Intruder") < 0);
}

QTEST_GUILESS_MAIN(tst_PellixClientKeywordModule)
#include "tst_pellixclientkeywordmodule.moc"
