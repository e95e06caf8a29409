// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/plaincommand_p.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QTest>

using namespace pellix::server;

class tst_PlainCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keyword_isThatOfADocument_data();
    void keyword_isThatOfADocument();
    void keyword_isNotReadByAnotherName();
};

void tst_PlainCommand::keyword_isThatOfADocument_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<bool>("isPlain");
    const auto row = [](const char *name, const QByteArray &command, bool isPlain = false) {
        QTest::newRow(name) << command << isPlain;
    };
    const auto spelt = [](const QByteArray &keyword) {
        return R"({"cmd":"keyDestroy","payload":{"keyword":")" + keyword + R"("}})";
    };
    row("as clients spell it", spelt("/a/b"), true);
    row("another spelling of the path", spelt("a#b//c/ ~"), true);
    row("empty", spelt(""));
    row("quote", spelt(R"(/a\"b)"));
    row("escape", spelt(R"(/\u0061)"));
    row("escape at the end", spelt("/a\\"));
    row("umlaut", spelt("/\xc3\xa4"));
    row("not UTF-8", spelt("/\xff"));
    row("delete character", spelt("/\x7f"));
    row("line break", spelt("/a\nb"));
    row("zero byte", spelt(QByteArray("/a\0b", 4)));
    row("another member", spelt(R"(/a","children":["/b"],"type":"x)"));
    row("the member again", spelt(R"(/a","keyword":"/b)"));
    row("blanks", R"({ "cmd":"keyDestroy","payload":{"keyword":"/a"}})");
    row("blank at the end", spelt("/a") + ' ');
    row("more behind it", spelt("/a") + spelt("/b"));
    row("a bracket too many", spelt("/a") + '}');
    row("cut", spelt("/a").chopped(1));
    row("cut within the start", R"({"cmd":"keyDestroy","payload":{"keyword":"}})");
    row("other order", R"({"payload":{"keyword":"/a"},"cmd":"keyDestroy"})");
    row("number", R"({"cmd":"keyDestroy","payload":{"keyword":1}})");
    row("nothing", "");
}

void tst_PlainCommand::keyword_isThatOfADocument()
{
    QFETCH(QByteArray, command);
    QFETCH(bool, isPlain);
    const QString keyword = plainKeyword(command, QLatin1String("keyDestroy"));
    QCOMPARE(!keyword.isEmpty(), isPlain);
    const QJsonObject message = QJsonDocument::fromJson(command).object();
    if (isPlain) {
        QCOMPARE(message.value(QLatin1String("cmd")).toString(), QStringLiteral("keyDestroy"));
        const QJsonObject payload = message.value(QLatin1String("payload")).toObject();
        QCOMPARE(payload, (QJsonObject {{QStringLiteral("keyword"), keyword}}));
    }
}

void tst_PlainCommand::keyword_isNotReadByAnotherName()
{
    const QByteArray command = R"({"cmd":"keyDestroy","payload":{"keyword":"/a"}})";
    QCOMPARE(plainKeyword(command, QLatin1String("keyDestroy")), QStringLiteral("/a"));
    QVERIFY(plainKeyword(command, QLatin1String("keyCreateOrUpdate")).isEmpty());
    QVERIFY(plainKeyword(command, QLatin1String("keyDestro")).isEmpty());
    QVERIFY(plainKeyword(command, QLatin1String("")).isEmpty());
}

QTEST_GUILESS_MAIN(tst_PlainCommand)

#include "tst_plaincommand.moc"
