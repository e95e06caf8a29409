// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordexpression.h"
#include "tests/support/metaobject.h"
#include "tests/support/signallog.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QPointer>
#include <QtTest/QTest>

#include <functional>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QStringList list(const char *text)
{
    return q(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

class tst_KeywordExpression : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void metaObjects_keepTheirOrder();
    void construction_hasDefaults();
    void construction_withAValueIsASetter();
    void expression_isItsValue();
    void setters_compareAndSignalInOrder();
    void postfix_isAppended_data();
    void postfix_isAppended();
    void list_computesKeywordAndChildren_data();
    void list_computesKeywordAndChildren();
    void list_changesSignalWhatDiffers();
    void list_sameConcatenationChangesOnlyTheChildren();
    void list_orderAndModeArePartOfTheAddress();
    void list_digestsUtf8();
    void valid_followsTheKeywordSilently();
    void handlers_mayDeleteTheExpression_data();
    void handlers_mayDeleteTheExpression();
};

void tst_KeywordExpression::metaObjects_keepTheirOrder()
{
    const QMetaObject &base = PAbstractKeywordExpression::staticMetaObject;
    QCOMPARE(base.superClass(), &QObject::staticMetaObject);
    QCOMPARE(ownProperties(base),
             names("keyword keywordChanged, keywordChildren keywordChildrenChanged"));
    QCOMPARE(ownMethods(base),
             names("signal keywordChanged(), signal keywordChildrenChanged(), "
                   "signal validChanged()"));

    const QMetaObject &plain = PKeywordExpression::staticMetaObject;
    QCOMPARE(plain.superClass(), &base);
    QCOMPARE(ownProperties(plain), names("value w valueChanged"));
    QCOMPARE(ownMethods(plain), names("signal valueChanged()"));

    const QMetaObject &postfix = PPostfixKeywordExpression::staticMetaObject;
    QCOMPARE(postfix.superClass(), &plain);
    QCOMPARE(ownProperties(postfix), names("postfix w postfixChanged"));
    QCOMPARE(ownMethods(postfix), names("signal postfixChanged()"));

    const QMetaObject &list = PListPostfixKeywordExpression::staticMetaObject;
    QCOMPARE(list.superClass(), &base);
    QCOMPARE(ownProperties(list),
             names("values w valuesChanged, postfix w postfixChanged, "
                   "aggregation w aggregationChanged"));
    QCOMPARE(ownMethods(list),
             names("signal valuesChanged(), signal postfixChanged(), signal aggregationChanged()"));
    const QMetaProperty aggregation = list.property(list.propertyCount() - 1);
    QCOMPARE(aggregation.metaType(), QMetaType::fromType<PKeywordAggregation>());
}

void tst_KeywordExpression::construction_hasDefaults()
{
    QObject parent;
    auto *plain = new PKeywordExpression(&parent);
    auto *postfix = new PPostfixKeywordExpression(&parent);
    auto *list = new PListPostfixKeywordExpression(&parent);
    for (const PAbstractKeywordExpression *expression :
         {static_cast<PAbstractKeywordExpression *>(plain),
          static_cast<PAbstractKeywordExpression *>(postfix),
          static_cast<PAbstractKeywordExpression *>(list)}) {
        QCOMPARE(expression->parent(), &parent);
        QCOMPARE(expression->keyword(), QString());
        QCOMPARE(expression->keywordChildren(), QStringList());
        QVERIFY(!expression->valid());
        QCOMPARE(expression->aggregation(), PKeywordAggregation::No);
    }
    QCOMPARE(plain->value(), QString());
    QCOMPARE(postfix->value(), QString());
    QCOMPARE(postfix->postfix(), QString());
    QCOMPARE(list->values(), QStringList());
    QCOMPARE(list->postfix(), QString());
}

void tst_KeywordExpression::construction_withAValueIsASetter()
{
    QObject parent;
    const auto *expression = new PKeywordExpression(q("/a"), &parent);
    QCOMPARE(expression->parent(), &parent);
    QCOMPARE(expression->value(), q("/a"));
    QCOMPARE(expression->keyword(), q("/a"));
    const PKeywordExpression empty {QString()};
    QVERIFY(!empty.valid());
}

void tst_KeywordExpression::expression_isItsValue()
{
    PKeywordExpression expression;
    SignalLog log(&expression);
    expression.setValue(q(" a//b#c/ "));
    QCOMPARE(expression.keyword(), q(" a//b#c/ ")); // unchanged
    QCOMPARE(expression.keywordChildren(), QStringList());
    QCOMPARE(log.taken(), q("valueChanged keywordChanged"));
}

void tst_KeywordExpression::setters_compareAndSignalInOrder()
{
    PPostfixKeywordExpression expression;
    SignalLog log(&expression);
    expression.setValue(QString());
    expression.setPostfix(QString());
    QCOMPARE(log.taken(), QString());
    expression.setValue(q("/a"));
    QCOMPARE(log.taken(), q("valueChanged keywordChanged"));
    expression.setValue(q("/a"));
    QCOMPARE(log.taken(), QString());
    expression.setValue(q("/A"));
    QCOMPARE(log.taken(), q("valueChanged keywordChanged"));
    expression.setPostfix(q("p"));
    QCOMPARE(log.taken(), q("postfixChanged keywordChanged"));
    expression.setPostfix(q("p"));
    QCOMPARE(log.taken(), QString());

    PListPostfixKeywordExpression aggregate;
    SignalLog listLog(&aggregate);
    aggregate.setValues({});
    aggregate.setAggregation(PKeywordAggregation::No);
    QCOMPARE(listLog.taken(), QString());
    aggregate.setValues(list("/a /b"));
    QCOMPARE(listLog.taken(), q("valuesChanged keywordChanged keywordChildrenChanged"));
    aggregate.setValues(list("/a /b"));
    QCOMPARE(listLog.taken(), QString());
}

void tst_KeywordExpression::postfix_isAppended_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("postfix");
    QTest::addColumn<QString>("keyword");
    QTest::newRow("both") << q("/a") << q("p") << q("/a/p");
    QTest::newRow("value alone") << q("/a") << QString() << q("/a");
    QTest::newRow("postfix alone") << QString() << q("p") << q("p");
    QTest::newRow("neither") << QString() << QString() << QString();
    QTest::newRow("nothing is cleaned") << q("/a/") << q("/p") << q("/a///p");
}

void tst_KeywordExpression::postfix_isAppended()
{
    QFETCH(QString, value);
    QFETCH(QString, postfix);
    QFETCH(QString, keyword);
    PPostfixKeywordExpression expression;
    expression.setPostfix(postfix);
    expression.setValue(value);
    QCOMPARE(expression.keyword(), keyword);
    QCOMPARE(expression.keywordChildren(), QStringList());
    QCOMPARE(expression.valid(), !keyword.isEmpty());
}

void tst_KeywordExpression::list_computesKeywordAndChildren_data()
{
    QTest::addColumn<QStringList>("values");
    QTest::addColumn<QString>("postfix");
    QTest::addColumn<int>("aggregation");
    QTest::addColumn<QString>("keyword");
    QTest::addColumn<QStringList>("children");
    QTest::newRow("none") << QStringList() << q("p") << 6 << QString() << QStringList();
    QTest::newRow("one") << list("/a") << QString() << 6 << q("/a") << QStringList();
    QTest::newRow("one, postfix") << list("/a") << q("p") << 2 << q("/a/p") << QStringList();
    QTest::newRow("two, or")
        << list("/u1/k1 /u1/k2") << q("state") << 6
        << q("/store/aggregated/"
             "ab7b8b8daae39438a564f5957ac61f789debb0a4f630d52eb8f0bcfff60fa418")
        << list("/u1/k1/state /u1/k2/state");
    QTest::newRow("two, none")
        << list("/u1/k1 /u1/k2") << q("state") << 0
        << q("/store/aggregated/"
             "48444a3a149090eb297d6f5ac4840c48c56c9c8e7e748fd4173f1aa2a5f6f1b5")
        << list("/u1/k1/state /u1/k2/state");
    QTest::newRow("two, no postfix")
        << list("/u1/k1/state /u1/k2/state") << QString() << 6
        << q("/store/aggregated/"
             "ab7b8b8daae39438a564f5957ac61f789debb0a4f630d52eb8f0bcfff60fa418")
        << list("/u1/k1/state /u1/k2/state");
}

void tst_KeywordExpression::list_computesKeywordAndChildren()
{
    QFETCH(QStringList, values);
    QFETCH(QString, postfix);
    QFETCH(int, aggregation);
    QFETCH(QString, keyword);
    QFETCH(QStringList, children);
    PListPostfixKeywordExpression expression;
    expression.setValues(values);
    expression.setPostfix(postfix);
    expression.setAggregation(PKeywordAggregation(aggregation));
    QCOMPARE(expression.keyword(), keyword);
    QCOMPARE(expression.keywordChildren(), children);
    QCOMPARE(expression.aggregation(), PKeywordAggregation(aggregation));
    QCOMPARE(expression.valid(), !keyword.isEmpty());
}

void tst_KeywordExpression::list_changesSignalWhatDiffers()
{
    PListPostfixKeywordExpression expression;
    SignalLog log(&expression);
    expression.setAggregation(PKeywordAggregation::Min);
    QCOMPARE(log.taken(), q("aggregationChanged"));
    expression.setPostfix(q("p"));
    QCOMPARE(log.taken(), q("postfixChanged"));
    expression.setValues(list("/a"));
    QCOMPARE(log.taken(), q("valuesChanged keywordChanged"));
    expression.setAggregation(PKeywordAggregation::Max);
    QCOMPARE(log.taken(), q("aggregationChanged"));
    expression.setValues(list("/a /b"));
    QCOMPARE(log.taken(), q("valuesChanged keywordChanged keywordChildrenChanged"));
    expression.setAggregation(PKeywordAggregation::Sum);
    QCOMPARE(log.taken(), q("aggregationChanged keywordChanged"));
    expression.setPostfix(q("r"));
    QCOMPARE(log.taken(), q("postfixChanged keywordChanged keywordChildrenChanged"));
    expression.setValues(list("/a"));
    QCOMPARE(log.taken(), q("valuesChanged keywordChanged keywordChildrenChanged"));
    QCOMPARE(expression.keyword(), q("/a/r"));
    expression.setValues({});
    QCOMPARE(log.taken(), q("valuesChanged keywordChanged"));
}

void tst_KeywordExpression::list_sameConcatenationChangesOnlyTheChildren()
{
    PListPostfixKeywordExpression expression;
    expression.setValues(list("/a /b/x"));
    const QString keyword = expression.keyword();
    SignalLog log(&expression);
    expression.setValues(list("/a/b /x"));
    QCOMPARE(expression.keyword(), keyword);
    QCOMPARE(expression.keywordChildren(), list("/a/b /x"));
    QCOMPARE(log.taken(), q("valuesChanged keywordChildrenChanged"));
}

void tst_KeywordExpression::list_orderAndModeArePartOfTheAddress()
{
    QSet<QString> addresses;
    for (const QStringList &values : {list("/a /b"), list("/b /a")}) {
        for (int mode = 0; mode < 7; ++mode) {
            PListPostfixKeywordExpression expression;
            expression.setValues(values);
            expression.setAggregation(PKeywordAggregation(mode));
            addresses << expression.keyword();
        }
    }
    QCOMPARE(addresses.size(), 14);
}

void tst_KeywordExpression::list_digestsUtf8()
{
    PListPostfixKeywordExpression expression;
    expression.setValues(list("/gr\u00f6\u00dfe /\u6e29"));
    expression.setAggregation(PKeywordAggregation::Sum);
    const QByteArray digest = QCryptographicHash::hash("/gr\xc3\xb6\xc3\x9f"
                                                       "e/\xe6\xb8\xa9/4",
                                                       QCryptographicHash::Sha256);
    QCOMPARE(expression.keyword(), q("/store/aggregated/") + QString::fromLatin1(digest.toHex()));
}

void tst_KeywordExpression::valid_followsTheKeywordSilently()
{
    PKeywordExpression expression;
    SignalLog log(&expression);
    expression.setValue(q("/a"));
    QVERIFY(expression.valid());
    expression.setValue(QString());
    QVERIFY(!expression.valid());
    QVERIFY(!log.taken().contains(q("validChanged")));
}

void tst_KeywordExpression::handlers_mayDeleteTheExpression_data()
{
    QTest::addColumn<int>("setter");
    QTest::addColumn<QByteArray>("signal");
    const QList<QPair<const char *, int>> setters {
        {"valuesChanged", 0},      {"keywordChanged", 0}, {"keywordChildrenChanged", 0},
        {"postfixChanged", 1},     {"keywordChanged", 1}, {"keywordChildrenChanged", 1},
        {"aggregationChanged", 2}, {"keywordChanged", 2}, {"valueChanged", 3},
        {"keywordChanged", 3},     {"postfixChanged", 4}, {"keywordChanged", 4}};
    for (const auto &[signal, setter] : setters)
        QTest::addRow("setter %d, %s", setter, signal) << setter << QByteArray(signal) + "()";
}

void tst_KeywordExpression::handlers_mayDeleteTheExpression()
{
    QFETCH(int, setter);
    QFETCH(QByteArray, signal);
    auto *aggregate = new PListPostfixKeywordExpression;
    aggregate->setValues(list("/a /b"));
    auto *postfixed = new PPostfixKeywordExpression;
    PAbstractKeywordExpression *const victim = setter < 3
        ? static_cast<PAbstractKeywordExpression *>(aggregate)
        : static_cast<PAbstractKeywordExpression *>(postfixed);
    const QPointer<QObject> guard(victim);
    QVERIFY(victim->metaObject()->indexOfSignal(signal.constData()) >= 0);
    QObject scope;
    const auto kill = [&] { delete victim; };
    if (signal == "valuesChanged()")
        connect(aggregate, &PListPostfixKeywordExpression::valuesChanged, &scope, kill);
    else if (signal == "aggregationChanged()")
        connect(aggregate, &PListPostfixKeywordExpression::aggregationChanged, &scope, kill);
    else if (signal == "postfixChanged()" && setter == 1)
        connect(aggregate, &PListPostfixKeywordExpression::postfixChanged, &scope, kill);
    else if (signal == "postfixChanged()")
        connect(postfixed, &PPostfixKeywordExpression::postfixChanged, &scope, kill);
    else if (signal == "valueChanged()")
        connect(postfixed, &PKeywordExpression::valueChanged, &scope, kill);
    else if (signal == "keywordChanged()")
        connect(victim, &PAbstractKeywordExpression::keywordChanged, &scope, kill);
    else
        connect(victim, &PAbstractKeywordExpression::keywordChildrenChanged, &scope, kill);

    switch (setter) {
    case 0:
        aggregate->setValues(list("/c /d"));
        break;
    case 1:
        aggregate->setPostfix(q("p"));
        break;
    case 2:
        aggregate->setAggregation(PKeywordAggregation::Or);
        break;
    case 3:
        postfixed->setValue(q("/a"));
        break;
    case 4:
        postfixed->setPostfix(q("p"));
        break;
    }

    QVERIFY(!guard);
    if (setter < 3)
        delete postfixed;
    else
        delete aggregate;
}

QTEST_GUILESS_MAIN(tst_KeywordExpression)
#include "tst_keywordexpression.moc"
