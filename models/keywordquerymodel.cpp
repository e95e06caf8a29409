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
#include <utility>
#include <vector>

namespace pellix::client {

namespace {

Q_LOGGING_CATEGORY(lcQueryModel, "pellixclient.keyword.querymodel", QtWarningMsg)

struct Entry
{
    QString keyword;
    QString normalizedKeyword;
    QString name;
    QString type;
};

// A number and a bool have a text, too.
QString textOf(const QJsonValue &value)
{
    return value.isString() ? value.toString() : value.toVariant().toString();
}

// The child as a response gives it.
Entry entryOf(const QJsonObject &fields)
{
    const QString name = textOf(fields.value(QLatin1String("name")));
    const QString path = QString(name).replace(QLatin1Char('#'), QLatin1Char('/'));
    return {
        name.startsWith(QLatin1Char('/')) ? name : QLatin1Char('/') + name,
        keywordsyntax::cleaned(path),
        path.mid(path.lastIndexOf(QLatin1Char('/')) + 1),
        textOf(fields.value(QLatin1String("type"))),
    };
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

/*
    The keys in the order of the rows. It depends on the set of keys alone: not on the order of the
    response, nor on QHash, whose order changes with each process. A view that sorts the rows by a
    comparison that leaves some order open, as the filter model's does, then shows the same list
    each time.
*/
QStringList inRowOrder(const QHash<QString, Entry> &entries)
{
    using HashedKey = std::pair<quint64, QString>;
    std::vector<HashedKey> hashed;
    hashed.reserve(size_t(entries.size()));
    for (auto entry = entries.keyBegin(); entry != entries.keyEnd(); ++entry)
        hashed.emplace_back(fixedHash(*entry), *entry);
    std::sort(hashed.begin(), hashed.end());

    QStringList keys;
    keys.reserve(entries.size());
    for (HashedKey &key : hashed)
        keys.append(std::move(key.second));
    return keys;
}

} // namespace

class PKeywordQueryModel::Private
{
public:
    void setEntries(QHash<QString, Entry> &&children)
    {
        entries = std::move(children);
        rowKeys = inRowOrder(entries);
        rows.clear();
        rows.reserve(rowKeys.size());
        for (int row = 0; row < rowKeys.size(); ++row)
            rows.insert(rowKeys.at(row), row);
    }

    NotOwned<PKeywordClient> keywordClient;
    QString keyword;
    QStringList parts;
    QMetaObject::Connection responseConnection;
    QHash<QString, Entry> entries;
    QStringList rowKeys;
    QHash<QString, int> rows; // the place of each key in rowKeys
    QUuid pendingRequest;
    PKeywordValueType filterType = PKeywordValueType::KVT_NOPROP;
    PKeywordValueAccess filterAccess = PKeywordValueAccess::KVA_NONE;
    QHash<QString, PKeywordProxy *> labelProxies; // children of the model
    DeletionWatch watch;
};

/*!
    \class pellix::client::PKeywordQueryModel
    \inmodule PellixClientKeyword
    \inheaderfile models/keywordquerymodel.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordQueryModel class lists the children of a keyword.

    Given a client and a keyword, the model asks the server for the children and shows each as a row
    of one column. For each child it also watches CHILD/Label, and shows that text in place of the
    name once it has come.

    The order of the rows means nothing, but the same children always come in the same order,
    whatever the order in which the server lists them. PKeywordQueryFilterProxyModel sorts and
    filters them.

    QML reads these roles:

    \table
    \header \li Role \li Value
    \row \li name \li the last level of the child's keyword, or its label
    \row \li type \li its type, as the server names it
    \row \li typeLetter \li getTypeLetter() of the type
    \row \li typeColor \li getTypeColor() of the type
    \row \li keyword \li its keyword, with separators as the server sent them
    \row \li normalizedKeyword \li its keyword with "/" as the only separator
    \row \li displayName \li the same as name
    \endtable

    A label that arrives signals a change of the role displayName alone.

    Setting the keyword empties the model until the answer has come. A label of the earlier answer
    that arrives in between shows as a row of its own, without a reset, and reading a row whose
    child is gone makes it one; the next answer puts that right.

    Calling setKeyword() from a handler of the model's reset is safe. While an answer is applied,
    that query's own answer is then not taken any more: call it queued instead. A server that
    answers inside the sending call is not heard either, since the identifier of the query is not
    known yet.

    A query that is sent without a connection, or whose connection or client goes before the answer
    has come, is lost and not repeated: the model stays loading, with the rows it had,
    until it is asked again by setting keyword, a filter or the client.

    The client is not owned; one that is destroyed reads as not set.
    \sa {Browsing}
*/

/*!
    \enum pellix::client::PKeywordQueryModel::Role

    The roles of a row.

    \value NameRole               \c name, the last level of the child's keyword, or its label
    \value TypeRole               \c type, as the server names it; empty where a level only leads on
    \value TypeLetterRole         \c typeLetter, getTypeLetter() of the type
    \value TypeColorRole          \c typeColor, getTypeColor() of the type
    \value KeywordRole            \c keyword, with separators as the server sent them
    \value NormalizedKeywordRole  \c normalizedKeyword, with "/" as the only separator
    \value DisplayNameRole        \c displayName, the same as name
*/

/*!
    \property pellix::client::PKeywordQueryModel::keywordClient
    \brief the client that asks; \c nullptr by default. Setting another one asks again.
*/

/*!
    \property pellix::client::PKeywordQueryModel::keyword
    \brief the keyword whose children are listed, in clean form; empty by default.

    Setting it always empties the model and asks again, also when it is the same.
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
    \brief always empty: kept for its name, it holds nothing and takes nothing.

    storedFilterChanged() is emitted all the same, each time that keyword is set. Use
    PKeywordQueryFilterProxyModel::filter to filter rows.
*/

/*!
    \property pellix::client::PKeywordQueryModel::loading
    \brief whether an answer is awaited; \c false by default.

    loadingChanged() is emitted with each query, also when the model was loading already. When there
    is no connection, or it or the client goes before the answer has come, this stays \c true until
    the model is asked again.
*/

/*!
    \property pellix::client::PKeywordQueryModel::filterAccess
    \brief the access that the children must grant; KVA_NONE by default. A change asks again.
*/

/*!
    \property pellix::client::PKeywordQueryModel::filterType
    \brief the type of the children to list; KVT_NOPROP, for any, by default. A change asks again.
    KVT_OBJECT filters nothing.
*/

/*!
    Constructs a model without rows. \a parent owns it, if given.
*/
PKeywordQueryModel::PKeywordQueryModel(QObject *parent)
    : QAbstractItemModel(parent), d(std::make_unique<Private>())
{ }

/*!
    Destroys the model, and with it the proxies that watch the labels.
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
        return; // a handler has set another one, which has been asked already
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
    d->entries.clear(); // Required: rowKeys and the label proxies stay until the next answer.
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
    "bool", O for "object", and > for anything else, such as a level that leads on.
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
    Returns the colour that goes with getTypeLetter() of \a type.
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
    Returns \a keyword with a leading "/" and doubled "/" made one, in a single pass.
*/
QString PKeywordQueryModel::getCleanKeyword(const QString &keyword) const
{
    return keywordsyntax::cleaned(keyword);
}

/*!
    Returns the keyword \a distance levels above \a keyword, / when there are not as many.
*/
QString PKeywordQueryModel::getParentKeyword(const QString &keyword, int distance) const
{
    const QStringList parts = splitKeyword(keyword);
    return joinKeyword(parts.mid(0, qMax(qsizetype(0), parts.size() - qMax(0, distance))));
}

/*!
    Returns the levels of \a keyword. Unlike in a PKeywordPathModel, blanks alone are a level.
*/
QStringList PKeywordQueryModel::splitKeyword(const QString &keyword) const
{
    return keywordsyntax::split(keyword);
}

/*!
    Returns the clean keyword of the levels in \a parts.
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
    return parent.isValid() ? 0 : int(d->entries.size());
}

int PKeywordQueryModel::columnCount(const QModelIndex &parent) const
{
    Q_UNUSED(parent)
    return 1;
}

QVariant PKeywordQueryModel::data(const QModelIndex &index, int role) const
{
    // A label of an earlier answer makes a row that has no key.
    if (!index.isValid() || role < NameRole || role > DisplayNameRole
        || index.row() >= d->rowKeys.size())
        return {};
    // Required: a key without an entry gets one.
    const Entry &entry = d->entries[d->rowKeys.at(index.row())];
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
        return entry.keyword;
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

// This function and those that it calls return false when the model did not outlive them.
bool PKeywordQueryModel::updateFromResponse(const QVariant &response)
{
    const DeletionWatch::Scope self(d->watch);
    if (!dropLabelProxies())
        return false;

    // Read as it is: turning it into maps and lists of variants costs more than all else done here.
    const QJsonArray children = response.toJsonObject()
                                    .value(QLatin1String("payload"))
                                    .toObject()
                                    .value(QLatin1String("response"))
                                    .toArray();
    QHash<QString, Entry> entries;
    entries.reserve(children.size());
    for (const auto &child : children) {
        const Entry entry = entryOf(child.toObject());
        entries.insert(entry.keyword, entry);
        if (!watchLabel(entry.keyword))
            return false;
    }

    beginResetModel();
    if (self.deleted())
        return false;
    d->setEntries(std::move(entries));
    endResetModel();
    return !self.deleted();
}

bool PKeywordQueryModel::dropLabelProxies()
{
    const DeletionWatch::Scope self(d->watch);
    // In the order in which they were made: taking them off the parent's list is then quick.
    const auto proxies = std::exchange(d->labelProxies, {});
    const QSet<const QObject *> old(proxies.cbegin(), proxies.cend());
    const QObjectList children = this->children();
    for (QObject *child : children) {
        if (!old.contains(child))
            continue;
        // The server is told, and a handler of that may delete the model, which would delete its
        // children as well.
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
    auto *const proxy = new PKeywordProxy(this);
    proxy->setClient(d->keywordClient);
    if (self.deleted())
        return false;
    proxy->setKeyword(keyword + QLatin1String("/Label"), false);
    // cppcheck-suppress identicalConditionAfterEarlyExit ; handlers run in between
    if (self.deleted())
        return false;
    // Required: of two children with one name both proxies live on; the later one is listed.
    d->labelProxies.insert(keyword, proxy);
    connect(proxy, &PKeywordProxy::valueChanged, this,
            [this, keyword, proxy] { onLabel(keyword, proxy->value().toString()); });
    return true;
}

void PKeywordQueryModel::onLabel(const QString &keyword, const QString &label)
{
    if (label.isEmpty())
        return;
    Entry &entry = d->entries[keyword]; // Required: made if it is missing, without a reset
    if (entry.name == label)
        return;
    entry.name = label;
    const QModelIndex changed = index(d->rows.value(keyword, -1), 0);
    Q_EMIT dataChanged(changed, changed, {DisplayNameRole}); // Required: this role alone
}

} // namespace pellix::client
