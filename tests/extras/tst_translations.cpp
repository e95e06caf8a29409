// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "extras/connection/keywordconnection.h"
#include "extras/keywordextrasmodule.h"
#include "extras/tables/keywordtable.h"
#include "extras/writing/keywordwrite.h"
#include "module/pellixclientkeywordmodule.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"
#include "tests/support/translationtools.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTranslator>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtTest/QTest>

#include <memory>

using namespace pellix::client;
using namespace pellix::extras;
using namespace pellix::server;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

bool isMarked(const QString &text)
{
    return text.startsWith(QChar(u'«')) && text.endsWith(QChar(u'»'));
}

} // namespace

// A catalog collected by lupdate and compiled by lrelease contains all texts of the companions in
// the contexts in which they are looked up. Each text is translated to itself in quotation marks.
class tst_Translations : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { QCoreApplication::removeTranslator(&translator); }

    void table();
    void write();
    void connection();
    void plot();

private:
    QTemporaryDir directory;
    QTranslator translator;
};

void tst_Translations::initTestCase()
{
    const QString lupdate = translationTool(q("lupdate"));
    const QString lrelease = translationTool(q("lrelease"));
    if (lupdate.isEmpty() || lrelease.isEmpty())
        QSKIP("lupdate and lrelease are not installed (Debian: qt6-l10n-tools)");
    const QString source = directory.filePath(q("pellixclient-keyword_de.ts"));
    QProcess collect;
    collect.setWorkingDirectory(directory.path());
    collect.setProcessChannelMode(QProcess::MergedChannels);
    collect.start(q(SOURCE_DIR "/scripts/translations"),
                  {q("de"), q("--output"), directory.path(), q("--lupdate"), lupdate});
    QVERIFY(collect.waitForFinished(300'000));
    const QByteArray output = collect.readAll();
    QVERIFY2(collect.exitCode() == 0, output.constData());
    // lupdate prints these words if it has found a text, but not its class.
    QVERIFY2(!output.contains("unknown") && !output.contains("lacks"), output.constData());

    QFile file(source);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QString catalogue = QString::fromUtf8(file.readAll());
    catalogue.replace(
        QRegularExpression(q("<source>([^<]*)</source>(.*?)<translation type=\"unfinished\">"
                             "</translation>"),
                           QRegularExpression::DotMatchesEverythingOption),
        q("<source>\\1</source>\\2<translation>«\\1»</translation>"));
    QVERIFY(catalogue.count(q("«")) > 100);
    QVERIFY(file.resize(0) && file.seek(0));
    file.write(catalogue.toUtf8());
    file.close();
    QCOMPARE(QProcess::execute(lrelease, {q("-silent"), source}), 0);
    QVERIFY(translator.load(QLocale(QLocale::German), q("pellixclient-keyword"), q("_"),
                            directory.path()));
    QVERIFY(QCoreApplication::installTranslator(&translator));
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    KeywordExtrasModule::registerTypes();
}

void tst_Translations::table()
{
    PKeywordTable table;
    table.setKeywords({q("/p/a")});
    for (int column = 0; column < table.columnCount(); ++column) {
        const QString header = table.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
        QVERIFY2(isMarked(header), qPrintable(header));
    }
    const QString state = table.data(table.index(0, 0), PKeywordTable::StateTextRole).toString();
    QCOMPARE(state, q("«unknown»")); // looked up by an internal object of the table
}

void tst_Translations::write()
{
    KeywordServer server;
    server.declare({q("/p/a"), q("double"), q("RW"), QString(), 1.5});
    PInProcessKeywordClient client;
    linkInProcess(&server, &client);
    PKeywordWrite write;
    write.setClient(&client);
    write.setKeyword(q("/p/a"));
    QTRY_VERIFY(write.isReady());
    write.set(q("warm"));
    QTRY_COMPARE(write.state(), PKeywordWrite::NotSent);
    QCOMPARE(write.problem(), q("«\"warm\" is not a number»"));
    write.setClient(nullptr);
    write.set(2);
    QCOMPARE(write.state(), PKeywordWrite::NotSent);
    QVERIFY2(isMarked(write.problem()), qPrintable(write.problem()));
}

void tst_Translations::connection()
{
    PKeywordConnection connection;
    connection.setUrls({q("ws://127.0.0.1:1")});
    QTRY_VERIFY(!connection.reason().isEmpty());
    connection.setUrls({q("http://127.0.0.1:1")});
    QTRY_VERIFY2(isMarked(connection.reason()), qPrintable(connection.reason()));
}

void tst_Translations::plot()
{
    QQmlEngine engine;
    engine.addImportPath(q(QML_IMPORTS));
    QQmlComponent component(&engine);
    component.setData("import QtQuick\nimport PellixClient.Keyword.Extras\n"
                      "PKeywordPlot { readonly property string spoken: Accessible.name }",
                      {});
    const std::unique_ptr<QObject> object(component.create());
    QVERIFY2(object, qPrintable(component.errorString()));
    QCOMPARE(object->property("spoken").toString(), q("«Plot of values over time»"));
}

QTEST_MAIN(tst_Translations)
#include "tst_translations.moc"
