// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/eventtext_p.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRandomGenerator>
#include <QtTest/QTest>

#include <cmath>
#include <limits>

using namespace pellix::server;

class tst_EventText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void text_isThatOfADocument_data();
    void text_isThatOfADocument();
    void number_isThatOfADocument();
    void quoted_isThatOfADocument_data();
    void quoted_isThatOfADocument();
};

void tst_EventText::text_isThatOfADocument_data()
{
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char *name, const QVariant &value) { QTest::newRow(name) << value; };
    row("none", QVariant());
    row("true", true);
    row("false", false);
    row("0", 0);
    row("int", -17);
    row("least whole number", std::numeric_limits<qlonglong>::min());
    row("greatest whole number", std::numeric_limits<qlonglong>::max());
    row("0.0", 0.0);
    row("-0.0", -0.0);
    row("double", 21.5);
    row("whole double", 100000.0);
    row("2^53", 9007199254740992.0);
    row("beyond 2^53", 9007199254740994.0);
    row("1e20", 1e20);
    row("1e300", -1e300);
    row("denormal", 5e-324);
    row("0.1 + 0.2", 0.1 + 0.2);
    row("0.1", 0.1);
    row("0.0625", -0.0625);
    row("four decimals", 99999.0625);
    row("next to four decimals", std::nextafter(99999.0625, 0));
    row("15 digits", 9999999999.9999);
    row("17 digits", 99999999999.9999);
    row("infinite", std::numeric_limits<double>::infinity());
    row("no number", std::nan(""));
    row("empty text", QStringLiteral(""));
    row("text", QStringLiteral("plain"));
    row("quotes", QStringLiteral("a \"b\" \\c\\ /"));
    row("control characters", QStringLiteral("a\nb\tc\u0001\u007f"));
    row("umlauts", QString::fromUtf8("Füllstand °C \xf0\x9f\x8c\xa1"));
    row("lone surrogate", QString(QChar(0xd800)));
    row("list", QVariantList {1, 2.5, QStringLiteral("x"), QVariant()});
    row("map", QVariantMap {{QStringLiteral("b"), 1}, {QStringLiteral("a"), QVariantList()}});
}

void tst_EventText::text_isThatOfADocument()
{
    QFETCH(QVariant, value);
    Record record;
    record.value = value;
    record.type = Type::Double;
    for (int flags = 0; flags < 16; ++flags) {
        record.connected = flags & 1;
        record.online = flags & 2;
        record.consistent = flags & 4;
        record.error = flags & 8;
        const QJsonObject payload {
            {QStringLiteral("connected"), record.connected},
            {QStringLiteral("consistent"), record.consistent},
            {QStringLiteral("error"), record.error},
            {QStringLiteral("keyword"), QStringLiteral("/a/b")},
            {QStringLiteral("online"), record.online},
            {QStringLiteral("type"), QStringLiteral("double")},
            {QStringLiteral("value"), QJsonValue::fromVariant(value)},
        };
        const QJsonObject message {{QStringLiteral("cmd"), QStringLiteral("keyEvent")},
                                   {QStringLiteral("payload"), payload}};
        QCOMPARE(eventText(u"/a/b", record), QJsonDocument(message).toJson(QJsonDocument::Compact));
    }
}

// Numbers of all magnitudes, with few decimals, and the numbers next to them.
void tst_EventText::number_isThatOfADocument()
{
    QRandomGenerator random(1);
    for (int i = 0; i < 10000; ++i) {
        const double scale = std::pow(10.0, random.bounded(7));
        const double few = double(random.bounded(1 << 30)) * random.bounded(1000) / scale;
        for (const double number : {few, -few, std::nextafter(few, 0), few / 1e5, few * 1e5}) {
            Record record;
            record.value = number;
            const QByteArray expected = "\"value\":"
                + QJsonDocument(QJsonArray {number})
                      .toJson(QJsonDocument::Compact)
                      .mid(1)
                      .chopped(1)
                + "}}";
            const QByteArray text = eventText(u"/a", record);
            QVERIFY2(text.endsWith(expected), text + " does not end with " + expected);
        }
    }
}

void tst_EventText::quoted_isThatOfADocument_data()
{
    QTest::addColumn<QString>("text");
    for (int code = 0; code < 0x180; ++code)
        QTest::addRow("U+%04X", code) << QString(QChar(code)) + QLatin1Char('x');
}

void tst_EventText::quoted_isThatOfADocument()
{
    QFETCH(QString, text);
    const QJsonObject object {{QStringLiteral("a"), text}};
    JsonText json;
    append(json, "{\"a\":");
    appendQuoted(json, text);
    append(json, "}");
    QCOMPARE(QByteArray(json.constData(), json.size()),
             QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QTEST_GUILESS_MAIN(tst_EventText)
#include "tst_eventtext.moc"
