// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/keywordextrasmodule.h"
#include "module/pellixclientkeywordmodule.h"

#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtTest/QTest>

#include <memory>

class tst_ExtrasModule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void import_data();
    void import();
};

void tst_ExtrasModule::initTestCase()
{
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    pellix::extras::KeywordExtrasModule::registerTypes();
    pellix::extras::KeywordExtrasModule::registerTypes(); // has no effect
}

void tst_ExtrasModule::import_data()
{
    QTest::addColumn<QByteArray>("imports");
    QTest::addColumn<bool>("onImportPath");
    for (const bool onImportPath : {false, true}) {
        for (const char *version : {"", " 1.0"}) {
            QTest::addRow("%s%s", onImportPath ? "a qmldir, " : "", *version ? "1.0" : "no version")
                << QByteArray("import PellixClient.Keyword.Extras") + version << onImportPath;
        }
    }
}

// Includes the types of the other module, which is imported automatically.
void tst_ExtrasModule::import()
{
    QFETCH(QByteArray, imports);
    QFETCH(bool, onImportPath);
    QQmlEngine engine;
    if (onImportPath)
        engine.addImportPath(QStringLiteral(QML_IMPORTS));
    QQmlComponent component(&engine);
    component.setData(imports + "\nPKeywordWrite { }", {});
    const std::unique_ptr<QObject> object(component.create());
    QVERIFY2(object, qPrintable(component.errorString()));
}

QTEST_GUILESS_MAIN(tst_ExtrasModule)
#include "tst_extrasmodule.moc"
