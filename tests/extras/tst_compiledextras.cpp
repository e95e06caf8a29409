// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "extras/keywordextrasmodule.h"
#include "extras/writing/keywordwrite.h"
#include "module/pellixclientkeywordmodule.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QLibraryInfo>
#include <QtCore/QMetaProperty>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QVersionNumber>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtTest/QTest>

#include <limits>
#include <memory>

using namespace pellix::client;
using pellix::extras::PKeywordWrite;
using pellix::server::KeywordServer;
using pellix::server::linkInProcess;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// Numbers are equal regardless of the type that contains them, as in QML.
QString shown(QVariant value)
{
    if (value.metaType() == QMetaType::fromType<QJSValue>())
        value = value.value<QJSValue>().toVariant();
    if (!value.isValid())
        return q("undefined");
    switch (value.metaType().id()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Double:
        return QString::number(value.toDouble(), 'g', 17);
    default:
        const QJsonArray array {QJsonValue::fromVariant(value)};
        return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
    }
}

QUrl interpretedFile(const char *name)
{
    return QUrl::fromLocalFile(q(FOLDER "/") + q(name)); // QML from a file is interpreted
}

QUrl compiledFile(const char *name)
{
    return QUrl(q("qrc:/qt-project.org/imports/CompiledExtras/") + q(name));
}

// The properties declared in QML, such as "realOr = 1200".
QStringList properties(const QObject &root)
{
    QStringList lines;
    for (int i = QQuickItem::staticMetaObject.propertyCount();
         i < root.metaObject()->propertyCount(); ++i) {
        const QMetaProperty property = root.metaObject()->property(i);
        const QVariant value = property.read(&root);
        if (!(value.metaType().flags() & QMetaType::PointerToQObject))
            lines << q("%1 = %2").arg(q(property.name()), shown(value));
    }
    return lines;
}

// The properties of a file for a value.
QStringList shownBy(const QUrl &url, const QVariant &value)
{
    QQmlEngine engine;
    engine.setOutputWarningsToStandardError(false); // warnings about values that do not fit a real
    QQmlComponent component(&engine, url);
    const std::unique_ptr<QObject> root(component.create());
    if (!root)
        return {component.errorString()};
    root->property("any").value<QObject *>()->setProperty("value", value);
    return properties(*root);
}

// The properties of a file after a write to a keyword that accepts it.
QStringList shownByWrite(const QUrl &url, const QVariant &value)
{
    KeywordServer server;
    const QString type = value.typeId() == QMetaType::QVariantList ? q("object")
        : value.typeId() == QMetaType::QString                     ? q("string")
                                                                   : q("double");
    server.declare({q("/a"), type, q("RW"), QString(), QVariant()});
    PInProcessKeywordClient client;
    linkInProcess(&server, &client);
    QQmlEngine engine;
    engine.setOutputWarningsToStandardError(false); // warnings about values that do not fit a real
    QQmlComponent component(&engine, url);
    const std::unique_ptr<QObject> root(component.createWithInitialProperties(
        {{q("client"), QVariant::fromValue<PKeywordClient *>(&client)}}));
    if (!root)
        return {component.errorString()};
    auto *const write = root->property("write").value<PKeywordWrite *>();
    write->setConfirmWithin(0x7fffffff); // even on a slow machine
    write->set(value);
    if (!QTest::qWaitFor([write] { return !write->isPending(); }, 20000))
        return {q("no answer")};
    return properties(*root);
}

// The properties of a file for a keyword with a value.
QStringList shownByHistory(const QUrl &url, const QVariant &value)
{
    KeywordServer server;
    const QString type = value.typeId() == QMetaType::QVariantList ? q("object")
        : value.typeId() == QMetaType::Bool                        ? q("bool")
                                                                   : q("double");
    server.declare({q("/a"), type, q("RW"), QString(), value});
    PInProcessKeywordClient client;
    linkInProcess(&server, &client);
    QQmlEngine engine;
    QQmlComponent component(&engine, url);
    const std::unique_ptr<QObject> root(component.createWithInitialProperties(
        {{q("client"), QVariant::fromValue<PKeywordClient *>(&client)}}));
    if (!root)
        return {component.errorString()};
    if (!QTest::qWaitFor([&] { return root->property("changed").toBool(); }, 20000))
        return {q("no value")};
    return properties(*root);
}

} // namespace

// The same QML, compiled ahead of time and interpreted.
class tst_CompiledExtras : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void values_areTheSame_data();
    void values_areTheSame();
    void alarms_areTheSame_data();
    void alarms_areTheSame();
    void writes_areTheSame_data();
    void writes_areTheSame();
    void histories_areTheSame_data();
    void histories_areTheSame();
    void types_haveNoWarnings();
};

void tst_CompiledExtras::initTestCase()
{
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    pellix::extras::KeywordExtrasModule::registerTypes();
}

void tst_CompiledExtras::values_areTheSame_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("none") << QVariant();
    QTest::newRow("int") << QVariant(1200);
    QTest::newRow("qlonglong") << QVariant(qlonglong(1200));
    QTest::newRow("largest") << QVariant(std::numeric_limits<qlonglong>::max());
    QTest::newRow("double") << QVariant(1200.5);
    QTest::newRow("text") << QVariant(q("open"));
    QTest::newRow("bool") << QVariant(true);
    QTest::newRow("list") << QVariant(QVariantList {1, 2});
    QTest::newRow("map") << QVariant(QVariantMap {{q("x"), 3}});
}

void tst_CompiledExtras::values_areTheSame()
{
    QFETCH(QVariant, value);
    QStringList interpreted = shownBy(interpretedFile("Values.qml"), value);
    QStringList compiled = shownBy(compiledFile("Values.qml"), value);
    // Code compiled by later versions passes a value to C++ unchanged, without converting it to
    // JavaScript.
    if (QLibraryInfo::version() >= QVersionNumber(6, 5)) {
        static const QRegularExpression ofFunction(q("^named = "));
        interpreted.removeAll(interpreted.filter(ofFunction).value(0));
        compiled.removeAll(compiled.filter(ofFunction).value(0));
    }
    QVERIFY2(interpreted.size() > 20, qPrintable(interpreted.join(QLatin1Char('\n'))));
    QCOMPARE(compiled, interpreted);
}

void tst_CompiledExtras::alarms_areTheSame_data()
{
    values_areTheSame_data();
}

void tst_CompiledExtras::alarms_areTheSame()
{
    QFETCH(QVariant, value);
    const QStringList interpreted = shownBy(interpretedFile("Alarm.qml"), value);
    const QStringList compiled = shownBy(compiledFile("Alarm.qml"), value);
    QVERIFY2(interpreted.size() > 12, qPrintable(interpreted.join(QLatin1Char('\n'))));
    QVERIFY2(interpreted.contains(q("literal = 3")),
             qPrintable(interpreted.join(QLatin1Char('\n'))));
    QCOMPARE(compiled, interpreted);
}

void tst_CompiledExtras::writes_areTheSame_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("qlonglong") << QVariant(qlonglong(1200));
    QTest::newRow("double") << QVariant(1200.5);
    QTest::newRow("text") << QVariant(q("open"));
    QTest::newRow("list") << QVariant(QVariantList {1, 2});
    QTest::newRow("not sent") << QVariant();
}

void tst_CompiledExtras::writes_areTheSame()
{
    QFETCH(QVariant, value);
    const QStringList interpreted = shownByWrite(interpretedFile("Write.qml"), value);
    const QStringList compiled = shownByWrite(compiledFile("Write.qml"), value);
    QVERIFY2(interpreted.size() > 10, qPrintable(interpreted.join(QLatin1Char('\n'))));
    QCOMPARE(interpreted.contains(q("taken = [true]")), value.isValid());
    QCOMPARE(compiled, interpreted);
}

void tst_CompiledExtras::histories_areTheSame_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("expected");
    QTest::newRow("qlonglong") << QVariant(qlonglong(1200)) << q("lastOr = 1200");
    QTest::newRow("double") << QVariant(1200.5) << q("lastDoubled = 2401");
    QTest::newRow("bool") << QVariant(true) << q("mean = 1");
    QTest::newRow("list") << QVariant(QVariantList {1, 2}) << q("element = 2");
}

void tst_CompiledExtras::histories_areTheSame()
{
    QFETCH(QVariant, value);
    const QStringList interpreted = shownByHistory(interpretedFile("History.qml"), value);
    const QStringList compiled = shownByHistory(compiledFile("History.qml"), value);
    const QString all = interpreted.join(QLatin1Char('\n'));
    QVERIFY2(interpreted.size() > 10, qPrintable(all));
    QFETCH(QString, expected);
    QVERIFY2(interpreted.contains(expected), qPrintable(all));
    QVERIFY2(interpreted.contains(q("ready = [true]")), qPrintable(all));
    QCOMPARE(compiled, interpreted);
}

// The adaptations for compiled QML must not cause qmllint warnings.
void tst_CompiledExtras::types_haveNoWarnings()
{
    QProcess qmllint;
    qmllint.setProcessChannelMode(QProcess::MergedChannels);
    QStringList arguments;
    for (const QString &folder : q(IMPORTS).split(QLatin1Char(':')))
        arguments << q("-I") << folder;
    arguments << q(FOLDER "/Values.qml") << q(FOLDER "/Write.qml") << q(FOLDER "/History.qml");
    qmllint.start(q(QMLLINT), arguments);
    QVERIFY(qmllint.waitForFinished());
    const QByteArray output = qmllint.readAll();
    QVERIFY2(!output.contains("Warning: "), output.constData());
    QCOMPARE(qmllint.exitStatus(), QProcess::NormalExit);
}

QTEST_MAIN(tst_CompiledExtras)
#include "tst_compiledextras.moc"
