// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/eventtext.h"
#include "client/inprocesskeywordclient.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"

#include <QtCore/QAbstractListModel>
#include <QtCore/QSortFilterProxyModel>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

using namespace pellix::client;

namespace {

// A client whose server is this object, which replies on request.
class Listing
{
public:
    explicit Listing(int count)
    {
        QObject::connect(&client, &PInProcessKeywordClient::sendToServer, &client,
                         [this](const QByteArray &command) {
                             if (command.startsWith(R"({"cmd":"keyIndex")")) {
                                 uuid = QJsonDocument::fromJson(command)
                                            .object()[QLatin1String("payload")]
                                            .toObject()[QLatin1String("uuid")]
                                            .toString()
                                            .toUtf8();
                             }
                         });
        for (int i = 0; i < count; ++i) {
            children += i > 0 ? "," : "";
            children += R"({"name":"/list/child)" + QByteArray::number(i) + R"(","type":"double"})";
        }
        model.setKeywordClient(&client);
        list();
        // A server replies to requests in their order, which is that of the rows.
        for (int i = 0; i < 2 * count; ++i)
            labels.push_back(labelEvent(model.index(i % count, 0), qint64(i), 2 * qint64(count)));
    }

    void list()
    {
        model.setKeyword(QStringLiteral("/list"));
        client.receiveFromServer(R"({"cmd":"keyIndex","payload":{"request":{"uuid":")" + uuid
                                 + R"("},"response":[)" + children + "]}}");
    }

    void listAndLabel()
    {
        list();
        for (int i = 0; i < model.rowCount(); ++i)
            client.receiveFromServer(labels[size_t(i)]);
    }

    int labeledRows() const
    {
        int count = 0;
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex index = model.index(row, 0);
            const QString name = model.data(index, PKeywordQueryModel::DisplayNameRole).toString();
            count += name.startsWith(QLatin1String("Label")) ? 1 : 0;
        }
        return count;
    }

    PInProcessKeywordClient client;
    PKeywordQueryModel model;
    std::vector<QByteArray> labels;

private:
    // The labels of all numbers below count differ, and are in another order than the numbers.
    static QByteArray labelEvent(const QModelIndex &child, qint64 number, qint64 count)
    {
        return R"({"cmd":"keyEvent","payload":{"connected":true,"consistent":true,)"
               R"("error":false,"keyword":")"
            + child.data(PKeywordQueryModel::KeywordRole).toString().toUtf8()
            + R"(/Label","online":true,"type":"string","value":"Label )"
            + QByteArray::number(number * 7919 % count) + "\"}}";
    }

    QByteArray uuid;
    QByteArray children;
};

// A reply with the given number of children, one label for each, and the unsubscription from those
// of the previous reply. Each round does the same, including the first one that is measured.
void listAndLabel(benchmark::State &state)
{
    const auto count = int(state.range(0));
    Listing listing(count);
    listing.listAndLabel();
    for (auto _ : state)
        listing.listAndLabel();
    if (listing.labeledRows() != count)
        state.SkipWithError("rows or labels are missing");
}
BENCHMARK(listAndLabel)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
// With the usual minimum time, this would be a single round.
BENCHMARK(listAndLabel)->Arg(100000)->Iterations(3)->Unit(benchmark::kMillisecond);

// A new label for each child in turn. Each has had a label before: finding its row for the first
// time would be a part of the runs among many children only.
void changeLabels(benchmark::State &state, Listing &listing)
{
    listing.listAndLabel();
    size_t next = listing.labels.size() / 2;
    for (auto _ : state) {
        listing.client.receiveFromServer(listing.labels[next]);
        next = next + 1 == listing.labels.size() ? 0 : next + 1;
    }
}

void labelArrives(benchmark::State &state)
{
    Listing listing(int(state.range(0)));
    changeLabels(state, listing);
}
BENCHMARK(labelArrives)->Arg(1000)->Arg(100000);

// The same, the children in no order, as when people give them other labels.
void labelOfAnyArrives(benchmark::State &state)
{
    Listing listing(int(state.range(0)));
    const auto middle = listing.labels.begin() + qsizetype(listing.labels.size()) / 2;
    std::mt19937 order; // the same in every run
    std::shuffle(listing.labels.begin(), middle, order);
    std::shuffle(middle, listing.labels.end(), order);
    changeLabels(state, listing);
}
BENCHMARK(labelOfAnyArrives)->Arg(1000)->Arg(100000);

void filterAndSort(benchmark::State &state)
{
    const auto count = int(state.range(0));
    Listing listing(count);
    listing.listAndLabel();
    for (auto _ : state) {
        PKeywordQueryFilterProxyModel sorted;
        sorted.setFilter(QStringLiteral("label 7"));
        sorted.setSourceModel(&listing.model);
        benchmark::DoNotOptimize(sorted.rowCount());
    }
}
BENCHMARK(filterAndSort)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Rows with the same names in the simplest possible model.
class Names : public QAbstractListModel
{
public:
    explicit Names(const PKeywordQueryModel &model)
    {
        for (int row = 0; row < model.rowCount(); ++row)
            names.append(model.data(model.index(row, 0), PKeywordQueryModel::NameRole).toString());
    }
    int rowCount(const QModelIndex &parent = {}) const override
    {
        return parent.isValid() ? 0 : int(names.size());
    }
    QVariant data(const QModelIndex &index, int role) const override
    {
        return role == Qt::DisplayRole && index.isValid() ? names.at(index.row()) : QVariant();
    }

private:
    QStringList names;
};

// Floor: the proxy model of Qt with a fixed string and its default comparison.
void plainFilterAndSort(benchmark::State &state)
{
    const auto count = int(state.range(0));
    Listing listing(count);
    listing.listAndLabel();
    Names names(listing.model);
    for (auto _ : state) {
        QSortFilterProxyModel sorted;
        sorted.setDynamicSortFilter(true);
        sorted.setSortCaseSensitivity(Qt::CaseInsensitive);
        sorted.setFilterCaseSensitivity(Qt::CaseInsensitive);
        sorted.sort(0, Qt::AscendingOrder);
        sorted.setFilterFixedString(QStringLiteral("7")); // the same rows: all of them are labels
        sorted.setSourceModel(&names);
        benchmark::DoNotOptimize(sorted.rowCount());
    }
}
BENCHMARK(plainFilterAndSort)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
