// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QMetaProperty>
#include <QtCore/QProcess>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtTest/QTest>

#include <limits>
#include <memory>

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// Numbers are the same whichever type holds them, as they are in QML.
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

// What a file shows of a value: each property that is written in QML, as "realOr = 1200".
QStringList shownBy(const QUrl &url, const QVariant &value)
{
    QQmlEngine engine;
    engine.setOutputWarningsToStandardError(false); // of values that no real can hold
    QQmlComponent component(&engine, url);
    const std::unique_ptr<QObject> root(component.create());
    if (!root)
        return {component.errorString()};
    root->property("any").value<QObject *>()->setProperty("value", value);
    QStringList lines;
    for (int i = QQuickItem::staticMetaObject.propertyCount();
         i < root->metaObject()->propertyCount(); ++i) {
        const QMetaProperty property = root->metaObject()->property(i);
        if (qstrcmp(property.name(), "any") != 0)
            lines << q("%1 = %2").arg(q(property.name()), shown(property.read(root.get())));
    }
    return lines;
}

} // namespace

// The same QML, compiled ahead of time and interpreted.
class tst_CompiledExtras : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void values_areTheSame_data();
    void values_areTheSame();
    void types_haveNoWarnings();
};

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
    // Code from a file is interpreted.
    const QStringList interpreted = shownBy(QUrl::fromLocalFile(q(FOLDER "/Values.qml")), value);
    const QStringList compiled =
        shownBy(QUrl(q("qrc:/qt-project.org/imports/CompiledExtras/Values.qml")), value);
    QVERIFY2(interpreted.size() > 20, qPrintable(interpreted.join(QLatin1Char('\n'))));
    QCOMPARE(compiled, interpreted);
}

// What compiled QML needs must not make qmllint object.
void tst_CompiledExtras::types_haveNoWarnings()
{
    QProcess qmllint;
    qmllint.setProcessChannelMode(QProcess::MergedChannels);
    qmllint.start(q(QMLLINT), {q("-I"), q(IMPORTS), q(FOLDER "/Values.qml")});
    QVERIFY(qmllint.waitForFinished());
    const QByteArray output = qmllint.readAll();
    QVERIFY2(!output.contains("Warning: "), output.constData());
    QCOMPARE(qmllint.exitStatus(), QProcess::NormalExit);
}

QTEST_MAIN(tst_CompiledExtras)
#include "tst_compiledextras.moc"
