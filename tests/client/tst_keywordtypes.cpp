// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/keywordtypes.h"

#include <QtCore/QDebug>
#include <QtCore/QMetaEnum>
#include <QtTest/QTest>

using namespace pellix::client;

class tst_KeywordTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void enumerations_haveTheirNumbers_data();
    void enumerations_haveTheirNumbers();
    void record_hasDefaults();
    void record_travelsInAVariant();
    void record_hasItsMetaTypeName();
    void record_hasNoEquality();
    void record_hasNoDataStream();
    void debug_isCompact_data();
    void debug_isCompact();
    void debug_restoresTheStream();
};

void tst_KeywordTypes::enumerations_haveTheirNumbers_data()
{
    QTest::addColumn<QString>("enumeration");
    QTest::addColumn<QString>("enumerator");
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("count");
    const auto rows = [](const char *enumeration, const QList<const char *> &enumerators) {
        for (int i = 0; i < enumerators.size(); ++i) {
            QTest::newRow(enumerators.at(i))
                << QString::fromLatin1(enumeration) << QString::fromLatin1(enumerators.at(i)) << i
                << int(enumerators.size());
        }
    };
    rows("PKeywordAggregation", {"No", "Min", "Max", "Equal", "Sum", "And", "Or"});
    rows("PKeywordValueType",
         {"KVT_NOPROP", "KVT_OBJECT", "KVT_BOOL", "KVT_STRING", "KVT_DOUBLE", "KVT_INT"});
    rows("PKeywordValueAccess",
         {"KVA_NONE", "KVA_READ", "KVA_READ_META", "KVA_WRITE", "KVA_READWRITE"});
}

void tst_KeywordTypes::enumerations_haveTheirNumbers()
{
    QFETCH(QString, enumeration);
    QFETCH(QString, enumerator);
    QFETCH(int, number);
    QFETCH(int, count);
    const int index =
        pellix::client::staticMetaObject.indexOfEnumerator(enumeration.toLatin1().constData());
    QVERIFY(index >= 0);
    const QMetaEnum meta = pellix::client::staticMetaObject.enumerator(index);
    QVERIFY(meta.isScoped());
    QVERIFY(!meta.isFlag());
    QCOMPARE(meta.scope(), "pellix::client");
    QCOMPARE(meta.keyCount(), count);
    QCOMPARE(QString::fromLatin1(meta.key(number)), enumerator);
    QCOMPARE(meta.value(number), number);
    static_assert(std::is_same_v<std::underlying_type_t<PKeywordAggregation>, int>);
    static_assert(std::is_same_v<std::underlying_type_t<PKeywordValueType>, int>);
    static_assert(std::is_same_v<std::underlying_type_t<PKeywordValueAccess>, int>);
}

void tst_KeywordTypes::record_hasDefaults()
{
    const PKeywordValue record;
    QVERIFY(!record.value.isValid());
    QCOMPARE(record.type, PKeywordValueType::KVT_NOPROP);
    QVERIFY(!record.connected && !record.online && !record.consistent && !record.error);
}

void tst_KeywordTypes::record_travelsInAVariant()
{
    const PKeywordValue sent {QVariant(4.5), PKeywordValueType::KVT_DOUBLE, true, false, true,
                              false};
    const auto got = QVariant::fromValue(sent).value<PKeywordValue>();
    QCOMPARE(got.value, sent.value);
    QCOMPARE(got.type, sent.type);
    QCOMPARE(got.connected, true);
    QCOMPARE(got.online, false);
    QCOMPARE(got.consistent, true);
    QCOMPARE(got.error, false);
}

void tst_KeywordTypes::record_hasItsMetaTypeName()
{
    const auto type = QMetaType::fromType<PKeywordValue>();
    QCOMPARE(type.name(), "pellix::client::PKeywordValue");
    QVERIFY(type.id() >= int(QMetaType::User));
    QCOMPARE(QMetaType::fromName("pellix::client::PKeywordValue").id(), type.id());

    // Default construction, copy and destruction
    const QVariant empty(type);
    QVERIFY(!empty.value<PKeywordValue>().value.isValid());
    const PKeywordValue record {QVariant(QStringLiteral("text")), {}, true, false, false, false};
    void *const copy = type.create(&record);
    QCOMPARE(static_cast<PKeywordValue *>(copy)->value, record.value);
    type.destroy(copy);
}

void tst_KeywordTypes::record_hasNoEquality()
{
    const auto type = QMetaType::fromType<PKeywordValue>();
    QVERIFY(!type.isEqualityComparable());
    QVERIFY(!type.isOrdered());
    const PKeywordValue record {QVariant(1), PKeywordValueType::KVT_INT, true, true, true, true};
    QVERIFY(QVariant::fromValue(record) != QVariant::fromValue(record));
}

void tst_KeywordTypes::record_hasNoDataStream()
{
    QVERIFY(!QMetaType::fromType<PKeywordValue>().hasRegisteredDataStreamOperators());
}

void tst_KeywordTypes::debug_isCompact_data()
{
    QTest::addColumn<QVariant>("record");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const PKeywordValue &record, const char *text) {
        QTest::newRow(name) << QVariant::fromValue(record) << QString::fromLatin1(text);
    };
    row("default", {}, "PKeywordValue(QVariant(Invalid)falsefalsefalsefalse)");
    row("double", {QVariant(1.5), PKeywordValueType::KVT_DOUBLE, true, true, true, false},
        "PKeywordValue(QVariant(double, 1.5)truetruetruefalse)");
    row("flags in order", {QVariant(), PKeywordValueType::KVT_INT, true, false, true, false},
        "PKeywordValue(QVariant(Invalid)truefalsetruefalse)");
    row("text",
        {QVariant(QStringLiteral("a b")), PKeywordValueType::KVT_STRING, false, false, false, true},
        "PKeywordValue(QVariant(QString, \"a b\")falsefalsefalsetrue)");
}

void tst_KeywordTypes::debug_isCompact()
{
    QFETCH(QVariant, record);
    QFETCH(QString, text);

    QString direct;
    QDebug(&direct).nospace() << record.value<PKeywordValue>();
    QCOMPARE(direct, text);

    // The meta-type also has the operator.
    QString byMetaType;
    {
        QDebug debug(&byMetaType);
        debug.nospace();
        QVERIFY(record.metaType().debugStream(debug, record.constData()));
    }
    QCOMPARE(byMetaType, text);
}

void tst_KeywordTypes::debug_restoresTheStream()
{
    QString text;
    QDebug(&text) << 1 << PKeywordValue() << 2 << 3;
    QCOMPARE(text, QStringLiteral("1 PKeywordValue(QVariant(Invalid)falsefalsefalsefalse) 2 3 "));
}

QTEST_GUILESS_MAIN(tst_KeywordTypes)
#include "tst_keywordtypes.moc"
