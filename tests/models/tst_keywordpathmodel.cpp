// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "models/keywordpathmodel.h"
#include "tests/support/metaobject.h"
#include "tests/support/signallog.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>
#include <QtTest/QAbstractItemModelTester>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QString column(const PKeywordPathModel &model, int role)
{
    QStringList values;
    for (int row = 0; row < model.rowCount(); ++row)
        values << model.index(row, 0).data(role).toString();
    return values.join(q("|"));
}

} // namespace

class tst_KeywordPathModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void metaObject_keepsItsOrder();
    void construction_isEmpty();
    void roles_haveNumbersAndNames();
    void keyword_isCleanedAndSplit_data();
    void keyword_isCleanedAndSplit();
    void setKeyword_signals();
    void setKeyword_threeSeparatorsResetEveryTime();
    void rows_showTheirRoles();
    void providerDisplayName_replacesTheFirstLevel();
    void providerDisplayName_signalsWithoutRowsToo();
    void shape_isAFlatList();
    void inherited_callsAreNotHidden();
    void logging_showsTheKeywordWhenEnabled();
    void handlers_mayDeleteTheModel_data();
    void handlers_mayDeleteTheModel();
};

void tst_KeywordPathModel::metaObject_keepsItsOrder()
{
    const QMetaObject &meta = PKeywordPathModel::staticMetaObject;
    QCOMPARE(meta.className(), "pellix::client::PKeywordPathModel");
    QCOMPARE(meta.superClass(), &QAbstractItemModel::staticMetaObject);
    QCOMPARE(ownProperties(meta),
             names("keyword w keywordChanged, normalizedKeyword keywordChanged, "
                   "providerDisplayName w providerDisplayNameChanged"));
    QCOMPARE(ownMethods(meta),
             names("signal keywordChanged(), signal providerDisplayNameChanged()"));
}

void tst_KeywordPathModel::construction_isEmpty()
{
    PKeywordPathModel model;
    const QAbstractItemModelTester tester(&model);
    QCOMPARE(model.keyword(), QString());
    QCOMPARE(model.normalizedKeyword(), q("/"));
    QCOMPARE(model.providerDisplayName(), QString());
    QCOMPARE(model.rowCount(), 0);
}

void tst_KeywordPathModel::roles_haveNumbersAndNames()
{
    const PKeywordPathModel model;
    QCOMPARE(model.roleNames(),
             (QHash<int, QByteArray> {
                 {257, "part"}, {258, "partDisplay"}, {259, "index"}, {260, "keyword"}}));
}

void tst_KeywordPathModel::keyword_isCleanedAndSplit_data()
{
    QTest::addColumn<QString>("keyword");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("parts");
    QTest::addColumn<QString>("normalized");
    const auto row = [](const char *keyword, const char *stored, const char *parts,
                        const char *normalized) {
        QTest::newRow(*keyword ? keyword : "empty")
            << q(keyword) << q(stored) << q(parts) << q(normalized);
    };
    row("a/b", "/a/b", "a|b", "/a/b");
    row("/a//b", "/a/b", "a|b", "/a/b");
    row("a#b", "/a#b", "a|b", "/a/b");
    row("", "/", "", "/");
    row("/", "/", "", "/");
    row("a/", "/a/", "a", "/a");
    row("a///b", "/a/b", "a|b", "/a/b"); // cleaned twice
    row("a/////b", "/a//b", "a|b", "/a/b");
    row("/a/b#c", "/a/b#c", "a|b|c", "/a/b/c");
    row("//a##b/", "/a##b/", "a|b", "/a/b");
    row("/x / y", "/x / y", "x | y", "/x / y");
    row("  ", "/  ", "  ", "/  ");
    row("/A/a", "/A/a", "A|a", "/A/a");
}

void tst_KeywordPathModel::keyword_isCleanedAndSplit()
{
    QFETCH(QString, keyword);
    QFETCH(QString, stored);
    QFETCH(QString, parts);
    QFETCH(QString, normalized);
    PKeywordPathModel model;
    const QAbstractItemModelTester tester(&model);
    model.setKeyword(keyword);
    QCOMPARE(model.keyword(), stored);
    QCOMPARE(column(model, 257), parts);
    QCOMPARE(model.normalizedKeyword(), normalized);
}

void tst_KeywordPathModel::setKeyword_signals()
{
    PKeywordPathModel model;
    const QAbstractItemModelTester tester(&model);
    SignalLog log(&model);
    model.setKeyword(QString());
    QCOMPARE(model.keyword(), q("/"));
    QCOMPARE(log.taken(), q("modelAboutToBeReset modelReset keywordChanged"));
    model.setKeyword(QString());
    model.setKeyword(q("/"));
    QCOMPARE(log.taken(), QString());
    model.setKeyword(q("/a"));
    QCOMPARE(log.taken(), q("modelAboutToBeReset modelReset keywordChanged"));
    model.setKeyword(q("a"));
    QCOMPARE(log.taken(), QString());
}

void tst_KeywordPathModel::setKeyword_threeSeparatorsResetEveryTime()
{
    PKeywordPathModel model;
    QSignalSpy resets(&model, &PKeywordPathModel::modelReset);
    QSignalSpy changes(&model, &PKeywordPathModel::keywordChanged);
    for (int i = 1; i <= 3; ++i) {
        model.setKeyword(q("a///b"));
        QCOMPARE(resets.count(), i);
        QCOMPARE(changes.count(), i);
        QCOMPARE(model.keyword(), q("/a/b"));
    }
}

void tst_KeywordPathModel::rows_showTheirRoles()
{
    PKeywordPathModel model;
    model.setKeyword(q("a/b#c"));
    QCOMPARE(column(model, 257), q("a|b|c"));
    QCOMPARE(column(model, 258), q("a|b|c"));
    QCOMPARE(column(model, 259), q("0|1|2"));
    QCOMPARE(column(model, 260), q("/a|/a/b|/a/b/c"));
    QCOMPARE(model.index(1, 0).data(259).metaType(), QMetaType::fromType<int>());
    for (const int role : {int(Qt::DisplayRole), int(Qt::EditRole), 256, 261, -1})
        QVERIFY(!model.data(model.index(0, 0), role).isValid());
    QVERIFY(!model.data({}, 257).isValid());
}

void tst_KeywordPathModel::providerDisplayName_replacesTheFirstLevel()
{
    PKeywordPathModel model;
    const QAbstractItemModelTester tester(&model);
    model.setKeyword(q("/x/y"));
    SignalLog log(&model);
    QSignalSpy changed(&model, &PKeywordPathModel::dataChanged);
    model.setProviderDisplayName(q("Server"));
    QCOMPARE(column(model, 258), q("Server|y"));
    QCOMPARE(column(model, 257), q("x|y"));
    QCOMPARE(log.taken(), q("providerDisplayNameChanged dataChanged"));
    QCOMPARE(changed.at(0).at(0).toModelIndex(), model.index(0, 0));
    QCOMPARE(changed.at(0).at(1).toModelIndex(), model.index(0, 0));
    QCOMPARE(changed.at(0).at(2).value<QList<int>>(), QList<int>());
    model.setProviderDisplayName(q("Server"));
    QCOMPARE(log.taken(), QString());
}

void tst_KeywordPathModel::providerDisplayName_signalsWithoutRowsToo()
{
    PKeywordPathModel model;
    QSignalSpy changed(&model, &PKeywordPathModel::dataChanged);
    model.setProviderDisplayName(q("Server"));
    QCOMPARE(changed.count(), 1);
    QVERIFY(!changed.at(0).at(0).toModelIndex().isValid());
}

void tst_KeywordPathModel::shape_isAFlatList()
{
    PKeywordPathModel model;
    model.setKeyword(q("/a/b"));
    QCOMPARE(model.columnCount(), 1);
    QCOMPARE(model.rowCount(model.index(0, 0)), 0);
    QCOMPARE(model.columnCount(model.index(0, 0)), 1);
    QVERIFY(!model.index(2, 0).isValid());
    QVERIFY(!model.index(0, 1).isValid());
    QVERIFY(!model.index(-1, 0).isValid());
    QVERIFY(!model.index(0, 0, model.index(0, 0)).isValid());
    QVERIFY(!model.parent(model.index(1, 0)).isValid());
    QCOMPARE(model.index(0, 0).internalPointer(), nullptr);
    QVERIFY(!(model.flags(model.index(0, 0)) & Qt::ItemIsEditable));
    QVERIFY(model.flags(model.index(0, 0)) & Qt::ItemIsSelectable);
}

void tst_KeywordPathModel::inherited_callsAreNotHidden()
{
    QObject owner;
    auto *const model = new PKeywordPathModel(&owner);
    model->setKeyword(q("/a/b"));

    QCOMPARE(model->parent(), &owner); // next to the overload with an index
    QVERIFY(!model->data(model->index(0, 0)).isValid()); // the default role
    QCOMPARE(model->data(model->index(0, 0), PKeywordPathModel::PartRole), QVariant(q("a")));
}

void tst_KeywordPathModel::logging_showsTheKeywordWhenEnabled()
{
    PKeywordPathModel model;
    model.setKeyword(q("/quiet"));
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.pathmodel.debug=true"));
    QTest::ignoreMessage(QtDebugMsg, R"(SetKeyword "/a")");
    model.setKeyword(q("a"));
    model.setKeyword(q("a"));
    QLoggingCategory::setFilterRules(QString());
}

void tst_KeywordPathModel::handlers_mayDeleteTheModel_data()
{
    QTest::addColumn<QByteArray>("signal");
    for (const char *signal : {"modelAboutToBeReset", "modelReset", "keywordChanged",
                               "providerDisplayNameChanged", "dataChanged"})
        QTest::newRow(signal) << QByteArray(signal);
}

void tst_KeywordPathModel::handlers_mayDeleteTheModel()
{
    QFETCH(QByteArray, signal);
    auto *model = new PKeywordPathModel;
    const QPointer<PKeywordPathModel> guard = model;
    QObject scope;
    const auto kill = [&] { delete model; };
    if (signal == "modelAboutToBeReset")
        connect(model, &QAbstractItemModel::modelAboutToBeReset, &scope, kill);
    else if (signal == "modelReset")
        connect(model, &QAbstractItemModel::modelReset, &scope, kill);
    else if (signal == "keywordChanged")
        connect(model, &PKeywordPathModel::keywordChanged, &scope, kill);
    else if (signal == "dataChanged")
        connect(model, &QAbstractItemModel::dataChanged, &scope, kill);
    else
        connect(model, &PKeywordPathModel::providerDisplayNameChanged, &scope, kill);
    if (signal.startsWith("model") || signal == "keywordChanged")
        model->setKeyword(q("/a"));
    else
        model->setProviderDisplayName(q("x"));
    QVERIFY(!guard);
}

QTEST_GUILESS_MAIN(tst_KeywordPathModel)
#include "tst_keywordpathmodel.moc"
