// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/distinguishedname_p.h"

#include <QtTest/QTest>

using namespace pellix::server;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

class tst_DistinguishedName : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parse_readsWhatIsOne_data();
    void parse_readsWhatIsOne();
    void parse_refusesWhatIsNone_data();
    void parse_refusesWhatIsNone();
    void fits_comparesTheTypesOfThePattern_data();
    void fits_comparesTheTypesOfThePattern();
    void toText_escapesControlCharacters();
};

void tst_DistinguishedName::parse_readsWhatIsOne_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("attributes"); // in the form TYPE[value]
    const auto row = [](const char *text, const char *attributes) {
        QTest::newRow(text) << QByteArray(text) << q(attributes);
    };
    row("CN=panel1", "CN[panel1]");
    row("  cn = Panel 1  ", "CN[Panel 1]");
    row("CN=panel1,O=Plant", "CN[panel1]O[Plant]");
    row("CN=panel1 , O = Plant;OU=x+UID=7", "CN[panel1]O[Plant]OU[x]UID[7]");
    row("2.5.4.3=a", "2.5.4.3[a]");
    row("CN=a\\,O=b", "CN[a,O=b]");
    row("CN=a\\2CO\\3Db", "CN[a,O=b]");
    row("CN=\\\\\\\"\\+\\;", "CN[\\\"+;]");
    row("CN=a=b/c", "CN[a=b/c]");
    row("CN=a\\ ,O=b", "CN[a ]O[b]");
    row("CN=\\#1", "CN[#1]");
    row("CN=\"a, O=b\" , O=c", "CN[a, O=b]O[c]");
    row("CN=Pr\\C3\\BCfstand",
        "CN[Pr\xc3\xbc"
        "fstand]");
    row("CN=Pr\xc3\xbc"
        "fstand",
        "CN[Pr\xc3\xbc"
        "fstand]");
}

void tst_DistinguishedName::parse_readsWhatIsOne()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, attributes);
    const auto name = parseDistinguishedName(text);
    QVERIFY(name);
    QString found;
    for (const auto &[type, value] : *name)
        found += q(type) + q("[") + value + q("]");
    QCOMPARE(found, attributes);
}

void tst_DistinguishedName::parse_refusesWhatIsNone_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char *text : {"",
                             " ",
                             "panel1",
                             "CN=",
                             "CN= ",
                             "=x",
                             "CN=a,",
                             "CN=a,,O=b",
                             "CN=a,O",
                             "/CN=panel1",
                             "/O=Plant/CN=panel1",
                             "CN=#0403616263",
                             "CN=\"a",
                             "CN=\"a\"b",
                             "CN=a\"b",
                             "CN=a\\",
                             "CN=\\FF",
                             "C N=a",
                             "CN=a,\"O\"=b",
                             ",CN=a"})
        QTest::newRow(*text ? text : "empty") << QByteArray(text);
}

void tst_DistinguishedName::parse_refusesWhatIsNone()
{
    QFETCH(QByteArray, text);
    QVERIFY(!parseDistinguishedName(text));
}

void tst_DistinguishedName::fits_comparesTheTypesOfThePattern_data()
{
    QTest::addColumn<QByteArray>("pattern");
    QTest::addColumn<QByteArray>("subject");
    QTest::addColumn<bool>("fitting");
    const auto row = [](const char *pattern, const char *subject, bool fitting) {
        QTest::addRow("%s - %s", pattern, subject)
            << QByteArray(pattern) << QByteArray(subject) << fitting;
    };
    row("CN=a", "CN=a", true);
    row("CN=a", "O=b,CN=a", true);
    row("cn=a", "CN=a", true);
    row("CN=a,O=b", "O=b,CN=a", true);
    row("DC=x,DC=y", "DC=y,DC=x,CN=a", true);
    row("CN=a", "CN=A", false);
    row("CN=a", "CN=ab", false);
    row("CN=a", "O=a", false);
    row("CN=a,O=b", "CN=a", false);
    row("CN=a", "CN=a,CN=b", false);
    row("CN=a", "CN=a,CN=a", false);
    row("DC=x,DC=y", "DC=x", false);
}

void tst_DistinguishedName::fits_comparesTheTypesOfThePattern()
{
    QFETCH(QByteArray, pattern);
    QFETCH(QByteArray, subject);
    QFETCH(bool, fitting);
    QCOMPARE(fits(*parseDistinguishedName(subject), *parseDistinguishedName(pattern)), fitting);
}

void tst_DistinguishedName::toText_escapesControlCharacters()
{
    QCOMPARE(toText({{"CN", q("a\x1b[31m")}, {"O", q("b")}}), q("\"CN=a\\u001B[31m, O=b\""));
}

QTEST_APPLESS_MAIN(tst_DistinguishedName)
#include "tst_distinguishedname.moc"
