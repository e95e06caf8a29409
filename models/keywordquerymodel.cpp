// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "models/keywordquerymodel.h"

#include "binding/keywordproxy.h"
#include "client/keywordclient.h"
#include "models/keywordsyntax_p.h"
#include "pubsub/deletionwatch_p.h"
#include "pubsub/notowned_p.h"

#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QSet>

#include <algorithm>
#include <tuple>
#include <utility>
#include <vector>

namespace pellix::client {

namespace {

Q_LOGGING_CATEGORY(lcQueryModel, "pellixclient.keyword.querymodel", QtWarningMsg)

// A child listed in the last reply.
struct Row
{
    quint64 hash; // of the key
    QString key;
    QString normalizedKeyword;
    QString name;
    QString type;
    // Setting the keyword removes all entries, but not the rows. An entry that is created
    // afterwards has only a name.
    bool hasEntry = true;
    bool isComplete = true;
};

// Subscribes to the label of a child.
class LabelProxy : public PKeywordProxy
{
public:
    LabelProxy(const QString &key, QObject *parent) : PKeywordProxy(parent), key(key) { }

    const QString key; // of the child
    int row = -1; // of the child when it was last looked up
};

// Numbers and Boolean values are converted, too.
QString textOf(const QJsonValue &value)
{
    return value.isString() ? value.toString() : value.toVariant().toString();
}

// FNV-1a: the same number for the same text in every process, on every machine and in every
// version.
quint64 fixedHash(const QString &text)
{
    quint64 hash = 0xcbf29ce484222325;
    for (const QChar character : text)
        hash = (hash ^ character.unicode()) * 0x100000001b3;
    return hash;
}

// The child as listed in a reply.
Row rowOf(const QJsonObject &fields)
{
    const QString name = textOf(fields.value(QLatin1String("name")));
    const QString path = QString(name).replace(QLatin1Char('#'), QLatin1Char('/'));
    const QString key = name.startsWith(QLatin1Char('/')) ? name : QLatin1Char('/') + name;
    return {
        fixedHash(key),
        key,
        keywordsyntax::cleaned(path),
        path.mid(path.lastIndexOf(QLatin1Char('/')) + 1),
        textOf(fields.value(QLatin1String("type"))),
    };
}

/*
    The children in the order of the hashes of their keys. Of several children with the same key,
    only the last one remains.

    The order depends only on the set of keys, not on the order of the reply, nor on that of a
    QHash, which differs between processes. A view that sorts the rows with an incomplete order, as
    the filter model does, then shows the same list each time.
*/
std::vector<Row> inRowOrder(std::vector<Row> &&children)
{
    using Place = std::pair<quint64, size_t>; // sorted instead of the children, which are larger
    std::vector<Place> places;
    places.reserve(children.size());
    for (size_t i = 0; i < children.size(); ++i)
        places.emplace_back(children[i].hash, i);
    std::sort(places.begin(), places.end(), [&](const Place &left, const Place &right) {
        return std::tie(left.first, children[left.second].key, left.second)
            < std::tie(right.first, children[right.second].key, right.second);
    });

    std::vector<Row> rows;
    rows.reserve(children.size());
    for (const Place &place : places) {
        Row &child = children[place.second];
        if (!rows.empty() && rows.back().hash == child.hash && rows.back().key == child.key)
            rows.back() = std::move(child);
        else
            rows.push_back(std::move(child));
    }
    return rows;
}

} // namespace

class Q_DECL_HIDDEN PKeywordQueryModel::Private
{
public:
    // -1 without one
    int rowOf(const QString &key) const
    {
        const quint64 hash = fixedHash(key);
        auto row = std::lower_bound(rows.cbegin(), rows.cend(), hash,
                                    [](const Row &row, quint64 hash) { return row.hash < hash; });
        while (row != rows.cend() && row->hash == hash && row->key != key)
            ++row;
        return row != rows.cend() && row->hash == hash ? int(row - rows.cbegin()) : -1;
    }
    int rowOf(LabelProxy *proxy) const
    {
        if (size_t(proxy->row) >= rows.size() || rows[size_t(proxy->row)].key != proxy->key)
            proxy->row = rowOf(proxy->key);
        return proxy->row;
    }

    void setRows(std::vector<Row> &&children)
    {
        rows = inRowOrder(std::move(children));
        entries = int(rows.size());
        strays.clear();
    }
    void clearEntries()
    {
        for (Row &row : rows)
            row.hasEntry = false;
        strays.clear();
        entries = 0;
    }
    // Creates an empty one if there is none.
    Row &entryAt(int row)
    {
        Row &entry = rows[size_t(row)];
        if (!entry.hasEntry) {
            entry.hasEntry = true;
            entry.isComplete = false;
            entry.normalizedKeyword.clear();
            entry.name.clear();
            entry.type.clear();
            ++entries;
        }
        return entry;
    }

    NotOwned<PKeywordClient> keywordClient;
    QString keyword;
    QStringList parts;
    QMetaObject::Connection responseConnection;
    std::vector<Row> rows; // in the order of their hashes
    QHash<QString, QString> strays; // labels of children without a row, by key
    int entries = 0; // the number of rows that have one
    QUuid pendingRequest;
    PKeywordValueType filterType = PKeywordValueType::KVT_NOPROP;
    PKeywordValueAccess filterAccess = PKeywordValueAccess::KVA_NONE;
    QHash<QString, LabelProxy *> labelProxies; // children of the model
    DeletionWatch watch;
};

/*!
    \class pellix::client::PKeywordQueryModel
    \inmodule PellixClientKeyword
    \inheaderfile models/keywordquerymodel.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordQueryModel class lists the children of a keyword.

    Set a client and a keyword. The model then queries the children of the keyword from the server,
    and lists each as a row with one column. It also subscribes to CHILD/Label of each child, and
    shows the label in place of the name as soon as it has arrived.

    The order of the rows has no meaning, but it is always the same for the same children,
    regardless of the order in which the server lists them. Use a PKeywordQueryFilterProxyModel to
    sort and filter them.

    In QML, the roles have these names:

    \table
    \header \li Role \li Value
    \row \li name \li the last level of the child's keyword, or its label
    \row \li type \li the type of the child, as sent by the server
    \row \li typeLetter \li the letter of the type, see getTypeLetter()
    \row \li typeColor \li the color of the type, see getTypeColor()
    \row \li keyword \li the keyword of the child, with separators as the server sent them
    \row \li normalizedKeyword \li the keyword of the child, with "/" as the only separator
    \row \li displayName \li the same as name
    \endtable

    When a label arrives, the model signals a change of the role displayName only.

    Setting the keyword clears the model until the reply arrives. If a label of the previous reply
    arrives in between, it appears as a row of its own, without a reset. Reading a row whose child
    has been removed also creates such a row. The next reply removes these rows.

    Calling setKeyword() in a handler of the model's reset is safe. However, if you call it while
    the model processes a reply, the model ignores the reply to the new query: use a queued call
    instead. The model also ignores a reply that arrives inside the sending call, because it does
    not have the identifier of the query yet.

    A query is lost and not repeated if there is no connection, if the connection is lost before the
    reply arrives, or if the client is removed. The model then stays in the state loading, and the
    rows do not change, until you send a query again by setting keyword, a filter, or the client.

    The model does not own the client. If the client is destroyed, the property becomes \c nullptr.
    \sa {Browsing}
*/

/*!
    \enum pellix::client::PKeywordQueryModel::Role

    This enum describes the roles of a row.

    \value NameRole               \c name, the last level of the child's keyword, or its label
    \value TypeRole               \c type, as sent by the server; empty if the child is only a level
    \value TypeLetterRole         \c typeLetter, see getTypeLetter()
    \value TypeColorRole          \c typeColor, see getTypeColor()
    \value KeywordRole            \c keyword, with separators as the server sent them
    \value NormalizedKeywordRole  \c normalizedKeyword, with "/" as the only separator
    \value DisplayNameRole        \c displayName, the same as name
*/

/*!
    \property pellix::client::PKeywordQueryModel::keywordClient
    \brief the client that sends the queries. The default is \c nullptr. Setting another client
    sends the query again.
*/

/*!
    \property pellix::client::PKeywordQueryModel::keyword
    \brief the keyword whose children are listed, in clean form. The default is an empty string.

    Setting the property always clears the model and sends a query, even if the keyword is the same.
*/

/*!
    \property pellix::client::PKeywordQueryModel::normalizedKeyword
    \brief the keyword with "/" as the only separator.
*/

/*!
    \property pellix::client::PKeywordQueryModel::normalizedKeywordParts
    \brief the levels of the keyword.
*/

/*!
    \property pellix::client::PKeywordQueryModel::storedFilter
    \brief an empty string. Setting the property has no effect.

    storedFilterChanged() is nevertheless emitted each time keyword is set. To filter rows, use
    PKeywordQueryFilterProxyModel::filter.
*/

/*!
    \property pellix::client::PKeywordQueryModel::loading
    \brief whether a query is pending. The default is \c false.

    loadingChanged() is emitted with each query, even if the model was already loading. If the query
    is lost, because there is no connection, the connection is lost, or the client is removed,
    loading stays \c true until a query is sent again.
*/

/*!
    \property pellix::client::PKeywordQueryModel::filterAccess
    \brief the access that the children must grant. The default is KVA_NONE. A change sends the
    query again.
*/

/*!
    \property pellix::client::PKeywordQueryModel::filterType
    \brief the type of the children to list. The default is KVT_NOPROP, for any type; KVT_OBJECT
    also stands for any type. A change sends the query again.
*/

/*!
    Constructs a model without rows. If \a parent is given, it owns the model.
*/
PKeywordQueryModel::PKeywordQueryModel(QObject *parent)
    : QAbstractItemModel(parent), d(std::make_unique<Private>())
{ }

/*!
    Destroys the model and the proxies that subscribe to the labels.
*/
PKeywordQueryModel::~PKeywordQueryModel() = default;

PKeywordClient *PKeywordQueryModel::keywordClient() const
{
    return d->keywordClient;
}

void PKeywordQueryModel::setKeywordClient(PKeywordClient *client)
{
    if (d->keywordClient.holds(client))
        return;
    if (d->responseConnection)
        disconnect(d->responseConnection);
    d->keywordClient = client;

    const DeletionWatch::Scope self(d->watch);
    Q_EMIT keywordClientChanged();
    if (self.deleted() || d->keywordClient != client)
        return; // a handler has set another one and sent its query already
    if (client) {
        disconnect(d->responseConnection);
        d->responseConnection = connect(client, &PKeywordClient::keyIndexResponse, this,
                                        &PKeywordQueryModel::onResponse);
    }
    refresh();
}

QString PKeywordQueryModel::keyword() const
{
    return d->keyword;
}

void PKeywordQueryModel::setKeyword(const QString &keyword)
{
    const QString clean = getCleanKeyword(keyword);
    qCDebug(lcQueryModel) << "SetKeyword" << clean;
    const QStringList parts = splitKeyword(clean);

    const DeletionWatch::Scope self(d->watch);
    beginResetModel();
    if (self.deleted())
        return;
    d->keyword = clean;
    d->parts = parts;
    d->clearEntries(); // Required: the keys and the label proxies remain until the next reply.
    endResetModel();
    if (self.deleted())
        return;
    Q_EMIT keywordChanged();
    if (self.deleted())
        return;
    Q_EMIT storedFilterChanged();
    if (self.deleted())
        return;
    refresh();
}

QString PKeywordQueryModel::normalizedKeyword() const
{
    return joinKeyword(d->parts);
}

QStringList PKeywordQueryModel::normalizedKeywordParts() const
{
    return d->parts;
}

QString PKeywordQueryModel::storedFilter() const
{
    return QStringLiteral("");
}

void PKeywordQueryModel::setStoredFilter(const QString &filter)
{
    Q_UNUSED(filter) // Required: the property holds nothing.
}

bool PKeywordQueryModel::loading() const
{
    return !d->pendingRequest.isNull();
}

PKeywordValueAccess PKeywordQueryModel::filterAccess() const
{
    return d->filterAccess;
}

void PKeywordQueryModel::setFilterAccess(const PKeywordValueAccess &access)
{
    if (access == d->filterAccess)
        return;
    d->filterAccess = access;

    const DeletionWatch::Scope self(d->watch);
    Q_EMIT filterAccessChanged();
    if (!self.deleted())
        refresh();
}

PKeywordValueType PKeywordQueryModel::filterType() const
{
    return d->filterType;
}

void PKeywordQueryModel::setFilterType(const PKeywordValueType &type)
{
    if (type == d->filterType)
        return;
    d->filterType = type;

    const DeletionWatch::Scope self(d->watch);
    Q_EMIT filterTypeChanged();
    if (!self.deleted())
        refresh();
}

/*!
    Returns the letter that stands for \a type: N for "double" and "int", T for "string", B for
    "bool", O for "object", and > for anything else, such as a child that is only a level.
*/
QString PKeywordQueryModel::getTypeLetter(const QString &type) const
{
    if (type == QLatin1String("double") || type == QLatin1String("int"))
        return QStringLiteral("N");
    if (type == QLatin1String("string"))
        return QStringLiteral("T");
    if (type == QLatin1String("bool"))
        return QStringLiteral("B");
    if (type == QLatin1String("object"))
        return QStringLiteral("O");
    return QStringLiteral(">");
}

/*!
    Returns the color for \a type, to be used with getTypeLetter().
*/
QColor PKeywordQueryModel::getTypeColor(const QString &type) const
{
    switch (getTypeLetter(type).at(0).unicode()) {
    case 'N':
        return QColor(QStringLiteral("#FF76608A"));
    case 'T':
        return QColor(QStringLiteral("#FF6D8764"));
    case 'B':
        return QColor(QStringLiteral("#FFF0A30A"));
    case 'O':
        return QColor(QStringLiteral("#FF825A2C"));
    }
    return QColor(QStringLiteral("#505050"));
}

/*!
    Returns \a keyword with a leading "/", and with double slashes replaced by single ones in one
    pass.
*/
QString PKeywordQueryModel::getCleanKeyword(const QString &keyword) const
{
    return keywordsyntax::cleaned(keyword);
}

/*!
    Returns the keyword \a distance levels above \a keyword, or "/" if there are not that many
    levels.
*/
QString PKeywordQueryModel::getParentKeyword(const QString &keyword, int distance) const
{
    const QStringList parts = splitKeyword(keyword);
    return joinKeyword(parts.mid(0, qMax(qsizetype(0), parts.size() - qMax(0, distance))));
}

/*!
    Returns the levels of \a keyword. Unlike in a PKeywordPathModel, a keyword of spaces only is a
    level.
*/
QStringList PKeywordQueryModel::splitKeyword(const QString &keyword) const
{
    return keywordsyntax::split(keyword);
}

/*!
    Returns the cleaned keyword with the levels in \a parts; see getCleanKeyword().
*/
QString PKeywordQueryModel::joinKeyword(const QStringList &parts) const
{
    return keywordsyntax::joined(parts);
}

QModelIndex PKeywordQueryModel::index(int row, int column, const QModelIndex &parent) const
{
    return hasIndex(row, column, parent) ? createIndex(row, column) : QModelIndex();
}

QModelIndex PKeywordQueryModel::parent(const QModelIndex &index) const
{
    Q_UNUSED(index)
    return {};
}

int PKeywordQueryModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : d->entries + int(d->strays.size());
}

int PKeywordQueryModel::columnCount(const QModelIndex &parent) const
{
    Q_UNUSED(parent)
    return 1;
}

QVariant PKeywordQueryModel::data(const QModelIndex &index, int role) const
{
    // A label of an earlier reply creates a row that has no key.
    if (!index.isValid() || role < NameRole || role > DisplayNameRole
        || size_t(index.row()) >= d->rows.size())
        return {};
    const Row &entry = d->entryAt(index.row()); // Required: a key without an entry gets one
    switch (role) {
    case NameRole:
    case DisplayNameRole:
        return entry.name;
    case TypeRole:
        return entry.type;
    case TypeLetterRole:
        return getTypeLetter(entry.type);
    case TypeColorRole:
        return getTypeColor(entry.type);
    case KeywordRole:
        return entry.isComplete ? entry.key : QString();
    case NormalizedKeywordRole:
        return entry.normalizedKeyword;
    }
    return {};
}

Qt::ItemFlags PKeywordQueryModel::flags(const QModelIndex &index) const
{
    return QAbstractItemModel::flags(index);
}

QHash<int, QByteArray> PKeywordQueryModel::roleNames() const
{
    return {
        {NameRole, "name"},
        {TypeRole, "type"},
        {TypeLetterRole, "typeLetter"},
        {TypeColorRole, "typeColor"},
        {KeywordRole, "keyword"},
        {NormalizedKeywordRole, "normalizedKeyword"},
        {DisplayNameRole, "displayName"},
    };
}

void PKeywordQueryModel::refresh()
{
    qCDebug(lcQueryModel) << "Refresh" << d->keywordClient.data() << d->parts;
    if (!d->keywordClient)
        return;

    const DeletionWatch::Scope self(d->watch);
    const QUuid id = d->keywordClient->sendKeyIndex(d->keyword, d->filterType, d->filterAccess);
    if (self.deleted())
        return;
    d->pendingRequest = id;
    Q_EMIT loadingChanged(); // Required: also when it was loading already
}

void PKeywordQueryModel::onResponse(const QUuid &id, const QVariant &response)
{
    if (id != d->pendingRequest)
        return;

    if (!updateFromResponse(response))
        return;
    d->pendingRequest = QUuid();
    Q_EMIT loadingChanged();
}

// This function and those that it calls return false if the model has been deleted in the meantime.
bool PKeywordQueryModel::updateFromResponse(const QVariant &response)
{
    const DeletionWatch::Scope self(d->watch);
    if (!dropLabelProxies())
        return false;

    // Read directly: converting it to maps and lists of variants costs more than everything else
    // here.
    const QJsonArray children = response.toJsonObject()
                                    .value(QLatin1String("payload"))
                                    .toObject()
                                    .value(QLatin1String("response"))
                                    .toArray();
    std::vector<Row> rows;
    rows.reserve(size_t(children.size()));
    for (const auto &child : children) {
        rows.push_back(rowOf(child.toObject()));
        if (!watchLabel(rows.back().key))
            return false;
    }

    beginResetModel();
    if (self.deleted())
        return false;
    d->setRows(std::move(rows));
    endResetModel();
    return !self.deleted();
}

bool PKeywordQueryModel::dropLabelProxies()
{
    const DeletionWatch::Scope self(d->watch);
    // In the order of their creation: removing them from the parent's list is then fast.
    const auto proxies = std::exchange(d->labelProxies, {});
    const QSet<const QObject *> old(proxies.cbegin(), proxies.cend());
    const QObjectList children = this->children();
    for (QObject *child : children) {
        if (!old.contains(child))
            continue;
        // This sends commands, and a handler of those may delete the model, including its children.
        child->setParent(nullptr);
        delete child;
        if (self.deleted())
            return false; // and the other children with it
    }
    return true;
}

bool PKeywordQueryModel::watchLabel(const QString &keyword)
{
    const DeletionWatch::Scope self(d->watch);
    auto *const proxy = new LabelProxy(keyword, this);
    proxy->setClient(d->keywordClient);
    if (self.deleted())
        return false;
    proxy->setKeyword(keyword + QLatin1String("/Label"), false);
    // cppcheck-suppress identicalConditionAfterEarlyExit ; handlers run in between
    if (self.deleted())
        return false;
    // Required: of two children with the same name, both proxies are kept; the later one is listed.
    d->labelProxies.insert(keyword, proxy);
    connect(proxy, &PKeywordProxy::valueChanged, this,
            [this, proxy] { onLabel(proxy->key, d->rowOf(proxy), proxy->value().toString()); });
    return true;
}

void PKeywordQueryModel::onLabel(const QString &key, int row, const QString &label)
{
    if (label.isEmpty())
        return;
    // Required: created if it is missing, without a reset
    QString &name = row >= 0 ? d->entryAt(row).name : d->strays[key];
    if (name == label)
        return;
    name = label;
    const QModelIndex changed = index(row, 0);
    Q_EMIT dataChanged(changed, changed, {DisplayNameRole}); // Required: only this role
}

} // namespace pellix::client
