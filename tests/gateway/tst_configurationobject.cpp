// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/configurationobject.h"

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

using namespace pellix::gateway;

namespace {

QJsonObject parsed(const QByteArray &json)
{
    return QJsonDocument::fromJson(json).object();
}

QStringList lines(const ConfigurationProblems &problems)
{
    QStringList lines;
    for (const ConfigurationProblem &problem : problems)
        lines.append(problem.pointer + QLatin1String(": ") + problem.text);
    return lines;
}

} // namespace

class TestConfigurationObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void members_areReadByTheirKind()
    {
        ConfigurationProblems problems;
        ConfigurationObject object(
            parsed(R"({"t": "x", "b": true, "n": 1.5, "i": 7, "one": "a", "many": ["a", "b"],
                       "w": "any", "o": {"in": 1}, "l": [{"k": 1}, {"k": 2}], "v": null})"),
            QStringLiteral("/top"), &problems);

        QCOMPARE(object.pointer(), QStringLiteral("/top"));
        QCOMPARE(*object.text(QStringLiteral("t")), QStringLiteral("x"));
        QCOMPARE(*object.boolean(QStringLiteral("b")), true);
        QCOMPARE(*object.number(QStringLiteral("n")), 1.5);
        QCOMPARE(*object.integer(QStringLiteral("i"), 7, 7), 7);
        QCOMPARE(*object.texts(QStringLiteral("one")), QStringList {QStringLiteral("a")});
        QCOMPARE(object.texts(QStringLiteral("many"))->size(), 2);
        QCOMPARE(*object.word(QStringLiteral("w"), {QStringLiteral("all"), QStringLiteral("any")}),
                 QStringLiteral("any"));
        std::optional<ConfigurationObject> inner = object.object(QStringLiteral("o"));
        QVERIFY(inner);
        QCOMPARE(inner->pointer(), QStringLiteral("/top/o"));
        QCOMPARE(*inner->integer(QStringLiteral("in"), 0, 9), 1);
        const QList<ConfigurationObject> list = object.objects(QStringLiteral("l"));
        QCOMPARE(list.size(), 2);
        QCOMPARE(list.at(1).pointer(), QStringLiteral("/top/l/1"));
        QVERIFY(object.value(QStringLiteral("v")).isNull());
        object.finish();
        inner->finish();
        QCOMPARE(lines(problems), QStringList());
    }

    void missingMembers_areNoProblem()
    {
        ConfigurationProblems problems;
        ConfigurationObject object({}, QString(), &problems);
        QVERIFY(!object.text(QStringLiteral("a")));
        QVERIFY(!object.boolean(QStringLiteral("a")));
        QVERIFY(!object.number(QStringLiteral("a")));
        QVERIFY(!object.integer(QStringLiteral("a"), 0, 1));
        QVERIFY(!object.texts(QStringLiteral("a")));
        QVERIFY(!object.word(QStringLiteral("a"), {QStringLiteral("b")}));
        QVERIFY(!object.object(QStringLiteral("a")));
        QVERIFY(object.objects(QStringLiteral("a")).isEmpty());
        QVERIFY(object.value(QStringLiteral("a")).isUndefined());
        object.finish();
        QCOMPARE(problems.size(), 0);
    }

    void problems_sayWhereAndWhat_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("reader");
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char *name, const char *json, const char *reader,
                            const QStringList &expected) {
            QTest::newRow(name) << QByteArray(json) << QString::fromLatin1(reader) << expected;
        };
        row("text", R"({"a": 1})", "text", {QStringLiteral("/a: must be a text, not a number")});
        row("text null", R"({"a": null})", "text",
            {QStringLiteral("/a: must be a text, not null")});
        row("boolean", R"({"a": "true"})", "boolean",
            {QStringLiteral("/a: must be true or false, not a text")});
        row("number", R"({"a": true})", "number",
            {QStringLiteral("/a: must be a number, not true")});
        row("integer, a text", R"({"a": "5"})", "integer",
            {QStringLiteral("/a: must be a number, not a text")});
        row("integer, below", R"({"a": 0})", "integer",
            {QStringLiteral("/a: must be an integer from 1 to 9")});
        row("integer, above", R"({"a": 1e300})", "integer",
            {QStringLiteral("/a: must be an integer from 1 to 9")});
        row("integer, fraction", R"({"a": 1.5})", "integer",
            {QStringLiteral("/a: must be an integer from 1 to 9")});
        row("texts", R"({"a": {}})", "texts",
            {QStringLiteral("/a: must be a string or a list of strings, not an object")});
        row("texts, entries", R"({"a": ["x", 1, []]})", "texts",
            {QStringLiteral("/a/1: must be a text, not a number"),
             QStringLiteral("/a/2: must be a text, not a list")});
        row("word", R"({"a": "latset"})", "word",
            {QStringLiteral(
                "/a: must be one of all, any, latest, not \"latset\"; did you mean latest?")});
        row("object", R"({"a": []})", "object",
            {QStringLiteral("/a: must be an object, not a list")});
        row("objects", R"({"a": {}})", "objects",
            {QStringLiteral("/a: must be a list of objects, not an object")});
        row("objects, entries", R"({"a": [{}, 1]})", "objects",
            {QStringLiteral("/a/1: must be an object, not a number")});
    }

    void problems_sayWhereAndWhat()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, reader);
        QFETCH(QStringList, expected);
        ConfigurationProblems problems;
        ConfigurationObject object(parsed(json), QString(), &problems);
        const auto name = QStringLiteral("a");
        if (reader == QLatin1String("text"))
            QVERIFY(!object.text(name));
        else if (reader == QLatin1String("boolean"))
            QVERIFY(!object.boolean(name));
        else if (reader == QLatin1String("number"))
            QVERIFY(!object.number(name));
        else if (reader == QLatin1String("integer"))
            QVERIFY(!object.integer(name, 1, 9));
        else if (reader == QLatin1String("texts"))
            QVERIFY(!object.texts(name));
        else if (reader == QLatin1String("word"))
            QVERIFY(!object.word(
                name, {QStringLiteral("all"), QStringLiteral("any"), QStringLiteral("latest")}));
        else if (reader == QLatin1String("object"))
            QVERIFY(!object.object(name));
        else if (reader == QLatin1String("objects"))
            QVERIFY(object.objects(name).size() < 2);
        object.finish();
        QCOMPARE(lines(problems), expected);
        QCOMPARE(object.problemCount(), int(expected.size()));
    }

    void files_areBelowTheFolder()
    {
        QTemporaryDir folder, credentials;
        const auto write = [](const QString &path) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
        };
        write(folder.filePath(QStringLiteral("pw")));
        write(folder.filePath(QStringLiteral("both")));
        write(credentials.filePath(QStringLiteral("both")));
        ConfigurationProblems problems;
        const QString absolute = folder.filePath(QStringLiteral("pw"));
        ConfigurationObject top({{QStringLiteral("in"),
                                  QJsonObject {{QStringLiteral("a"), QStringLiteral("pw")},
                                               {QStringLiteral("b"), absolute},
                                               {QStringLiteral("c"), QStringLiteral("both")},
                                               {QStringLiteral("d"), QStringLiteral("missing")},
                                               {QStringLiteral("e"), QStringLiteral(".")}}}},
                                QString(), &problems, folder.path());
        std::optional<ConfigurationObject> object = top.object(QStringLiteral("in"));
        QCOMPARE(*object->file(QStringLiteral("a")), absolute);
        QCOMPARE(*object->file(QStringLiteral("b")), absolute);
        QCOMPARE(*object->file(QStringLiteral("c")), folder.filePath(QStringLiteral("both")));
        qputenv("CREDENTIALS_DIRECTORY", QFile::encodeName(credentials.path()));
        QCOMPARE(*object->file(QStringLiteral("c")), credentials.filePath(QStringLiteral("both")));
        QCOMPARE(*object->file(QStringLiteral("a")), absolute);
        qunsetenv("CREDENTIALS_DIRECTORY");
        QVERIFY(!object->file(QStringLiteral("d")));
        QVERIFY(!object->file(QStringLiteral("e")));
        QCOMPARE(lines(problems),
                 (QStringList {QStringLiteral("/in/d: cannot open %1: No such file or directory")
                                   .arg(folder.filePath(QStringLiteral("missing"))),
                               QStringLiteral("/in/e: cannot open %1: it is a folder")
                                   .arg(folder.filePath(QStringLiteral(".")))}));
    }

    void unknownMembers_areNamedWithTheNearest_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("expected");
        QTest::newRow("mistyped") << QByteArray(R"({"topcis": 1})")
                                  << QStringLiteral("/at/topcis: unknown member \"topcis\"; "
                                                    "did you mean topics?");
        QTest::newRow("other case") << QByteArray(R"({"tokenfile": 1})")
                                    << QStringLiteral("/at/tokenfile: unknown member "
                                                      "\"tokenfile\"; did you mean tokenFile?");
        QTest::newRow("shortened") << QByteArray(R"({"token": 1})")
                                   << QStringLiteral("/at/token: unknown member \"token\"; "
                                                     "did you mean tokenFile?");
        QTest::newRow("nothing near") << QByteArray(R"({"zzzzz": 1})")
                                      << QStringLiteral("/at/zzzzz: unknown member \"zzzzz\"; "
                                                        "known here: topics, tokenFile");
        QTest::newRow("escaped") << QByteArray(R"({"a/b~c": 1})")
                                 << QStringLiteral("/at/a~1b~0c: unknown member \"a/b~c\"; "
                                                   "known here: topics, tokenFile");
        QTest::newRow("empty") << QByteArray(R"({"": 1})")
                               << QStringLiteral("/at/: unknown member \"\"; known here: topics, "
                                                 "tokenFile");
    }

    void unknownMembers_areNamedWithTheNearest()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, expected);
        ConfigurationProblems problems;
        ConfigurationObject object(parsed(json), QStringLiteral("/at"), &problems);
        (void)object.texts(QStringLiteral("topics"));
        (void)object.text(QStringLiteral("tokenFile"));
        object.finish();
        QCOMPARE(lines(problems), QStringList {expected});
    }
};

QTEST_GUILESS_MAIN(TestConfigurationObject)
#include "tst_configurationobject.moc"
