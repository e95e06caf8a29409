// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/accesstokens.h"

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

using pellix::server::AccessTokens;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QByteArray contents(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool write(const QString &fileName, const QByteArray &data)
{
    QFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

// The holders as text, such as "name: role, ...".
QString text(const AccessTokens &tokens)
{
    QStringList holders;
    for (const AccessTokens::Holder &holder : tokens.holders())
        holders << holder.name + q(": ") + holder.role;
    return holders.join(q(", "));
}

QString whose(const AccessTokens &tokens, const QByteArray &token)
{
    const auto holder = tokens.find(token);
    return holder ? holder->name + q(": ") + holder->role : QString();
}

// The SHA-256 digest of "abc", according to FIPS 180-4.
const QByteArray abc("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");

} // namespace

class tst_AccessTokens : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void none_isNobodys();
    void create_returnsARandomToken();
    void create_refusesWhatCannotBeStored_data();
    void create_refusesWhatCannotBeStored();
    void find_takesTheWholeTokenAlone();
    void revoke_takesOneAway();
    void save_writesNoTokenAndForTheOwnerAlone();
    void save_saysWhyItFailed();
    void load_readsWhatWasSaved();
    void load_readsDigestsMadeElsewhere();
    void find_comparesTheWholeDigest();
    void load_refusesABadFile_data();
    void load_refusesABadFile();
    void load_saysWhyAFileCannotBeRead();

private:
    QTemporaryDir directory;
};

void tst_AccessTokens::none_isNobodys()
{
    const AccessTokens tokens;
    QVERIFY(tokens.isEmpty());
    QVERIFY(tokens.holders().isEmpty());
    QVERIFY(!tokens.find(QByteArray()));
    QVERIFY(!tokens.find("x"));
}

void tst_AccessTokens::create_returnsARandomToken()
{
    AccessTokens tokens;
    QSet<QByteArray> made;
    for (int i = 0; i < 100; ++i) {
        const QByteArray token = tokens.create(QString::number(i), q("viewer"));
        QVERIFY2(QRegularExpression(q("^[A-Za-z0-9_-]{43}$")).match(q(token)).hasMatch(), token);
        QCOMPARE(QByteArray::fromBase64(token, QByteArray::Base64UrlEncoding).size(), 32);
        made.insert(token);
    }
    QCOMPARE(made.size(), 100);
    QCOMPARE(tokens.holders().size(), 100);
    QVERIFY(!tokens.isEmpty());
}

void tst_AccessTokens::create_refusesWhatCannotBeStored_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("role");
    QTest::newRow("no name") << ""
                             << "viewer";
    QTest::newRow("no role") << "panel"
                             << "";
    QTest::newRow("blank before") << " panel"
                                  << "viewer";
    QTest::newRow("two blanks") << "my  panel"
                                << "viewer";
    QTest::newRow("line feed") << "panel\n"
                               << "viewer";
    QTest::newRow("control character") << "pa\x01nel"
                                       << "viewer";
    QTest::newRow("blank in a role") << "panel"
                                     << "my viewer";
    QTest::newRow("line feed in a role") << "panel"
                                         << "viewer\nx";
    QTest::newRow("taken") << "taken"
                           << "viewer";
}

void tst_AccessTokens::create_refusesWhatCannotBeStored()
{
    QFETCH(QString, name);
    QFETCH(QString, role);
    AccessTokens tokens;
    QVERIFY(!tokens.create(q("taken"), q("operator")).isEmpty());
    QCOMPARE(tokens.create(name, role), QByteArray());
    QCOMPARE(text(tokens), q("taken: operator"));
}

void tst_AccessTokens::find_takesTheWholeTokenAlone()
{
    AccessTokens tokens;
    const QByteArray first = tokens.create(q("Panel 1"), q("viewer"));
    const QByteArray second = tokens.create(q("panel2"), q("*"));
    QCOMPARE(whose(tokens, first), q("Panel 1: viewer"));
    QCOMPARE(whose(tokens, second), q("panel2: *"));
    for (const QByteArray &wrong :
         {QByteArray(), first.chopped(1), first + 'A', first + '=', ' ' + first, first + '\0',
          first.toLower() + first.toUpper(), first + second})
        QVERIFY2(!tokens.find(wrong), wrong);
    for (qsizetype i = 0; i < first.size(); ++i) {
        QByteArray wrong = first;
        wrong[i] = wrong.at(i) == 'A' ? 'B' : 'A';
        QVERIFY2(!tokens.find(wrong), wrong);
    }
}

void tst_AccessTokens::revoke_takesOneAway()
{
    AccessTokens tokens;
    const QByteArray first = tokens.create(q("a"), q("viewer"));
    const QByteArray second = tokens.create(q("b"), q("viewer"));
    QVERIFY(!tokens.revoke(q("A")));
    const AccessTokens before = tokens;
    QVERIFY(tokens.revoke(q("a")));
    QVERIFY(!tokens.revoke(q("a")));
    QVERIFY(!tokens.find(first));
    QCOMPARE(whose(tokens, second), q("b: viewer"));
    QCOMPARE(whose(before, first), q("a: viewer")); // copies are independent
    QVERIFY(!tokens.create(q("a"), q("viewer")).isEmpty());
}

void tst_AccessTokens::save_writesNoTokenAndForTheOwnerAlone()
{
    AccessTokens tokens;
    const QByteArray token = tokens.create(q("panel"), q("viewer"));
    const QString fileName = directory.filePath(q("saved"));
    QVERIFY(write(fileName, "# old\n"));
    QVERIFY(QFile::setPermissions(fileName, QFile::permissions(fileName) | QFile::ReadOther));

    QString error;
    QVERIFY2(tokens.save(fileName, &error), qPrintable(error));

    const QFile::Permissions others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup
        | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther | QFile::ExeOwner;
    QCOMPARE(QFile::permissions(fileName) & others, QFile::Permissions());
    QVERIFY(QFile::permissions(fileName) & QFile::ReadOwner);
    const QByteArray saved = contents(fileName);
    QVERIFY2(saved.endsWith(" viewer panel\n"), saved);
    QVERIFY(!saved.contains(token) && !saved.contains("old"));
}

void tst_AccessTokens::save_saysWhyItFailed()
{
    AccessTokens tokens;
    tokens.create(q("panel"), q("viewer"));
    QString error;
    QVERIFY(!tokens.save(directory.filePath(q("no/folder")), &error));
    QCOMPARE(
        error,
        q("cannot write %1: No such file or directory").arg(directory.filePath(q("no/folder"))));
    QVERIFY(!tokens.save(directory.filePath(q("no/folder"))));
}

void tst_AccessTokens::load_readsWhatWasSaved()
{
    AccessTokens tokens;
    const QByteArray first = tokens.create(q("Panel 1"), q("viewer"));
    const QByteArray second = tokens.create(q("Pr\xc3\xbc"
                                              "fstand"),
                                            q("*"));
    const QString fileName = directory.filePath(q("kept"));
    QVERIFY(tokens.save(fileName));
    AccessTokens loaded;
    const QByteArray replaced = loaded.create(q("old"), q("viewer"));

    QString error;
    QVERIFY2(loaded.load(fileName, &error), qPrintable(error));

    QCOMPARE(text(loaded), text(tokens));
    QCOMPARE(whose(loaded, first), q("Panel 1: viewer"));
    QCOMPARE(whose(loaded, second), whose(tokens, second));
    QVERIFY(!loaded.find(replaced));
}

void tst_AccessTokens::load_readsDigestsMadeElsewhere()
{
    const QString fileName = directory.filePath(q("elsewhere"));
    QVERIFY(write(fileName,
                  "\r\n# comment\r\n  " + abc.toUpper() + "\tviewer   Panel \t 1 \r\n   # more"));
    AccessTokens tokens;
    QString error;
    QVERIFY2(tokens.load(fileName, &error), qPrintable(error));
    QCOMPARE(text(tokens), q("Panel 1: viewer"));
    QCOMPARE(whose(tokens, "abc"), q("Panel 1: viewer"));
}

void tst_AccessTokens::find_comparesTheWholeDigest()
{
    const QString fileName = directory.filePath(q("similar"));
    for (qsizetype i = 0; i < abc.size(); ++i) {
        QByteArray similar = abc;
        similar[i] = similar.at(i) == '0' ? '1' : '0';
        QVERIFY(write(fileName, similar + " viewer panel\n"));
        AccessTokens tokens;
        QVERIFY(tokens.load(fileName));
        QVERIFY2(!tokens.find("abc"), similar);
    }
}

void tst_AccessTokens::load_refusesABadFile_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("message"); // the text after the name of the file
    const QByteArray good = abc + " viewer panel\n";
    const auto row = [](const char *name, const QByteArray &data, const char *message) {
        QTest::newRow(name) << data << q(message);
    };
    const char *digest = ":2: not a SHA-256 digest of 64 hexadecimal digits";
    row("token in place of its digest", good + "hunter2 viewer a\n", digest);
    row("short digest", good + abc.chopped(2) + " viewer a\n", digest);
    row("long digest", good + abc + "00 viewer a\n", digest);
    row("no hexadecimal digit", good + 'g' + abc.mid(1) + " viewer a\n", digest);
    row("no name", "# first\n\n" + abc + " viewer\n",
        ":3: a digest, a role and a name are expected");
    row("digest alone", abc, ":1: a digest, a role and a name are expected");
    row("control character", abc + " vie\x01wer panel", ":1: not a role");
    row("control character in a name", abc + " viewer pa\x7fnel", ":1: not a name");
    row("not UTF-8", abc + " viewer pa\xffnel", ":1: not UTF-8");
    row("name twice", good + QByteArray(64, 'a') + " viewer panel\n",
        ":2: the name already has a token");
    row("digest twice", good + abc + " viewer another\n", ":2: the digest occurs twice");
}

void tst_AccessTokens::load_refusesABadFile()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, message);
    const QString fileName = directory.filePath(q("bad"));
    QVERIFY(write(fileName, data));
    AccessTokens tokens;
    tokens.create(q("kept"), q("viewer"));

    QString error;
    QVERIFY(!tokens.load(fileName, &error));

    QCOMPARE(error, fileName + message);
    QVERIFY(!error.contains(q("hunter2")));
    QCOMPARE(text(tokens), q("kept: viewer"));
    QVERIFY(!tokens.load(fileName));
}

void tst_AccessTokens::load_saysWhyAFileCannotBeRead()
{
    AccessTokens tokens;
    QString error;
    QVERIFY(!tokens.load(directory.filePath(q("none")), &error));
    QCOMPARE(error,
             q("cannot open %1: No such file or directory").arg(directory.filePath(q("none"))));
    QVERIFY(!tokens.load(directory.path(), &error));
    QVERIFY2(error.contains(directory.path()), qPrintable(error));
}

QTEST_APPLESS_MAIN(tst_AccessTokens)
#include "tst_accesstokens.moc"
