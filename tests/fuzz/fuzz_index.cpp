// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Index answers, labels and filters into the query model and its filter model, each with a model
// tester. The first byte of a line says what the rest of it is:
//   i  the "response" member of an answer to a query made for it
//   p  the whole "payload" of such an answer; UUID in it becomes that of the query
//   l  a label, as JSON, for the row that the next byte names
//   e  any message at all
//   f  a filter
// After each, the rows are compared with those that a plain reading of the last answer gives.

#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSet>
#include <QtTest/QAbstractItemModelTester>

#include <map>

using namespace pellix::client;

namespace {

struct Row
{
    QString normalized;
    QString name;
    QString type;
    QVariant label; // the last value of its label keyword
};

class Models
{
public:
    Models();

    void answer(QByteArray payload);
    void label(int which, const QByteArray &value);
    void message(const QByteArray &bytes);
    void setFilter(const QString &text);
    void check() const;

private:
    QUuid query();
    void expect(const QJsonObject &payload);
    void expectLabel(const QString &keyword, const QVariant &value);
    bool accepts(const QString &text) const;

    RecordingClient client;
    PKeywordQueryModel model;
    PKeywordQueryFilterProxyModel filtered;
    // Not in fatal mode, whose messages do not say what was compared, but caught as warnings.
    QAbstractItemModelTester modelTester {&model,
                                          QAbstractItemModelTester::FailureReportingMode::Warning};
    QAbstractItemModelTester filteredTester {
        &filtered, QAbstractItemModelTester::FailureReportingMode::Warning};
    std::map<QString, Row> rows;
    QSet<QString> strays; // named twice in an answer: such a label is watched on and on
    QString filter;
};

Models::Models()
{
    filtered.setSourceModel(&model);
    model.setKeywordClient(&client);
}

QUuid Models::query()
{
    client.sent.clear();
    model.setKeyword(QStringLiteral("/q"));
    FUZZ_CHECK(model.loading());
    FUZZ_CHECK(model.rowCount() == 0);
    const QUuid id(QJsonDocument::fromJson(client.sent.constLast().toUtf8())
                       .object()
                       .value(QLatin1String("payload"))
                       .toObject()
                       .value(QLatin1String("uuid"))
                       .toString());
    FUZZ_CHECK(!id.isNull());
    return id;
}

void Models::answer(QByteArray payload)
{
    const QUuid id = query();
    payload.replace("UUID", id.toByteArray());
    const QByteArray bytes = R"({"cmd":"keyIndex","payload":)" + payload + '}';
    const QJsonObject message = QJsonDocument::fromJson(bytes).object();
    const QJsonObject read = message.value(QLatin1String("payload")).toObject();
    const QJsonObject request = read.value(QLatin1String("request")).toObject();
    const bool fits = message.value(QLatin1String("cmd")) == QJsonValue(QLatin1String("keyIndex"))
        && QUuid(request.value(QLatin1String("uuid")).toString()) == id;
    if (!fits) {
        client.receiveCommand(bytes);
        FUZZ_CHECK(model.loading());
        // A good one, since labels that come before an answer change the model without a word.
        answer(R"({"request":{"uuid":"UUID"},"response":[]})");
        return;
    }
    expect(read);
    FUZZ_CHECK(client.receiveCommand(bytes));
    FUZZ_CHECK(!model.loading());
}

void Models::expect(const QJsonObject &payload)
{
    rows.clear();
    const QJsonArray items = payload.value(QLatin1String("response")).toArray();
    for (const auto &item : items) {
        const QVariantMap fields = item.toVariant().toMap();
        const QString name = fields.value(QStringLiteral("name")).toString();
        Row row;
        QString path = name;
        path.replace(QLatin1Char('#'), QLatin1Char('/'));
        row.name = path.split(QLatin1Char('/')).constLast();
        row.normalized = model.getCleanKeyword(path);
        row.type = fields.value(QStringLiteral("type")).toString();
        const QString keyword = name.startsWith(QLatin1Char('/')) ? name : QLatin1Char('/') + name;
        if (rows.count(keyword))
            strays.insert(keyword);
        rows[keyword] = row;
    }
}

void Models::expectLabel(const QString &keyword, const QVariant &value)
{
    const auto row = rows.find(keyword);
    if (row == rows.end() || value == row->second.label)
        return;
    row->second.label = value;
    if (!value.toString().isEmpty())
        row->second.name = value.toString();
}

void Models::label(int which, const QByteArray &value)
{
    if (rows.empty())
        return;
    const auto row = std::next(rows.cbegin(), which % int(rows.size()));
    const QJsonDocument wrapped = QJsonDocument::fromJson("[" + value + "]");
    if (!wrapped.isArray() || wrapped.array().isEmpty())
        return;
    const QJsonObject payload {
        {QStringLiteral("keyword"), QString(row->first + QLatin1String("/Label"))},
        {QStringLiteral("value"), wrapped.array().at(0)},
    };
    message(QJsonDocument(QJsonObject {{QStringLiteral("cmd"), QStringLiteral("keyEvent")},
                                       {QStringLiteral("payload"), payload}})
                .toJson(QJsonDocument::Compact));
}

void Models::message(const QByteArray &bytes)
{
    const QJsonObject object = QJsonDocument::fromJson(bytes).object();
    const QJsonObject payload = object.value(QLatin1String("payload")).toObject();
    const QString keyword = payload.value(QLatin1String("keyword")).toString();
    if (object.value(QLatin1String("cmd")) == QJsonValue(QLatin1String("keyEvent"))
        && keyword.endsWith(QLatin1String("/Label"))) {
        const QString labelled = keyword.chopped(6);
        // Required of the model: makes a row without a word, which no model tester accepts.
        if (strays.contains(labelled) && !rows.count(labelled))
            return;
        expectLabel(labelled, payload.value(QLatin1String("value")).toVariant());
    }
    client.receiveCommand(bytes);
}

void Models::setFilter(const QString &text)
{
    filter = text;
    filtered.setFilter(text);
    FUZZ_CHECK(filtered.filter() == text);
}

bool Models::accepts(const QString &text) const
{
    const QStringList words = filter.split(QLatin1Char(' '));
    for (const QString &word : words) {
        if (!word.trimmed().isEmpty() && text.indexOf(word, 0, Qt::CaseInsensitive) < 0)
            return false;
    }
    return true;
}

void Models::check() const
{
    FUZZ_CHECK(size_t(model.rowCount()) == rows.size());
    QSet<QString> keywords;
    int accepted = 0;
    for (int i = 0; i < model.rowCount(); ++i) {
        const auto of = [this, i](int role) { return model.data(model.index(i, 0), role); };
        const QString keyword = of(PKeywordQueryModel::KeywordRole).toString();
        const auto row = rows.find(keyword);
        FUZZ_CHECK(row != rows.end());
        keywords.insert(keyword);
        FUZZ_CHECK(of(PKeywordQueryModel::NameRole).toString() == row->second.name);
        FUZZ_CHECK(of(PKeywordQueryModel::DisplayNameRole).toString() == row->second.name);
        FUZZ_CHECK(of(PKeywordQueryModel::TypeRole).toString() == row->second.type);
        FUZZ_CHECK(of(PKeywordQueryModel::NormalizedKeywordRole).toString()
                   == row->second.normalized);
        accepted += accepts(row->second.name);
    }
    FUZZ_CHECK(size_t(keywords.size()) == rows.size());

    FUZZ_CHECK(filtered.rowCount() == accepted);
    const auto shown = [this](int row) {
        return filtered.index(row, 0).data(PKeywordQueryModel::NameRole).toString();
    };
    // "1a" lies between "10" and "2" as a text, so only names of one kind have one right order.
    const auto isNumber = [](const QString &name) {
        bool is = false;
        static_cast<void>(name.toLongLong(&is));
        return is;
    };
    int numbers = 0;
    for (int i = 0; i < accepted; ++i)
        numbers += isNumber(shown(i));
    for (int i = 0; i < accepted; ++i)
        FUZZ_CHECK(accepts(shown(i)));
    for (int i = 1; i < accepted && (numbers == 0 || numbers == accepted); ++i) {
        FUZZ_CHECK(numbers ? shown(i - 1).toLongLong() <= shown(i).toLongLong()
                           : shown(i - 1).compare(shown(i), Qt::CaseInsensitive) <= 0);
    }
}

} // namespace

void runInput(const QByteArray &input)
{
    Models models;
    models.answer(R"({"request":{"uuid":"UUID"},"response":[{"name":"/q/1"},{"name":"/q/b"}]})");
    models.check();
    for (const QByteArray &line : input.split('\n')) {
        const QByteArray rest = line.mid(1);
        switch (line.isEmpty() ? '\0' : line.front()) {
        case 'i':
            models.answer(R"({"request":{"uuid":"UUID"},"response":)" + rest + '}');
            break;
        case 'p':
            models.answer(rest);
            break;
        case 'l':
            models.label(rest.isEmpty() ? 0 : uchar(rest.front()), rest.mid(1));
            break;
        case 'e':
            models.message(rest);
            break;
        case 'f':
            models.setFilter(QString::fromUtf8(rest));
            break;
        default:
            continue;
        }
        models.check();
    }
}
