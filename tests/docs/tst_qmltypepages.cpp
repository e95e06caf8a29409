// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "client/websocketkeywordclient.h"
#include "models/keywordpathmodel.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"

#include <QtCore/QFile>
#include <QtCore/QMetaEnum>
#include <QtCore/QMetaMethod>
#include <QtCore/QMetaProperty>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtTest/QTest>

using namespace pellix::client;

namespace {

struct Page
{
    QSet<QString> writable;
    QSet<QString> readOnly;
    QSet<QString> methods; // including signals
    QString base;
};

// The pages of QML types, by the names of the types.
QHash<QString, Page> readPages()
{
    QHash<QString, Page> pages;
    QFile file(QStringLiteral(QML_TYPE_PAGES));
    if (!file.open(QIODevice::ReadOnly))
        return pages;
    const QString text = QString::fromUtf8(file.readAll());
    static const QRegularExpression member(QStringLiteral(R"((\w+)::(\w+)(\(.*)?$)"));
    QString type;
    const QStringList comments = text.split(QStringLiteral("/*!"));
    for (const QString &comment : comments) {
        const QStringList lines = comment.split(QLatin1Char('\n'));
        for (const QString &untrimmed : lines) {
            const QString line = untrimmed.trimmed();
            const QString command = line.section(QLatin1Char(' '), 0, 0);
            if (command == QLatin1String("\\qmltype")) {
                type = line.section(QLatin1Char(' '), 1, 1);
                pages.insert(type, {});
            } else if (command == QLatin1String("\\inherits")) {
                pages[type].base = line.section(QLatin1Char(' '), 1, 1);
            } else if (command == QLatin1String("\\qmlproperty")) {
                const QRegularExpressionMatch match = member.match(line);
                Page &page = pages[match.captured(1)];
                (comment.contains(QLatin1String("\\readonly")) ? page.readOnly : page.writable)
                    .insert(match.captured(2));
            } else if (command == QLatin1String("\\qmlmethod")
                       || command == QLatin1String("\\qmlsignal")) {
                const QRegularExpressionMatch match = member.match(line);
                pages[match.captured(1)].methods.insert(match.captured(2));
            }
        }
    }
    return pages;
}

// The members that the classes of this library declare in the inheritance chain of metaObject.
Page declared(const QMetaObject *metaObject)
{
    Page page;
    for (; QByteArray(metaObject->className()).startsWith("pellix::client::");
         metaObject = metaObject->superClass()) {
        QSet<QByteArray> changeSignals;
        for (int i = metaObject->propertyOffset(); i < metaObject->propertyCount(); ++i) {
            const QMetaProperty property = metaObject->property(i);
            (property.isWritable() ? page.writable : page.readOnly)
                .insert(QString::fromLatin1(property.name()));
            changeSignals.insert(property.notifySignal().name());
        }
        for (int i = metaObject->methodOffset(); i < metaObject->methodCount(); ++i) {
            const QByteArray name = metaObject->method(i).name();
            if (!changeSignals.contains(name) && name != "validChanged") // not useful in QML
                page.methods.insert(QString::fromLatin1(name));
        }
    }
    return page;
}

QStringList sorted(const QSet<QString> &names)
{
    QStringList list(names.cbegin(), names.cend());
    list.sort();
    return list;
}

} // namespace

// The pages of the QML types document exactly the members of the types.
class tst_QmlTypePages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void page_namesWhatTheTypeHas_data();
    void page_namesWhatTheTypeHas();
    void enumerators_haveTheirNumbers();
};

void tst_QmlTypePages::page_namesWhatTheTypeHas_data()
{
    QTest::addColumn<const QMetaObject *>("metaObject");
    QTest::newRow("PKeywordClient") << &PKeywordClient::staticMetaObject;
    QTest::newRow("PWebSocketKeywordClient") << &PWebSocketKeywordClient::staticMetaObject;
    QTest::newRow("PInProcessKeywordClient") << &PInProcessKeywordClient::staticMetaObject;
    QTest::newRow("PKeywordProxy") << &PKeywordProxy::staticMetaObject;
    QTest::newRow("PKeywordExpression") << &PKeywordExpression::staticMetaObject;
    QTest::newRow("PPostfixKeywordExpression") << &PPostfixKeywordExpression::staticMetaObject;
    QTest::newRow("PListPostfixKeywordExpression")
        << &PListPostfixKeywordExpression::staticMetaObject;
    QTest::newRow("PKeywordQueryModel") << &PKeywordQueryModel::staticMetaObject;
    QTest::newRow("PKeywordQueryFilterProxyModel")
        << &PKeywordQueryFilterProxyModel::staticMetaObject;
    QTest::newRow("PKeywordPathModel") << &PKeywordPathModel::staticMetaObject;
}

void tst_QmlTypePages::page_namesWhatTheTypeHas()
{
    QFETCH(const QMetaObject *, metaObject);
    const QHash<QString, Page> pages = readPages();
    QString type = QString::fromLatin1(QTest::currentDataTag());
    QVERIFY(pages.contains(type));

    Page documented;
    for (; pages.contains(type); type = pages.value(type).base) {
        documented.writable += pages.value(type).writable;
        documented.readOnly += pages.value(type).readOnly;
        documented.methods += pages.value(type).methods;
    }
    // The notify signal of several properties is documented as well.
    documented.methods -= QStringLiteral("stateChanged");
    const Page expected = declared(metaObject);
    QCOMPARE(sorted(documented.writable), sorted(expected.writable));
    QCOMPARE(sorted(documented.readOnly), sorted(expected.readOnly));
    QCOMPARE(sorted(documented.methods), sorted(expected.methods));
}

void tst_QmlTypePages::enumerators_haveTheirNumbers()
{
    QFile file(QStringLiteral(QML_TYPE_PAGES));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(file.readAll());
    int rows = 0;
    const QMetaObject &metaObject = pellix::client::staticMetaObject;
    for (int i = 0; i < metaObject.enumeratorCount(); ++i) {
        const QMetaEnum enumeration = metaObject.enumerator(i);
        for (int key = 0; key < enumeration.keyCount(); ++key, ++rows) {
            const QString row = QStringLiteral("\\row \\li \\c PKeyword.%1 \\li %2 \\li ")
                                    .arg(QLatin1String(enumeration.key(key)))
                                    .arg(enumeration.value(key));
            QVERIFY2(text.contains(row), qPrintable(row));
        }
    }
    QCOMPARE(text.count(QStringLiteral("\\row \\li \\c PKeyword.")), rows);
}

QTEST_GUILESS_MAIN(tst_QmlTypePages)
#include "tst_qmltypepages.moc"
