// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/browsing/naturalorder.h"

#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtTest/QTest>

#include <random>

using pellix::extras::compareNaturally;

class tst_NaturalOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void order_data();
    void order();
    void order_isOneOfAll();
};

void tst_NaturalOrder::order_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");

    const auto row = [](const char *first, const char *second) {
        QTest::addRow("%s before %s", first, second)
            << QString::fromUtf8(first) << QString::fromUtf8(second);
    };
    row("9", "10");
    row("item 9", "item 10");
    row("item 9", "Item 10");
    row("item", "item 1");
    row("a", "B");
    row("a1b2", "a1b10");
    row("07", "7"); // the same number
    row("07", "8");
    row("0", "00");
    row("99999999999999999999", "100000000000000000000"); // beyond 64 bits
    row("2a", "10");
    row("10", "a");
    row("1.9", "1.10");
    row("", "0");
    row("level", "levels");
    row("A", "a"); // equal except for case, but the order is still fixed
    row("\u00e4", "\u00c4 1");
}

void tst_NaturalOrder::order()
{
    QFETCH(const QString, first);
    QFETCH(const QString, second);

    QVERIFY(compareNaturally(first, second) < 0);
    QVERIFY(compareNaturally(second, first) > 0);
    QCOMPARE(compareNaturally(first, first), 0);
    QCOMPARE(compareNaturally(second, second), 0);
}

void tst_NaturalOrder::order_isOneOfAll()
{
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same texts each time
    const QString letters = QStringLiteral("0019aA -.z\u00e4");
    QStringList texts;
    for (int i = 0; i < 120; ++i) {
        QString text;
        for (auto length = random() % 5; length > 0; --length)
            text += letters.at(int(random() % uint(letters.size())));
        texts.append(text);
    }
    const auto sign = [](int order) { return (order > 0) - (order < 0); };
    for (const QString &a : std::as_const(texts)) {
        for (const QString &b : std::as_const(texts)) {
            const int order = compareNaturally(a, b);
            QCOMPARE(order == 0, a == b);
            QCOMPARE(sign(order), -sign(compareNaturally(b, a)));
            for (const QString &c : std::as_const(texts)) {
                if (order < 0 && compareNaturally(b, c) < 0 && compareNaturally(a, c) >= 0)
                    QFAIL(qPrintable(QStringLiteral("'%1' '%2' '%3'").arg(a, b, c)));
            }
        }
    }
}

QTEST_GUILESS_MAIN(tst_NaturalOrder)
#include "tst_naturalorder.moc"
