// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/server/testclient.h"

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace pellix::server;

namespace {

// The children of a level that a client can list, as "name:type name:type".
QString listed(Client &client, const char *level)
{
    const QStringList parts = q(level).split(QLatin1Char('/'), Qt::SkipEmptyParts);
    QJsonObject payload;
    if (!parts.isEmpty())
        payload.insert(q("factory"), parts.at(0));
    if (parts.size() > 1)
        payload.insert(q("instance"), parts.at(1));
    if (parts.size() > 2)
        payload.insert(q("keyQuery"), QJsonArray::fromStringList(parts.mid(2)));
    client.command("keyIndex", QJsonDocument(payload).toJson().constData());
    client.taken();
    const QJsonArray items = QJsonDocument::fromJson(client.messages.constLast())
                                 .object()
                                 .value(q("payload"))
                                 .toObject()
                                 .value(q("response"))
                                 .toArray();
    QStringList names;
    for (const auto &item : items) {
        const QString type = item.toObject().value(q("type")).toString();
        names << item.toObject().value(q("name")).toString()
                + (type.isEmpty() ? QString() : QLatin1Char(':') + type);
    }
    return names.join(QLatin1Char(' '));
}

} // namespace

class tst_Roles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void pattern_isKnownByItsForm_data();
    void pattern_isKnownByItsForm();
    void setRole_refusesWhatIsNone();
    void pattern_covers_data();
    void pattern_covers();
    void unreadable_isAnsweredAsNotKnown_data();
    void unreadable_isAnsweredAsNotKnown();
    void unreadable_isNotTold();
    void unreadable_isNotListed();
    void level_isListedIfItLeadsToSomething();
    void write_needsBothRights_data();
    void write_needsBothRights();
    void label_followsItsKeyword();
    void label_followsWhatIsReadable();
    void label_hidesWhatIsUnreadable();
    void label_followsTheRole();
    void aggregate_hasTheRightsOfItsSession();
    void role_thatDoesNotExistHasNoRights();
    void role_canBeReplaced();
    void role_appliesToRepliesThatWait();
    void role_canBeRemoved();
    void manyStars_areQuick();

private:
    bool setRole(const char *name, const char *read, const char *write = "")
    {
        const auto patterns = [](const char *text) {
            return q(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        };
        return server->setRole({q(name), patterns(read), patterns(write)});
    }

    std::unique_ptr<KeywordServer> server;
};

void tst_Roles::init()
{
    server = std::make_unique<KeywordServer>();
    server->declare(keyword("/plant/tank1/level", "double", 12.5, "RW", "Level 1"));
    server->declare(keyword("/plant/tank1/setpoint", "double", 50.0, "RW"));
    server->declare(keyword("/plant/tank2/level", "double", 20.0, "R"));
    server->declare(keyword("/plant/tank2/secret/code", "int", 4711, "RW", "The code"));
    server->declare(keyword("/office/door", "bool", false, "RW"));
    server->setLabel(q("/plant/tank2/secret"), q("A secret level"));
    server->setLabel(q("/plant/tank1"), q("Tank 1"));
}

void tst_Roles::pattern_isKnownByItsForm_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isPattern");
    for (const char *text :
         {"/**", "/*", "/a", "/a/b", "/plant/*/setpoint", "/**/level", "/a/**/b/*"})
        QTest::newRow(text) << q(text) << true;
    for (const char *text :
         {"", "/", "a", "a/b", "/a/", "/a//b", "/a*", "/*a/b", "/***", "/a#b", "//", "/a/ *x"})
        QTest::newRow(text) << q(text) << false;
}

void tst_Roles::pattern_isKnownByItsForm()
{
    QFETCH(QString, text);
    QTEST(Role::isPattern(text), "isPattern");
}

void tst_Roles::setRole_refusesWhatIsNone()
{
    QVERIFY(!setRole("", "/**"));
    QVERIFY(!setRole("*", "/**"));
    QVERIFY(!setRole("viewer", "/** plant"));
    QVERIFY(!setRole("viewer", "/**", "/plant*"));
    QCOMPARE(server->roles(), QStringList());
    QVERIFY(setRole("viewer", "/**"));
    QVERIFY(setRole("nobody", ""));
    QCOMPARE(server->roles(), QStringList({q("nobody"), q("viewer")}));
}

void tst_Roles::pattern_covers_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("covered");
    const auto row = [](const char *pattern, const char *path, bool covered) {
        QTest::addRow("%s %s", pattern, path) << q(pattern) << q(path) << covered;
    };
    row("/**", "/a", true);
    row("/**", "/a/b/c", true);
    row("/*", "/a", true);
    row("/*", "/a/b", false);
    row("/a", "/a", true);
    row("/a", "/A", false);
    row("/a", "/ab", false);
    row("/a", "/a/b", false);
    row("/a/**", "/a", true);
    row("/a/**", "/a/b/c", true);
    row("/a/**", "/ab", false);
    row("/a/*/c", "/a/b/c", true);
    row("/a/*/c", "/a/c", false);
    row("/a/*/c", "/a/b/b/c", false);
    row("/a/**/c", "/a/c", true);
    row("/a/**/c", "/a/b/b/c", true);
    row("/a/**/c", "/a/b/b/c/d", false);
    row("/**/c", "/c", true);
    row("/**/c/**", "/a/c/b", true);
    row("/**/c/**", "/a/b", false);
    row("/**/**", "/a", true);
    row("/**/*", "/a", true);
    row("/*/**", "/a", true);
}

void tst_Roles::pattern_covers()
{
    QFETCH(QString, pattern);
    QFETCH(QString, path);
    QFETCH(bool, covered);
    server->declare(keyword(qPrintable(path), "int", 1));
    QVERIFY(server->setRole({q("some"), {pattern}, {}}));
    Client client(server.get(), "some");
    client.create(qPrintable(path));
    QCOMPARE(client.taken(), path + (covered ? q("=1 coc-") : q("=null --c-")));
}

void tst_Roles::unreadable_isAnsweredAsNotKnown_data()
{
    QTest::addColumn<QString>("spelling");
    for (const char *spelling :
         {"/plant/tank2/secret/code", "plant/tank2/secret/code", "/plant//tank2/secret/code",
          "/plant#tank2#secret#code", "//plant/tank2/secret/code/", "#plant/tank2/secret##code#"})
        QTest::newRow(spelling) << q(spelling);
}

void tst_Roles::unreadable_isAnsweredAsNotKnown()
{
    QFETCH(QString, spelling);
    QVERIFY(setRole("viewer", "/plant/*/level"));
    Client client(server.get(), "viewer");
    client.create(qPrintable(spelling));
    QCOMPARE(client.taken(), spelling + q("=null --c-"));
    client.update(qPrintable(spelling), "1");
    QCOMPARE(client.taken(), spelling + q("=null --ce"));
    QCOMPARE(server->value(q("/plant/tank2/secret/code")), QVariant(4711));
    client.create(qPrintable(spelling + q("/Label")));
    QCOMPARE(client.taken(), spelling + q("/Label=\"\" coc-"));

    const QString unknown = QString(spelling).replace(q("code"), q("none"));
    client.create(qPrintable(unknown));
    QCOMPARE(client.taken(), unknown + q("=null --c-")); // the same event
}

void tst_Roles::unreadable_isNotTold()
{
    QVERIFY(setRole("viewer", "/plant/*/level"));
    Client client(server.get(), "viewer");
    client.create("/plant/tank2/secret/code");
    client.create("/plant/tank2/secret/code/Label");
    client.taken();
    server->setValue(q("/plant/tank2/secret/code"), 1);
    server->setState(q("/plant/tank2/secret/code"), false, false, false, true);
    server->setLabel(q("/plant/tank2/secret/code"), q("Another"));
    server->remove(q("/plant/tank2/secret/code"));
    QCOMPARE(client.taken(), QString());
}

void tst_Roles::unreadable_isNotListed()
{
    QVERIFY(setRole("viewer", "/plant/*/level"));
    Client client(server.get(), "viewer");
    QCOMPARE(listed(client, ""), q("/plant"));
    QCOMPARE(listed(client, "plant"), q("/plant/tank1 /plant/tank2"));
    QCOMPARE(listed(client, "plant/tank1"), q("/plant/tank1/level:double"));
    QCOMPARE(listed(client, "plant/tank2"), q("/plant/tank2/level:double"));
    QCOMPARE(listed(client, "plant/tank2/secret"), q(""));
    QCOMPARE(listed(client, "office"), q(""));
}

void tst_Roles::level_isListedIfItLeadsToSomething()
{
    QVERIFY(setRole("guard", "/**/code /office/nothing"));
    Client client(server.get(), "guard");
    QCOMPARE(listed(client, ""), q("/plant"));
    QCOMPARE(listed(client, "plant"), q("/plant/tank2"));
    server->remove(q("/plant/tank2/secret/code"));
    QCOMPARE(listed(client, ""), q(""));
    // A level that is also an unreadable keyword has no type.
    server->declare(keyword("/hidden", "int", 1));
    server->declare(keyword("/hidden/code", "int", 1));
    QCOMPARE(listed(client, ""), q("/hidden"));
}

void tst_Roles::write_needsBothRights_data()
{
    QTest::addColumn<QString>("read");
    QTest::addColumn<QString>("write");
    QTest::addColumn<QString>("answer");
    QTest::newRow("both") << q("/**") << q("/plant/*/level") << q("/plant/tank1/level=1 coc-");
    QTest::newRow("reading") << q("/**") << q("/plant/*/setpoint")
                             << q("/plant/tank1/level=12.5 coce");
    QTest::newRow("writing") << q("/plant/*/setpoint") << q("/**")
                             << q("/plant/tank1/level=null --ce");
    QTest::newRow("none") << QString() << QString() << q("/plant/tank1/level=null --ce");
}

void tst_Roles::write_needsBothRights()
{
    QFETCH(QString, read);
    QFETCH(QString, write);
    QVERIFY(setRole("operator", qPrintable(read), qPrintable(write)));
    Client client(server.get(), "operator");
    client.create("/plant/tank1/level");
    client.taken();
    client.update("/plant/tank1/level", "1");
    QTEST(client.taken(), "answer");
}

void tst_Roles::label_followsItsKeyword()
{
    QVERIFY(setRole("viewer", "/plant/*/level"));
    Client client(server.get(), "viewer");
    client.create("/plant/tank1/level/Label");
    client.create("/plant/tank1/Label");
    client.create("/plant/tank2/secret/Label");
    QCOMPARE(client.taken(),
             q("/plant/tank1/level/Label=\"Level 1\" coc- | /plant/tank1/Label=\"Tank 1\" coc- | "
               "/plant/tank2/secret/Label=\"\" coc-"));
}

void tst_Roles::label_followsWhatIsReadable()
{
    QVERIFY(setRole("viewer", "/plant/tank1/pump/x /plant/tank1/y"));
    Client client(server.get(), "viewer");
    client.create("/plant/tank1/Label");
    client.command("keyCreateOrUpdate",
                   R"({"keyword":"/agg","children":["/plant/tank1/Label"],"aggregation":"eql"})");
    const auto told = [&client] {
        QStringList events = client.taken().split(q(" | "));
        events.sort();
        return events.join(q(" | "));
    };
    const QString none = q("/agg=\"\" coc- | /plant/tank1/Label=\"\" coc-");
    const QString shown = q("/agg=\"Tank 1\" coc- | /plant/tank1/Label=\"Tank 1\" coc-");
    QCOMPARE(told(), none);
    server->declare(keyword("/plant/tank1/pump/x", "int", 1));
    QCOMPARE(told(), shown);
    server->declare(keyword("/plant/tank1/y", "int", 1));
    server->remove(q("/plant/tank1/pump/x"));
    QCOMPARE(told(), QString());
    server->remove(q("/plant/tank1/y"));
    QCOMPARE(told(), none);
}

// Otherwise, a client could tell from the events that something unreadable is declared or removed.
void tst_Roles::label_hidesWhatIsUnreadable()
{
    QVERIFY(setRole("viewer", "/plant/tank1/level"));
    Client client(server.get(), "viewer");
    for (const char *path : {"/plant/tank1/Label", "/plant/tank2/secret/Label",
                             "/plant/tank2/secret/code/Label", "/plant/tank1/new/Label"})
        client.create(path);
    client.taken();
    server->declare(keyword("/plant/tank1/new", "int", 1, "RW", "New"));
    server->declare(keyword("/plant/tank2/secret/more", "int", 1, "RW", "More"));
    server->remove(q("/plant/tank1/new"));
    server->remove(q("/plant/tank2/secret/more"));
    server->remove(q("/plant/tank2/secret/code"));
    server->declare(keyword("/plant/tank2/secret/code", "int", 1, "RW", "Code"));
    QCOMPARE(client.taken(), QString());
}

void tst_Roles::label_followsTheRole()
{
    QVERIFY(setRole("viewer", "/plant/tank1/level"));
    Client client(server.get(), "viewer");
    client.create("/plant/tank1/Label");
    QCOMPARE(client.taken(), q("/plant/tank1/Label=\"Tank 1\" coc-"));
    QVERIFY(setRole("viewer", "/plant/tank2/level"));
    QCOMPARE(client.taken(), q("/plant/tank1/Label=\"\" coc-"));
    server->setLabel(q("/plant/tank1"), q("Another"));
    QCOMPARE(client.taken(), QString());
    QVERIFY(setRole("viewer", "/plant/tank1/*"));
    QCOMPARE(client.taken(), q("/plant/tank1/Label=\"Another\" coc-"));
    server->setLabel(q("/plant/tank1"), QString());
    QCOMPARE(client.taken(), q("/plant/tank1/Label=\"\" coc-"));
}

void tst_Roles::aggregate_hasTheRightsOfItsSession()
{
    QVERIFY(setRole("viewer", "/plant/*/level"));
    const char *const payload =
        R"({"keyword":"/sum","children":["/plant/tank1/level","/plant/tank2/secret/code"],"aggregation":"sum"})";
    Client all(server.get()), viewer(server.get(), "viewer");
    viewer.command("keyCreateOrUpdate", payload);
    all.command("keyCreateOrUpdate", payload);
    QCOMPARE(all.taken(), q("/sum=4723.5 co--"));
    QCOMPARE(viewer.taken(), q("/sum=12.5 ----"));
    server->setValue(q("/plant/tank2/secret/code"), 1);
    QCOMPARE(all.taken(), q("/sum=13.5 co--"));
    QCOMPARE(viewer.taken(), QString());
    server->setValue(q("/plant/tank1/level"), 1.0);
    QCOMPARE(all.taken(), q("/sum=2 co--"));
    QCOMPARE(viewer.taken(), q("/sum=1 ----"));
}

void tst_Roles::role_thatDoesNotExistHasNoRights()
{
    Client client(server.get(), "unknown");
    client.create("/office/door");
    QCOMPARE(client.taken(), q("/office/door=null --c-"));
    QCOMPARE(listed(client, ""), QString());
    QVERIFY(setRole("unknown", "/office/**"));
    QCOMPARE(client.taken(), q("/office/door=false coc-"));
}

void tst_Roles::role_canBeReplaced()
{
    QVERIFY(setRole("viewer", "/plant/**"));
    Client client(server.get(), "viewer"), other(server.get());
    client.create("/plant/tank1/level");
    client.create("/office/door");
    client.command("keyCreateOrUpdate",
                   R"({"keyword":"/any","children":["/office/door"],"aggregation":"bool_or"})");
    other.create("/office/door");
    client.taken();
    other.taken();
    QVERIFY(setRole("viewer", "/office/**"));
    QStringList told = client.taken().split(q(" | "));
    told.sort();
    QCOMPARE(told,
             QStringList({q("/any=false coc-"), q("/office/door=false coc-"),
                          q("/plant/tank1/level=null --c-")}));
    server->setValue(q("/plant/tank1/level"), 1.0);
    server->setValue(q("/office/door"), true);
    told = client.taken().split(q(" | "));
    told.sort();
    QCOMPARE(told, QStringList({q("/any=true coc-"), q("/office/door=true coc-")}));
    QCOMPARE(other.taken(), q("/office/door=true coc-"));
}

// What a session may no longer read is not sent, even if it was requested before.
void tst_Roles::role_appliesToRepliesThatWait()
{
    QVERIFY(setRole("operator", "/**", "/plant/**"));
    server->setWriteCheck(q("/plant/tank1/level"),
                          [](const QVariant &value) { return value.toDouble() == 12.5; });
    Client client(server.get(), "operator");
    client.session->pause();
    client.command("keyIndex", R"({"factory":"plant"})");
    client.command("keyIndex", R"({"factory":"office"})");
    client.update("/plant/tank1/level", "2.5");
    client.update("/plant/tank1/level", "12.5"); // which ends the refusal
    QVERIFY(client.session->waitingBytes() > 0);
    QVERIFY(setRole("operator", "/office/**"));
    client.session->resume();
    QCOMPARE(client.taken(),
             q(" | /office/door | /plant/tank1/level=null --ce | /plant/tank1/level=null --c-"));
}

void tst_Roles::role_canBeRemoved()
{
    QVERIFY(setRole("viewer", "/plant/**"));
    Client client(server.get(), "viewer");
    client.create("/plant/tank1/level");
    client.taken();
    QSignalSpy removed(server.get(), &KeywordServer::roleRemoved);
    QVERIFY(!server->removeRole(q("nobody")));
    QVERIFY(server->removeRole(q("viewer")));
    QCOMPARE(removed.count(), 1);
    QCOMPARE(removed.first().first().toString(), q("viewer"));
    QCOMPARE(client.taken(), q("/plant/tank1/level=null --c-"));
}

// The time for a comparison must not double with each pair of wildcards.
void tst_Roles::manyStars_areQuick()
{
    QString pattern, path;
    for (int i = 0; i < 60; ++i) {
        pattern += q("/**/a");
        path += q("/a");
    }
    path += q("/b");
    server->declare(keyword(qPrintable(path), "int", 1));
    QVERIFY(server->setRole({q("viewer"), {pattern}, {}}));
    Client client(server.get(), "viewer");
    client.create(qPrintable(path));
    QVERIFY(client.taken().endsWith(q("=null --c-")));
}

QTEST_GUILESS_MAIN(tst_Roles)
#include "tst_roles.moc"
