// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"
#include "tests/support/metaobject.h"
#include "tests/support/recordingclient.h"
#include "tests/support/signallog.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QHashFunctions>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>
#include <QtCore/QSet>
#include <QtTest/QAbstractItemModelTester>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>
#include <memory>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// The identifier of the client's last index query.
QString lastQuery(const RecordingClient &client)
{
    for (auto command = client.sent.crbegin(); command != client.sent.crend(); ++command) {
        const QJsonObject message = QJsonDocument::fromJson(command->toUtf8()).object();
        if (message.value(q("cmd")) == q("keyIndex"))
            return message.value(q("payload")).toObject().value(q("uuid")).toString();
    }
    return QString();
}

// Replies to the last query; items are {"name", "type"} pairs.
bool answer(RecordingClient &client, const QList<QPair<QString, QString>> &items,
            const QString &id = QString())
{
    QJsonArray list;
    for (const auto &[name, type] : items)
        list.append(QJsonObject {{q("name"), name}, {q("type"), type}});
    const QJsonObject message {
        {q("cmd"), q("keyIndex")},
        {q("payload"),
         QJsonObject {
             {q("request"), QJsonObject {{q("uuid"), id.isEmpty() ? lastQuery(client) : id}}},
             {q("response"), list}}}};
    return client.receiveCommand(QJsonDocument(message).toJson());
}

// The rows as "keyword=value" for one role, sorted.
QString rows(const PKeywordQueryModel &model, int role)
{
    QStringList texts;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QModelIndex index = model.index(row, 0);
        texts << index.data(PKeywordQueryModel::KeywordRole).toString() + q("=")
                + index.data(role).toString();
    }
    texts.sort();
    return texts.join(q(" "));
}

// The names, in the order of the rows.
QString shown(const QAbstractItemModel &model)
{
    QStringList names;
    for (int row = 0; row < model.rowCount(); ++row)
        names << model.index(row, 0).data(PKeywordQueryModel::NameRole).toString();
    return names.join(q(" "));
}

int rowOf(const PKeywordQueryModel &model, const char *keyword)
{
    for (int row = 0; row < model.rowCount(); ++row) {
        if (model.index(row, 0).data(PKeywordQueryModel::KeywordRole).toString() == q(keyword))
            return row;
    }
    return -1;
}

} // namespace

class tst_KeywordQueryModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void metaObject_keepsItsOrder();
    void construction_hasDefaults();
    void roles_haveNumbersAndNames();
    void types_haveLettersAndColours_data();
    void types_haveLettersAndColours();
    void syntax_followsTheRules_data();
    void syntax_followsTheRules();
    void getParentKeyword_climbs_data();
    void getParentKeyword_climbs();
    void setKeyword_alwaysAsks();
    void setKeyword_withoutClient();
    void filters_ask();
    void setKeywordClient_asks();
    void refusedQuery_isNotAwaited();
    void queryWithoutConnection_staysLoading();
    void response_listsTheChildren();
    void response_oddItems_data();
    void response_oddItems();
    void response_orderOfRowsDependsOnTheChildrenAlone();
    void response_sameNumbersAreListedInOneOrder();
    void destroyedClient_nullIsStillAChange();
    void inherited_callsAreNotHidden();
    void response_withoutRequestIsListed();
    void response_ofAnotherQueryIsIgnored();
    void response_malformedEmptiesTheModel_data();
    void response_malformedEmptiesTheModel();
    void labels_replaceTheName();
    void labels_oldProxiesGo();
    void labels_betweenSetKeywordAndAnswer();
    void strayRow_isReadSafely();
    void storedFilter_holdsNothing();
    void synchronousAnswer_isDropped();
    void setKeyword_fromAResetHandler();
    void logging_showsItsSteps();
    void clientFirst_readsAsNotSet();
    void handlers_mayDeleteModelOrClient_data();
    void handlers_mayDeleteModelOrClient();
    void labelStorm_isLinear();
};

void tst_KeywordQueryModel::metaObject_keepsItsOrder()
{
    const QMetaObject &meta = PKeywordQueryModel::staticMetaObject;
    QCOMPARE(meta.className(), "pellix::client::PKeywordQueryModel");
    QCOMPARE(meta.superClass(), &QAbstractItemModel::staticMetaObject);
    QCOMPARE(ownProperties(meta),
             names("keywordClient w keywordClientChanged, keyword w keywordChanged, "
                   "normalizedKeyword keywordChanged, normalizedKeywordParts keywordChanged, "
                   "storedFilter w storedFilterChanged, loading loadingChanged, "
                   "filterAccess w filterAccessChanged, filterType w filterTypeChanged"));
    QCOMPARE(ownMethods(meta),
             names("signal keywordClientChanged(), signal keywordChanged(), "
                   "signal loadingChanged(), signal storedFilterChanged(), "
                   "signal filterAccessChanged(), signal filterTypeChanged(), "
                   "method getTypeLetter(QString), method getTypeColor(QString), "
                   "method getCleanKeyword(QString), method getParentKeyword(QString,int), "
                   "method getParentKeyword(QString), method splitKeyword(QString), "
                   "method joinKeyword(QStringList)"));
}

void tst_KeywordQueryModel::construction_hasDefaults()
{
    PKeywordQueryModel model;
    const QAbstractItemModelTester tester(&model);
    QCOMPARE(model.keywordClient(), nullptr);
    QCOMPARE(model.keyword(), QString());
    QCOMPARE(model.normalizedKeyword(), q("/"));
    QCOMPARE(model.normalizedKeywordParts(), QStringList());
    QCOMPARE(model.storedFilter(), QString());
    QVERIFY(!model.loading());
    QCOMPARE(model.filterAccess(), PKeywordValueAccess::KVA_NONE);
    QCOMPARE(model.filterType(), PKeywordValueType::KVT_NOPROP);
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(model.columnCount(), 1);
}

void tst_KeywordQueryModel::roles_haveNumbersAndNames()
{
    const PKeywordQueryModel model;
    QCOMPARE(model.roleNames(),
             (QHash<int, QByteArray> {{257, "name"},
                                      {258, "type"},
                                      {259, "typeLetter"},
                                      {260, "typeColor"},
                                      {261, "keyword"},
                                      {262, "normalizedKeyword"},
                                      {263, "displayName"}}));
}

void tst_KeywordQueryModel::types_haveLettersAndColours_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("letter");
    QTest::addColumn<QString>("colour");
    QTest::newRow("double") << q("double") << q("N") << q("#ff76608a");
    QTest::newRow("int") << q("int") << q("N") << q("#ff76608a");
    QTest::newRow("string") << q("string") << q("T") << q("#ff6d8764");
    QTest::newRow("bool") << q("bool") << q("B") << q("#fff0a30a");
    QTest::newRow("object") << q("object") << q("O") << q("#ff825a2c");
    QTest::newRow("empty") << QString() << q(">") << q("#ff505050");
    QTest::newRow("other case") << q("Bool") << q(">") << q("#ff505050");
    QTest::newRow("unknown") << q("float") << q(">") << q("#ff505050");
}

void tst_KeywordQueryModel::types_haveLettersAndColours()
{
    QFETCH(QString, type);
    QFETCH(QString, letter);
    QFETCH(QString, colour);
    RecordingClient client;
    PKeywordQueryModel model;
    QCOMPARE(model.getTypeLetter(type), letter);
    QCOMPARE(model.getTypeColor(type).name(QColor::HexArgb), colour);
    model.setKeywordClient(&client);
    answer(client, {{q("/a"), type}});
    QCOMPARE(model.index(0, 0).data(258).toString(), type);
    QCOMPARE(model.index(0, 0).data(259).toString(), letter);
    QCOMPARE(model.index(0, 0).data(260).value<QColor>().name(QColor::HexArgb), colour);
}

void tst_KeywordQueryModel::syntax_followsTheRules_data()
{
    QTest::addColumn<QString>("keyword");
    QTest::addColumn<QString>("clean");
    QTest::addColumn<QString>("parts");
    QTest::newRow("plain") << q("a/b") << q("/a/b") << q("a|b");
    QTest::newRow("doubled") << q("/a//b") << q("/a/b") << q("a|b");
    QTest::newRow("three") << q("a///b") << q("/a//b") << q("a|b");
    QTest::newRow("#") << q("a#b") << q("/a#b") << q("a|b");
    QTest::newRow("empty") << QString() << q("/") << QString();
    QTest::newRow("trailing") << q("a/") << q("/a/") << q("a");
    QTest::newRow("blanks are a level here") << q("   ") << q("/   ") << q("   ");
}

void tst_KeywordQueryModel::syntax_followsTheRules()
{
    QFETCH(QString, keyword);
    QFETCH(QString, clean);
    QFETCH(QString, parts);
    const PKeywordQueryModel model;
    QCOMPARE(model.getCleanKeyword(keyword), clean);
    QCOMPARE(model.splitKeyword(keyword).join(q("|")), parts);
    QCOMPARE(model.joinKeyword({q("a"), q("b")}), q("/a/b"));
    QCOMPARE(model.joinKeyword({}), q("/"));
    QCOMPARE(model.joinKeyword({QString(), q("x")}), q("/x"));
}

void tst_KeywordQueryModel::getParentKeyword_climbs_data()
{
    QTest::addColumn<QString>("keyword");
    QTest::addColumn<int>("distance");
    QTest::addColumn<QString>("parent");
    QTest::newRow("1") << q("/a/b/c") << 1 << q("/a/b");
    QTest::newRow("2") << q("/a/b/c") << 2 << q("/a");
    QTest::newRow("too far") << q("/a") << 5 << q("/");
    QTest::newRow("#") << q("a#b") << 1 << q("/a");
    QTest::newRow("0") << q("/a#b") << 0 << q("/a/b");
    QTest::newRow("negative") << q("/a/b") << -3 << q("/a/b");
    QTest::newRow("root") << q("/") << 1 << q("/");
    QTest::newRow("empty") << QString() << 0 << q("/");
    QTest::newRow("largest") << q("/a/b") << std::numeric_limits<int>::max() << q("/");
    QTest::newRow("smallest") << q("/a/b") << std::numeric_limits<int>::min() << q("/a/b");
}

void tst_KeywordQueryModel::getParentKeyword_climbs()
{
    QFETCH(QString, keyword);
    QFETCH(int, distance);
    QFETCH(QString, parent);
    const PKeywordQueryModel model;
    QCOMPARE(model.getParentKeyword(keyword, distance), parent);
    if (distance == 1)
        QCOMPARE(model.getParentKeyword(keyword), parent);
}

void tst_KeywordQueryModel::setKeyword_alwaysAsks()
{
    RecordingClient client;
    PKeywordQueryModel model;
    const QAbstractItemModelTester tester(&model);
    model.setKeywordClient(&client);
    client.taken();
    SignalLog log(&model);
    QSet<QString> ids;
    for (int i = 0; i < 2; ++i) {
        model.setKeyword(q("dev#1/a"));
        QCOMPARE(log.taken(),
                 q("modelAboutToBeReset modelReset keywordChanged storedFilterChanged "
                   "loadingChanged"));
        QCOMPARE(client.sent.size(), 1);
        QVERIFY(client.sent.constFirst().contains(
            q(R"("access":"N","factory":"dev","instance":"1","keyQuery":["a"],"uuid":)")));
        ids << lastQuery(client);
        client.taken();
        QVERIFY(model.loading());
    }
    QCOMPARE(ids.size(), 2);
    QCOMPARE(model.keyword(), q("/dev#1/a"));
    QCOMPARE(model.normalizedKeyword(), q("/dev/1/a"));
    QCOMPARE(model.normalizedKeywordParts(), QStringList({q("dev"), q("1"), q("a")}));
}

void tst_KeywordQueryModel::setKeyword_withoutClient()
{
    PKeywordQueryModel model;
    SignalLog log(&model);
    model.setKeyword(q("/a"));
    QCOMPARE(log.taken(), q("modelAboutToBeReset modelReset keywordChanged storedFilterChanged"));
    QVERIFY(!model.loading());
}

void tst_KeywordQueryModel::filters_ask()
{
    RecordingClient client;
    PKeywordQueryModel model;
    model.setKeywordClient(&client);
    client.taken();
    SignalLog log(&model);
    model.setFilterType(PKeywordValueType::KVT_DOUBLE);
    QCOMPARE(log.taken(), q("filterTypeChanged loadingChanged"));
    QVERIFY(client.taken().contains(q(R"("type":"double")")));
    model.setFilterType(PKeywordValueType::KVT_DOUBLE);
    QCOMPARE(log.taken(), QString());
    model.setFilterAccess(PKeywordValueAccess::KVA_READWRITE);
    QCOMPARE(log.taken(), q("filterAccessChanged loadingChanged"));
    QVERIFY(client.taken().contains(q(R"("access":"RW")")));
    model.setFilterAccess(PKeywordValueAccess::KVA_READWRITE);
    QCOMPARE(log.taken(), QString());
}

void tst_KeywordQueryModel::setKeywordClient_asks()
{
    RecordingClient first, second;
    PKeywordQueryModel model;
    SignalLog log(&model);
    model.setKeywordClient(&first);
    QCOMPARE(log.taken(), q("keywordClientChanged loadingChanged"));
    model.setKeywordClient(&first);
    QCOMPARE(log.taken(), QString());
    const QString id = lastQuery(first);
    model.setKeywordClient(&second);
    QCOMPARE(log.taken(), q("keywordClientChanged loadingChanged"));
    answer(first, {{q("/a"), q("int")}}, lastQuery(second)); // ignored: not the current client
    QCOMPARE(model.rowCount(), 0);
    model.setKeywordClient(nullptr);
    QCOMPARE(log.taken(), q("keywordClientChanged"));
    QVERIFY(model.loading()); // until the reply to a later query
    answer(second, {{q("/a"), q("int")}});
    QCOMPARE(model.rowCount(), 0);
    model.setKeywordClient(&first);
    answer(first, {{q("/a"), q("int")}});
    QCOMPARE(model.rowCount(), 1);
    QVERIFY(!model.loading());
    QVERIFY(!id.isEmpty());
}

void tst_KeywordQueryModel::refusedQuery_isNotAwaited()
{
    RecordingClient client;
    PKeywordQueryModel model;
    model.setKeywordClient(&client);
    answer(client, {{q("/a"), q("int")}});
    client.accepts = false;
    SignalLog log(&model);
    model.setFilterType(PKeywordValueType::KVT_INT);
    QCOMPARE(log.taken(), q("filterTypeChanged loadingChanged"));
    QVERIFY(!model.loading());
    QCOMPARE(model.rowCount(), 1);
    answer(client, {});
    QCOMPARE(model.rowCount(), 1);
}

void tst_KeywordQueryModel::queryWithoutConnection_staysLoading()
{
    RecordingClient client;
    client.publisher()->setActive(false);
    PKeywordQueryModel model;
    model.setKeywordClient(&client);
    QVERIFY(model.loading());
    client.taken();
    client.publisher()->setActive(true);
    QCOMPARE(client.taken(), QString()); // not queried again
    QVERIFY(model.loading());
    client.publisher()->setActive(false); // not even if a query is lost
    client.publisher()->setActive(true);
    QCOMPARE(client.taken(), QString());
    QVERIFY(model.loading());
    model.setKeyword(q("/x"));
    answer(client, {{q("/x/a"), q("int")}});
    QVERIFY(!model.loading());
}

void tst_KeywordQueryModel::response_listsTheChildren()
{
    RecordingClient client;
    PKeywordQueryModel model;
    const QAbstractItemModelTester tester(&model);
    model.setKeywordClient(&client);
    client.taken();
    model.setKeyword(q("/p"));
    QCOMPARE(model.rowCount(), 0);
    SignalLog log(&model);
    QVERIFY(answer(client, {{q("/p/q#r"), q("double")}, {q("p/s"), q("bool")}}));
    QCOMPARE(log.taken(), q("modelAboutToBeReset modelReset loadingChanged"));
    QVERIFY(!model.loading());
    QCOMPARE(rows(model, 257), q("/p/q#r=r /p/s=s"));
    QCOMPARE(rows(model, 258), q("/p/q#r=double /p/s=bool"));
    QCOMPARE(rows(model, 259), q("/p/q#r=N /p/s=B"));
    QCOMPARE(rows(model, 262), q("/p/q#r=/p/q/r /p/s=/p/s"));
    QCOMPARE(rows(model, 263), q("/p/q#r=r /p/s=s"));
    const QString commands = client.taken();
    QVERIFY(commands.contains(q("\"/p/q#r/Label\"")));
    QVERIFY(commands.contains(q("\"/p/s/Label\"")));
    for (const int role : {int(Qt::DisplayRole), 256, 264, -1})
        QVERIFY(!model.data(model.index(0, 0), role).isValid());
    QVERIFY(!model.data({}, 257).isValid());
    QCOMPARE(model.rowCount(model.index(0, 0)), 0);
    QVERIFY(!model.index(2, 0).isValid());
    QVERIFY(!model.index(0, 1).isValid());
    QVERIFY(!model.parent(model.index(0, 0)).isValid());
}

void tst_KeywordQueryModel::response_oddItems_data()
{
    QTest::addColumn<QString>("items");
    QTest::addColumn<QString>("rowsText");
    QTest::newRow("no name") << q(R"({"type":"int"})") << q("/= int /");
    QTest::newRow("trailing separator") << q(R"({"name":"/a/b/"})") << q("/a/b/=  /a/b/");
    QTest::newRow("twice, the last wins")
        << q(R"({"name":"/a","type":"int"},{"name":"/a","type":"bool"})") << q("/a=a bool /a");
    QTest::newRow("two spellings of one keyword")
        << q(R"({"name":"a","type":"int"},{"name":"/a","type":"bool"})") << q("/a=a bool /a");
    QTest::newRow("doubled separator") << q(R"({"name":"/a//b"})") << q("/a//b=b  /a/b");
    QTest::newRow("leading #") << q(R"({"name":"#a"})") << q("/#a=a  /a");
    QTest::newRow("no object") << q(R"(5)") << q("/=  /");
    QTest::newRow("name a number") << q(R"({"name":5})") << q("/5=5  /5");
    QTest::newRow("blank") << q(R"({"name":" "})") << q("/ =   / ");
}

void tst_KeywordQueryModel::response_oddItems()
{
    QFETCH(QString, items);
    QFETCH(QString, rowsText);
    RecordingClient client;
    PKeywordQueryModel model;
    const QAbstractItemModelTester tester(&model);
    model.setKeywordClient(&client);
    client.receive(q(R"({"cmd":"keyIndex","payload":{"request":{"uuid":"%1"},"response":[%2]}})")
                       .arg(lastQuery(client), items));
    QCOMPARE(model.rowCount(), 1);
    const QModelIndex index = model.index(0, 0);
    QCOMPARE(q("%1=%2 %3 %4")
                 .arg(index.data(261).toString(), index.data(257).toString(),
                      index.data(258).toString(), index.data(262).toString()),
             rowsText);
}

void tst_KeywordQueryModel::response_orderOfRowsDependsOnTheChildrenAlone()
{
    QStringList children {q("10"), q("100"), q("1a"), q("2"), q("2b"), q("9")};
    do {
        // As in another process: hash tables created after this have another order.
        QHashSeed::resetRandomGlobalSeed();
        RecordingClient client;
        PKeywordQueryModel model;
        PKeywordQueryFilterProxyModel filter;
        filter.setSourceModel(&model);
        model.setKeywordClient(&client);
        QList<QPair<QString, QString>> items;
        for (const QString &child : children)
            items.append({q("/") + child, q("int")});
        items.append(items.constFirst()); // a duplicate
        answer(client, items);

        // This order must never change, because it determines lists on screens.
        QCOMPARE(shown(model), q("9 2 100 2b 10 1a"));
        QCOMPARE(shown(filter), q("2 9 10 100 1a 2b"));
    } while (std::next_permutation(children.begin(), children.end()));
}

void tst_KeywordQueryModel::response_sameNumbersAreListedInOneOrder()
{
    QStringList children {q("+7"), q("007"), q("07"), q("7"), q("8")};
    QSet<QString> orders;
    do {
        QHashSeed::resetRandomGlobalSeed();
        RecordingClient client;
        PKeywordQueryModel model;
        PKeywordQueryFilterProxyModel filter;
        filter.setSourceModel(&model);
        model.setKeywordClient(&client);
        QList<QPair<QString, QString>> items;
        for (const QString &child : std::as_const(children))
            items.append({q("/") + child, q("int")});
        answer(client, items);
        orders.insert(shown(filter));
    } while (std::next_permutation(children.begin(), children.end()));

    QCOMPARE(orders.size(), 1);
    QVERIFY(orders.cbegin()->endsWith(q(" 8")));
}

void tst_KeywordQueryModel::destroyedClient_nullIsStillAChange()
{
    auto client = std::make_unique<RecordingClient>();
    PKeywordQueryModel model;
    model.setKeywordClient(client.get());
    QSignalSpy changed(&model, &PKeywordQueryModel::keywordClientChanged);

    client.reset();
    QCOMPARE(model.keywordClient(), nullptr);
    QCOMPARE(changed.count(), 0);
    model.setKeywordClient(nullptr);
    QCOMPARE(changed.count(), 1);
    model.setKeywordClient(nullptr);
    QCOMPARE(changed.count(), 1);
}

void tst_KeywordQueryModel::inherited_callsAreNotHidden()
{
    QObject owner;
    auto *const model = new PKeywordQueryModel(&owner);
    RecordingClient client;
    model->setKeywordClient(&client);
    answer(client, {{q("/a"), q("int")}});

    QCOMPARE(model->parent(), &owner); // next to the overload with an index
    QVERIFY(!model->data(model->index(0, 0)).isValid()); // the default role
}

void tst_KeywordQueryModel::response_withoutRequestIsListed()
{
    RecordingClient client;
    PKeywordQueryModel model;
    model.setKeywordClient(&client);
    const QJsonObject message {
        {q("payload"),
         QJsonObject {{q("response"), QJsonArray {QJsonObject {{q("name"), q("/a")}}}}}}};
    Q_EMIT client.keyIndexResponse(QUuid(lastQuery(client)), message);
    QCOMPARE(model.rowCount(), 1);
}

void tst_KeywordQueryModel::response_ofAnotherQueryIsIgnored()
{
    RecordingClient client;
    PKeywordQueryModel model;
    model.setKeywordClient(&client);
    const QString superseded = lastQuery(client);
    model.setKeyword(q("/a"));
    SignalLog log(&model);
    QVERIFY(answer(client, {{q("/x"), q("int")}}, superseded));
    QVERIFY(answer(client, {{q("/x"), q("int")}}, QUuid::createUuid().toString()));
    QCOMPARE(log.taken(), QString());
    QVERIFY(model.loading());
    QVERIFY(answer(client, {{q("/a/b"), q("int")}}));
    QCOMPARE(rows(model, 257), q("/a/b=b"));
    QVERIFY(answer(client, {{q("/a/c"), q("int")}})); // a second reply
    QCOMPARE(rows(model, 257), q("/a/b=b"));
}

void tst_KeywordQueryModel::response_malformedEmptiesTheModel_data()
{
    QTest::addColumn<QVariant>("response");
    QTest::newRow("invalid") << QVariant();
    QTest::newRow("text") << QVariant(q("x"));
    QTest::newRow("empty") << QVariant(QJsonObject());
    QTest::newRow("no response") << QVariant(QJsonObject {{q("payload"), QJsonObject()}});
    QTest::newRow("response no list")
        << QVariant(QJsonObject {{q("payload"), QJsonObject {{q("response"), 5}}}});
}

void tst_KeywordQueryModel::response_malformedEmptiesTheModel()
{
    QFETCH(QVariant, response);
    RecordingClient client;
    PKeywordQueryModel model;
    const QAbstractItemModelTester tester(&model);
    model.setKeywordClient(&client);
    answer(client, {{q("/a"), q("int")}});
    QCOMPARE(model.findChildren<PKeywordProxy *>().size(), 1);
    model.setFilterType(PKeywordValueType::KVT_INT);
    Q_EMIT client.keyIndexResponse(QUuid(lastQuery(client)), response);
    QCOMPARE(model.rowCount(), 0);
    QVERIFY(!model.loading());
    QCOMPARE(model.findChildren<PKeywordProxy *>().size(), 0);
}

void tst_KeywordQueryModel::labels_replaceTheName()
{
    RecordingClient client;
    PKeywordQueryModel model;
    const QAbstractItemModelTester tester(&model);
    model.setKeywordClient(&client);
    answer(client, {{q("/a"), q("int")}, {q("/b"), q("int")}});
    QSignalSpy changed(&model, &PKeywordQueryModel::dataChanged);
    client.event(q("/b/Label"), q("\"Bee\""));
    QCOMPARE(rows(model, 257), q("/a=a /b=Bee"));
    QCOMPARE(rows(model, 263), q("/a=a /b=Bee"));
    QCOMPARE(changed.count(), 1);
    const QModelIndex index = model.index(rowOf(model, "/b"), 0);
    QCOMPARE(changed.at(0).at(0).toModelIndex(), index);
    QCOMPARE(changed.at(0).at(1).toModelIndex(), index);
    QCOMPARE(changed.at(0).at(2).value<QList<int>>(), QList<int>({263}));
    client.event(q("/b/Label"), q("\"\"")); // does not restore the name
    client.event(q("/b/Label"), q("\"Bee\""));
    client.event(q("/a/Label"), q("\"a\"")); // the same as before
    QCOMPARE(changed.count(), 1);
    client.event(q("/b/Label"), q("7"));
    QCOMPARE(rows(model, 257), q("/a=a /b=7"));
}

void tst_KeywordQueryModel::labels_oldProxiesGo()
{
    RecordingClient client;
    PKeywordQueryModel model;
    model.setKeywordClient(&client);
    answer(client, {{q("/a"), q("int")}, {q("/a"), q("int")}, {q("/b"), q("int")}});
    QCOMPARE(model.findChildren<PKeywordProxy *>().size(), 3);
    model.setKeyword(q("/x"));
    QCOMPARE(model.findChildren<PKeywordProxy *>().size(), 3);
    const QString id = lastQuery(client);
    client.taken();
    answer(client, {{q("/x/c"), q("int")}}, id);
    // Of the two proxies for /a, the earlier one remains as a child of the model.
    QCOMPARE(model.findChildren<PKeywordProxy *>().size(), 2);
    const QString commands = client.taken();
    QVERIFY(commands.contains(q(R"("keyDestroy","payload":{"keyword":"/b/Label"})")));
    QVERIFY(!commands.contains(q(R"("keyDestroy","payload":{"keyword":"/a/Label"})")));
}

void tst_KeywordQueryModel::labels_betweenSetKeywordAndAnswer()
{
    RecordingClient client;
    PKeywordQueryModel model;
    model.setKeywordClient(&client);
    answer(client, {{q("/a"), q("int")}});
    model.setKeyword(q("/x"));
    QCOMPARE(model.rowCount(), 0);
    QSignalSpy changed(&model, &PKeywordQueryModel::dataChanged);
    QSignalSpy resets(&model, &PKeywordQueryModel::modelReset);
    QSignalSpy inserts(&model, &PKeywordQueryModel::rowsInserted);
    client.event(q("/a/Label"), q("\"Late\""));
    QCOMPARE(model.rowCount(), 1);
    QCOMPARE(resets.count() + inserts.count(), 0);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.at(0).at(0).toModelIndex(), model.index(0, 0));
    QCOMPARE(model.index(0, 0).data(257).toString(), q("Late"));
    QCOMPARE(model.index(0, 0).data(261).toString(), QString());
    answer(client, {{q("/x/b"), q("int")}});
    QCOMPARE(rows(model, 257), q("/x/b=b"));
}

void tst_KeywordQueryModel::strayRow_isReadSafely()
{
    RecordingClient client;
    PKeywordQueryModel model;
    PKeywordQueryFilterProxyModel filter;
    filter.setSourceModel(&model);
    model.setKeywordClient(&client);
    answer(client, {{q("/a"), q("int")}, {q("/a"), q("int")}});
    model.setKeyword(q("/x"));
    answer(client, {}); // the earlier of the two proxies for /a still exists
    QCOMPARE(model.rowCount(), 0);
    QSignalSpy changed(&model, &PKeywordQueryModel::dataChanged);
    client.event(q("/a/Label"), q("\"Stray\""));
    QCOMPARE(model.rowCount(), 1);
    QCOMPARE(changed.count(), 1);
    QVERIFY(!changed.at(0).at(0).toModelIndex().isValid());
    const QModelIndex index = model.index(0, 0);
    QVERIFY(index.isValid());
    for (int role = 257; role <= 263; ++role)
        QVERIFY(!index.data(role).isValid());
    filter.setFilter(q("x"));
    filter.setFilter(QString());
    filter.sort(0, Qt::DescendingOrder);
    filter.sort(0, Qt::AscendingOrder);
    for (int row = 0; row < filter.rowCount(); ++row)
        QVERIFY(!filter.index(row, 0).data(257).isValid());
    model.setKeyword(q("/y"));
    answer(client, {{q("/y/b"), q("int")}});
    QCOMPARE(filter.rowCount(), 1);
}

void tst_KeywordQueryModel::storedFilter_holdsNothing()
{
    PKeywordQueryModel model;
    QSignalSpy spy(&model, &PKeywordQueryModel::storedFilterChanged);
    model.setStoredFilter(q("x"));
    QCOMPARE(model.storedFilter(), QString());
    QVERIFY(model.setProperty("storedFilter", q("y")));
    QCOMPARE(model.property("storedFilter").toString(), QString());
    QCOMPARE(spy.count(), 0);
}

void tst_KeywordQueryModel::synchronousAnswer_isDropped()
{
    RecordingClient client;
    PKeywordQueryModel model;
    client.answer = [&](const QByteArray &command) {
        if (command.contains("keyIndex"))
            answer(client, {{q("/a"), q("int")}});
    };
    model.setKeywordClient(&client);
    model.setKeyword(q("/x"));
    QCOMPARE(model.rowCount(), 0);
    QVERIFY(model.loading());
    client.answer = nullptr;
    answer(client, {{q("/a"), q("int")}});
    QCOMPARE(model.rowCount(), 1);
}

void tst_KeywordQueryModel::setKeyword_fromAResetHandler()
{
    RecordingClient client;
    PKeywordQueryModel model;
    model.setKeywordClient(&client);
    bool done = false;
    QObject scope;
    connect(&model, &QAbstractItemModel::modelReset, &scope, [&] {
        if (model.rowCount() == 1 && !std::exchange(done, true))
            model.setKeyword(q("/a/b"));
    });
    answer(client, {{q("/a"), q("int")}});
    QVERIFY(done);
    QCOMPARE(model.keyword(), q("/a/b"));
    QVERIFY(!model.loading()); // the previous reply has also ended the wait for the new query
    answer(client, {{q("/a/b/c"), q("int")}});
    QCOMPARE(model.rowCount(), 0);
    model.setKeyword(q("/a/b"));
    answer(client, {{q("/a/b/c"), q("int")}});
    QCOMPARE(rows(model, 257), q("/a/b/c=c"));
}

void tst_KeywordQueryModel::logging_showsItsSteps()
{
    PKeywordQueryModel model;
    model.setKeyword(q("/quiet"));
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.querymodel.debug=true"));
    QTest::ignoreMessage(QtDebugMsg, R"(SetKeyword "/a/b")");
    QTest::ignoreMessage(QtDebugMsg,
                         QRegularExpression(q(R"(^Refresh QObject\(0x0\) .*"a", "b")")));
    model.setKeyword(q("a/b"));
    QLoggingCategory::setFilterRules(QString());
}

void tst_KeywordQueryModel::clientFirst_readsAsNotSet()
{
    PKeywordQueryModel model;
    const QAbstractItemModelTester tester(&model);
    {
        RecordingClient client;
        model.setKeywordClient(&client);
        answer(client, {{q("/a"), q("int")}});
    }
    QCOMPARE(model.keywordClient(), nullptr);
    QCOMPARE(model.rowCount(), 1);
    model.setKeyword(q("/x"));
    model.setFilterType(PKeywordValueType::KVT_INT);
    RecordingClient next;
    model.setKeywordClient(&next);
    answer(next, {{q("/x/y"), q("int")}});
    QCOMPARE(rows(model, 257), q("/x/y=y"));
}

void tst_KeywordQueryModel::handlers_mayDeleteModelOrClient_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<int>("time");
    QTest::addColumn<bool>("killModel");
    for (const char *signal : {"modelAboutToBeReset", "modelReset", "keywordChanged",
                               "storedFilterChanged", "loadingChanged", "keywordClientChanged",
                               "filterTypeChanged", "dataChanged", "command"}) {
        // Enough times to cover the commands that unsubscribe from the labels of the first reply
        const int times = qstrcmp(signal, "command") == 0 ? 20 : 4;
        for (int time = 1; time <= times; ++time) {
            QTest::addRow("%s %d, model", signal, time) << QByteArray(signal) << time << true;
            QTest::addRow("%s %d, client", signal, time) << QByteArray(signal) << time << false;
        }
    }
}

void tst_KeywordQueryModel::handlers_mayDeleteModelOrClient()
{
    QFETCH(QByteArray, signal);
    QFETCH(int, time);
    QFETCH(bool, killModel);
    QPointer<RecordingClient> client = new RecordingClient;
    QPointer<PKeywordQueryModel> model = new PKeywordQueryModel;
    int times = 0;
    QObject scope;
    const auto act = [&] {
        if (++times != time)
            return;
        if (killModel)
            delete model;
        else
            delete client;
    };
    if (signal == "modelAboutToBeReset")
        connect(model, &QAbstractItemModel::modelAboutToBeReset, &scope, act);
    else if (signal == "modelReset")
        connect(model, &QAbstractItemModel::modelReset, &scope, act);
    else if (signal == "keywordChanged")
        connect(model, &PKeywordQueryModel::keywordChanged, &scope, act);
    else if (signal == "storedFilterChanged")
        connect(model, &PKeywordQueryModel::storedFilterChanged, &scope, act);
    else if (signal == "loadingChanged")
        connect(model, &PKeywordQueryModel::loadingChanged, &scope, act);
    else if (signal == "keywordClientChanged")
        connect(model, &PKeywordQueryModel::keywordClientChanged, &scope, act);
    else if (signal == "filterTypeChanged")
        connect(model, &PKeywordQueryModel::filterTypeChanged, &scope, act);
    else if (signal == "dataChanged")
        connect(model, &QAbstractItemModel::dataChanged, &scope, act);
    else if (killModel)
        client->answer = [&](const QByteArray &) { act(); };

    const auto both = [&] { return model && client; };
    if (both())
        model->setKeywordClient(client);
    for (const char *keyword : {"/a", "/b"}) {
        if (both())
            model->setKeyword(q(keyword));
        if (client)
            answer(*client, {{q("/p"), q("int")}, {q("/q"), q("int")}, {q("/r"), q("int")}});
        if (client)
            client->event(q("/q/Label"), q("\"%1\"").arg(q(keyword)));
        if (both())
            model->setFilterType(PKeywordValueType(keyword[1] - 'a' + 2));
    }
    if (both())
        model->setKeywordClient(nullptr);
    if (client)
        client->answer = nullptr;
    delete model;
    delete client;
    QVERIFY(times > 0 || !killModel);
}

// One label for each of 100 000 children: if the work for each label grew with the number of rows,
// the test would exceed its time limit.
void tst_KeywordQueryModel::labelStorm_isLinear()
{
    constexpr int count = 100000;
    RecordingClient client;
    PKeywordQueryModel model;
    model.setKeywordClient(&client);
    QList<QPair<QString, QString>> items;
    for (int i = 0; i < count; ++i)
        items.append({q("/n/k%1").arg(i), q("int")});
    // The second reply removes the labels of the first one.
    for (int round = 0; round < 2; ++round) {
        model.setKeyword(q("/n"));
        answer(client, items);
        client.sent.clear();
        QCOMPARE(model.rowCount(), count);
        QSignalSpy changed(&model, &PKeywordQueryModel::dataChanged);
        for (int i = 0; i < count; ++i)
            client.event(q("/n/k%1/Label").arg(i), q("\"Label %1\"").arg(i));
        QCOMPARE(changed.count(), count);
    }
    const int row = rowOf(model, "/n/k77777");
    QCOMPARE(model.index(row, 0).data(257).toString(), q("Label 77777"));
}

QTEST_GUILESS_MAIN(tst_KeywordQueryModel)
#include "tst_keywordquerymodel.moc"
