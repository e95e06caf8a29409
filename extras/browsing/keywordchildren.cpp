// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/browsing/keywordchildren.h"

#include "extras/browsing/listedrow_p.h"
#include "models/keywordquerymodel.h"

#include <QtCore/QHash>
#include <QtCore/QPointer>

#include <algorithm>
#include <utility>

using namespace pellix::client;

namespace pellix::extras {

namespace {

struct Child : ListedRow
{
    QString access;
};
using ChildPointer = std::shared_ptr<Child>;

bool isBefore(const ChildPointer &left, const ChildPointer &right)
{
    return isListedBefore(*left, *right);
}

} // namespace

class Q_DECL_HIDDEN PKeywordChildren::Private
{
public:
    explicit Private(PKeywordChildren *q) : q(q), rest(q, [this] { arrange(); }) { }

    void startAnew();
    void ask();
    void askForAccess(PKeywordValueAccess access, QLatin1Char letter);
    void onListed(const QVariant &response);
    void onAccess(const QVariant &response, QLatin1Char letter);
    void watchLabels();
    void onLabel(Child *child, const QString &label);
    void arrange();
    std::vector<ChildPointer> wanted() const;
    void tell();

    PKeywordChildren *const q;
    const PKeywordQueryModel types; // provides letters and colors
    QString keyword;
    PKeywordValueType filterType = PKeywordValueType::KVT_NOPROP;
    PKeywordValueAccess filterAccess = PKeywordValueAccess::KVA_NONE;
    QString filter;
    QStringList words;
    bool labels = true;
    bool accesses = false;
    QString current; // as it was set
    LabelRest rest;
    ClientLink link;
    QHash<QString, ChildPointer> children; // by normalized keyword
    UpdatedRows<Child> shown;
    bool waiting = false;
    bool listed = false;
    bool arranging = false;
    bool arrangeAgain = false;

    // The last signaled values.
    bool toldLoading = false;
    bool toldListed = false;
    int toldCount = 0;
    int toldTotal = 0;
    int toldIndex = -1;
};

// All known data belongs to another keyword, or to another server.
void PKeywordChildren::Private::startAnew()
{
    link.dropAll();
    listed = false;
    // Leaves the labels at the end.
    const auto gone = std::exchange(children, {}); // clazy:exclude=unused-non-trivial-variable
    const QPointer<PKeywordChildren> self(q);
    arrange();
    if (self)
        ask();
}

void PKeywordChildren::Private::ask()
{
    link.dropAll();
    waiting = link.client() && !keyword.isEmpty();
    const QPointer<PKeywordChildren> self(q);
    if (waiting) {
        link.ask({keyword, filterType, filterAccess, false},
                 [this](const QVariant &response) { onListed(response); });
    }
    if (self)
        tell();
}

void PKeywordChildren::Private::onListed(const QVariant &response)
{
    waiting = false;
    listed = true;
    const QHash<QString, ChildPointer> before = std::exchange(children, {});
    for (ListedKeyword &found : listedIn(response)) {
        ChildPointer child = before.value(found.normalized);
        if (!child || !child->isOf(found)) {
            const ChildPointer earlier = std::exchange(child, std::make_shared<Child>());
            child->label = earlier ? earlier->label : QString();
        }
        child->listed = std::move(found);
        children.insert(child->listed.normalized, child);
    }
    const QPointer<PKeywordChildren> self(q);
    arrange();
    if (self)
        watchLabels();
    if (self && accesses)
        askForAccess(PKeywordValueAccess::KVA_READ, QLatin1Char('R'));
    if (self && accesses)
        askForAccess(PKeywordValueAccess::KVA_WRITE, QLatin1Char('W'));
}

void PKeywordChildren::Private::askForAccess(PKeywordValueAccess access, QLatin1Char letter)
{
    if (!listed)
        return;
    link.ask({keyword, filterType, access, false},
             [this, letter](const QVariant &response) { onAccess(response, letter); });
}

void PKeywordChildren::Private::onAccess(const QVariant &response, QLatin1Char letter)
{
    QHash<QString, bool> granted;
    for (const ListedKeyword &found : listedIn(response))
        granted.insert(found.normalized, true);
    for (const ChildPointer &child : std::as_const(children)) {
        if (child->listed.type.isEmpty())
            continue;
        QString access = child->access == QLatin1String("N") ? QString() : child->access;
        access.remove(letter);
        if (granted.contains(child->listed.normalized))
            access = letter == QLatin1Char('R') ? letter + access : access + letter;
        child->access = access.isEmpty() ? QStringLiteral("N") : access;
    }
    if (!shown.rows.empty())
        Q_EMIT q->dataChanged(q->index(0), q->index(int(shown.rows.size()) - 1), {AccessRole});
}

// A label may arrive inside the call that subscribes to it, and handlers may do anything.
void PKeywordChildren::Private::watchLabels()
{
    const QPointer<PKeywordChildren> self(q);
    std::vector<ChildPointer> unwatched;
    for (const ChildPointer &child : std::as_const(children)) {
        if (bool(child->labelWatch) != labels)
            unwatched.push_back(child);
    }
    // In the order of the rows: the first visible rows get their labels first.
    std::sort(unwatched.begin(), unwatched.end(), isBefore);
    for (const ChildPointer &child : unwatched) {
        if (!labels || children.value(child->listed.normalized) == child) {
            child->watchLabel(labels, link, [this, child = child.get()](const QString &label) {
                onLabel(child, label);
            });
        }
        if (!self)
            return;
    }
}

void PKeywordChildren::Private::onLabel(Child *child, const QString &label)
{
    if (label == child->label)
        return;
    child->label = label;
    rest.begin();
    if (child->row < 0)
        return;
    const QModelIndex index = q->index(child->row);
    Q_EMIT q->dataChanged(index, index, {LabelRole, DisplayNameRole, Qt::DisplayRole});
}

std::vector<ChildPointer> PKeywordChildren::Private::wanted() const
{
    std::vector<ChildPointer> rows;
    rows.reserve(size_t(children.size()));
    for (const ChildPointer &child : children) {
        if (hasWords(words, child->label, child->listed.name))
            rows.push_back(child);
    }
    std::sort(rows.begin(), rows.end(), isBefore);
    return rows;
}

// A handler of a removed or inserted row may require other rows: they follow after these.
void PKeywordChildren::Private::arrange()
{
    rest.stop();
    arrangeAgain = true;
    if (arranging)
        return;
    const QPointer<PKeywordChildren> self(q);
    arranging = true;
    while (std::exchange(arrangeAgain, false)) {
        RowUpdate::run(q, {}, shown, wanted());
        if (!self)
            return;
    }
    arranging = false;
    tell();
}

// Emits the signals of everything that has changed. Their handlers may do anything, including a
// recursive call.
void PKeywordChildren::Private::tell()
{
    if (arranging)
        return;
    const QPointer<PKeywordChildren> self(q);
    const auto tellOne = [&](auto &told, auto now, auto signal) {
        if (!self || told == now)
            return;
        told = now;
        Q_EMIT(q->*signal)();
    };
    tellOne(toldCount, int(shown.rows.size()), &PKeywordChildren::countChanged);
    if (self)
        tellOne(toldTotal, int(children.size()), &PKeywordChildren::totalChanged);
    if (self)
        tellOne(toldIndex, q->rowOf(current), &PKeywordChildren::currentIndexChanged);
    if (self)
        tellOne(toldListed, listed, &PKeywordChildren::listedChanged);
    if (self)
        tellOne(toldLoading, waiting, &PKeywordChildren::loadingChanged);
}

/*!
    \class pellix::extras::PKeywordChildren
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/browsing/keywordchildren.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordChildren class lists the children of a keyword, in natural order.

    Set a client and a keyword. The model then queries the children from the server, and subscribes
    to the label of each. It repeats the query automatically when the connection is restored, when
    another client is set, and when the keyword or a filter of the server changes; a query that is
    lost with its connection is repeated. Children that are listed both before and after a reply
    keep their rows, so a view keeps its scroll position. Without a connection, the rows do not
    change.

    The rows are ordered by their displayName, with compareNaturally(). Labels arrive one by one:
    the model sorts and filters the rows again when no label has arrived for 60 ms, or after one
    second.

    In QML, the roles have these names, which get() also uses:

    \table
    \header \li Role \li Value
    \row \li keyword \li the keyword, with separators as the server sent them
    \row \li normalizedKeyword \li the keyword with "/" as the only separator
    \row \li name \li the last level
    \row \li label \li the label; empty until it has arrived, and if there is none
    \row \li displayName \li the label, or the name if there is none
    \row \li type \li the type, as sent by the server; empty if the row is only a level
    \row \li typeLetter \li the letter of the type, see PKeywordQueryModel::getTypeLetter()
    \row \li typeColor \li the color of the type, see PKeywordQueryModel::getTypeColor()
    \row \li access \li "R", "W", "RW" or "N" (none); empty unless \l accesses is set
    \row \li hasChildren \li whether it is only a level above other keywords. A keyword with a value
             can also have children; only a query shows that.
    \endtable

    The model does not own the client. If the client is destroyed, the property becomes \c nullptr.
    \sa PKeywordTree, {Browsing}
*/

/*!
    \enum pellix::extras::PKeywordChildren::Role

    This enum describes the roles of a row.

    \value KeywordRole            \c keyword
    \value NormalizedKeywordRole  \c normalizedKeyword
    \value NameRole               \c name
    \value LabelRole              \c label
    \value DisplayNameRole        \c displayName
    \value TypeRole               \c type
    \value TypeLetterRole         \c typeLetter
    \value TypeColorRole          \c typeColor
    \value AccessRole             \c access
    \value HasChildrenRole        \c hasChildren
*/

/*!
    \property pellix::extras::PKeywordChildren::client
    \brief the client that sends the queries. The default is \c nullptr. Setting another client
    clears the list.
*/

/*!
    \property pellix::extras::PKeywordChildren::keyword
    \brief the keyword whose children are listed; "/" stands for the top level. The default is an
    empty string, which lists nothing. Setting another keyword clears the list until the reply
    arrives.
*/

/*!
    \property pellix::extras::PKeywordChildren::filterType
    \brief the type of the children to list. The default is KVT_NOPROP, for any type; KVT_OBJECT
    also stands for any type. A change sends the query again.
*/

/*!
    \property pellix::extras::PKeywordChildren::filterAccess
    \brief the access that the children must grant. The default is KVA_NONE, for any access. A
    change sends the query again.
*/

/*!
    \property pellix::extras::PKeywordChildren::filter
    \brief words, separated by spaces, that must all occur in the label or the name of a row, in any
    order and case-insensitively. The default is an empty string, which accepts every row.
*/

/*!
    \property pellix::extras::PKeywordChildren::labels
    \brief whether the model subscribes to the label of each child, which is one more keyword for
    each. The default is \c true.
*/

/*!
    \property pellix::extras::PKeywordChildren::accesses
    \brief whether the model sends two more queries to determine the \c access of each child. The
    default is \c false.
*/

/*!
    \property pellix::extras::PKeywordChildren::loading
    \brief whether a query is pending, including while there is no connection. The default is
    \c false.
*/

/*!
    \property pellix::extras::PKeywordChildren::listed
    \brief whether the server has replied for the current keyword and client. If it is \c true and
    there are no rows, there are no children. The default is \c false.
*/

/*!
    \property pellix::extras::PKeywordChildren::count
    \brief the number of rows.
*/

/*!
    \property pellix::extras::PKeywordChildren::total
    \brief the number of children, including those that \l filter hides.
*/

/*!
    \property pellix::extras::PKeywordChildren::currentKeyword
    \brief the selected keyword, in any spelling. The default is an empty string. It does not change
    with the rows, even if it has no row.
*/

/*!
    \property pellix::extras::PKeywordChildren::currentIndex
    \brief the row of \l currentKeyword, or -1 if it has no row. Setting the property selects the
    keyword of that row, or no keyword if it is -1; any other invalid row has no effect.

    Bind it to the \c currentIndex of a view to keep the selection when the rows change.
*/

/*!
    Constructs a model without rows. If \a parent is given, it owns the model.
*/
PKeywordChildren::PKeywordChildren(QObject *parent)
    : QAbstractListModel(parent), d(std::make_unique<Private>(this))
{
    // The children may have changed while there was no connection.
    connect(&d->link, &ClientLink::linkedChanged, this, [this] {
        if (d->link.linked() && d->listed)
            d->ask();
    });
}

/*!
    Destroys the model, and unsubscribes from the labels.
*/
PKeywordChildren::~PKeywordChildren()
{
    d->link.disconnect(this);
}

PKeywordClient *PKeywordChildren::client() const
{
    return d->link.client();
}

void PKeywordChildren::setClient(PKeywordClient *client)
{
    if (d->link.isClient(client))
        return;
    const QPointer<PKeywordChildren> self(this);
    d->listed = false;
    d->waiting = false;
    d->link.dropAll();
    const auto gone = std::exchange(d->children, {}); // clazy:exclude=unused-non-trivial-variable
    d->arrange();
    if (self)
        d->link.setClient(client);
    if (self)
        Q_EMIT clientChanged();
    if (self && d->link.isClient(client) && !d->listed && !d->waiting)
        d->ask();
}

QString PKeywordChildren::keyword() const
{
    return d->keyword;
}

void PKeywordChildren::setKeyword(const QString &keyword)
{
    if (keyword == d->keyword)
        return;
    d->keyword = keyword;
    const QPointer<PKeywordChildren> self(this);
    Q_EMIT keywordChanged();
    if (self && d->keyword == keyword)
        d->startAnew();
}

PKeywordValueType PKeywordChildren::filterType() const
{
    return d->filterType;
}

void PKeywordChildren::setFilterType(PKeywordValueType type)
{
    if (type == d->filterType)
        return;
    d->filterType = type;
    const QPointer<PKeywordChildren> self(this);
    Q_EMIT filterTypeChanged();
    if (self)
        d->ask();
}

PKeywordValueAccess PKeywordChildren::filterAccess() const
{
    return d->filterAccess;
}

void PKeywordChildren::setFilterAccess(PKeywordValueAccess access)
{
    if (access == d->filterAccess)
        return;
    d->filterAccess = access;
    const QPointer<PKeywordChildren> self(this);
    Q_EMIT filterAccessChanged();
    if (self)
        d->ask();
}

QString PKeywordChildren::filter() const
{
    return d->filter;
}

void PKeywordChildren::setFilter(const QString &filter)
{
    if (filter == d->filter)
        return;
    d->filter = filter;
    d->words = filter.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QPointer<PKeywordChildren> self(this);
    Q_EMIT filterChanged();
    if (self)
        d->arrange();
}

bool PKeywordChildren::labels() const
{
    return d->labels;
}

void PKeywordChildren::setLabels(bool labels)
{
    if (labels == d->labels)
        return;
    d->labels = labels;
    const QPointer<PKeywordChildren> self(this);
    Q_EMIT labelsChanged();
    if (self)
        d->watchLabels();
}

bool PKeywordChildren::accesses() const
{
    return d->accesses;
}

void PKeywordChildren::setAccesses(bool accesses)
{
    if (accesses == d->accesses)
        return;
    d->accesses = accesses;
    const QPointer<PKeywordChildren> self(this);
    Q_EMIT accessesChanged();
    if (self && d->accesses && d->listed)
        d->ask();
}

bool PKeywordChildren::loading() const
{
    return d->waiting;
}

bool PKeywordChildren::listed() const
{
    return d->listed;
}

int PKeywordChildren::count() const
{
    return int(d->shown.rows.size());
}

int PKeywordChildren::total() const
{
    return int(d->children.size());
}

QString PKeywordChildren::currentKeyword() const
{
    return d->current;
}

void PKeywordChildren::setCurrentKeyword(const QString &keyword)
{
    if (keyword == d->current)
        return;
    d->current = keyword;
    const QPointer<PKeywordChildren> self(this);
    Q_EMIT currentKeywordChanged();
    if (self)
        d->tell();
}

int PKeywordChildren::currentIndex() const
{
    return rowOf(d->current);
}

void PKeywordChildren::setCurrentIndex(int row)
{
    if (row == -1)
        setCurrentKeyword(QString());
    else if (row >= 0 && row < count() && row != currentIndex())
        setCurrentKeyword(keywordAt(row));
}

/*!
    Sends the query again. The rows remain until the reply arrives; rows whose children are in the
    reply remain after it.
*/
void PKeywordChildren::refresh()
{
    d->ask();
}

/*!
    Returns the row of \a keyword, in any spelling, or -1.
*/
int PKeywordChildren::rowOf(const QString &keyword) const
{
    if (keyword.isEmpty())
        return -1;
    const auto child = d->children.constFind(normalizedKeyword(keyword));
    return child == d->children.constEnd() ? -1 : (*child)->row;
}

/*!
    Returns the keyword of \a row in the server's spelling, or an empty string if there is no such
    row.
*/
QString PKeywordChildren::keywordAt(int row) const
{
    return data(index(row), KeywordRole).toString();
}

/*!
    Returns the data of \a row, with the names of the roles as keys, or an empty object if there is
    no such row.
*/
QVariantMap PKeywordChildren::get(int row) const
{
    QVariantMap fields;
    if (row < 0 || row >= count())
        return fields;
    const QHash<int, QByteArray> names = roleNames();
    for (auto name = names.cbegin(); name != names.cend(); ++name)
        fields.insert(QString::fromLatin1(*name), data(index(row), name.key()));
    return fields;
}

/*!
    Returns \a keyword with "/" as the only separator.
*/
QString PKeywordChildren::normalized(const QString &keyword) const
{
    return normalizedKeyword(keyword);
}

/*!
    Returns the keyword one level above \a keyword, or "/" for the top level.
*/
QString PKeywordChildren::parentOf(const QString &keyword) const
{
    return QLatin1Char('/')
        + levelsOf(keyword).mid(0, levelsOf(keyword).size() - 1).join(QLatin1Char('/'));
}

int PKeywordChildren::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant PKeywordChildren::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const Child &child = *d->shown.rows[size_t(index.row())];
    switch (role) {
    case KeywordRole:
        return child.listed.keyword;
    case NormalizedKeywordRole:
        return child.listed.normalized;
    case NameRole:
        return child.listed.name;
    case LabelRole:
        return child.label;
    case Qt::DisplayRole:
    case DisplayNameRole:
        return child.shownName();
    case TypeRole:
        return child.listed.type;
    case TypeLetterRole:
        return d->types.getTypeLetter(child.listed.type);
    case TypeColorRole:
        return d->types.getTypeColor(child.listed.type);
    case AccessRole:
        return child.access;
    case HasChildrenRole:
        return child.listed.type.isEmpty();
    }
    return {};
}

QHash<int, QByteArray> PKeywordChildren::roleNames() const
{
    return {
        {KeywordRole, "keyword"},
        {NormalizedKeywordRole, "normalizedKeyword"},
        {NameRole, "name"},
        {LabelRole, "label"},
        {DisplayNameRole, "displayName"},
        {TypeRole, "type"},
        {TypeLetterRole, "typeLetter"},
        {TypeColorRole, "typeColor"},
        {AccessRole, "access"},
        {HasChildrenRole, "hasChildren"},
    };
}

} // namespace pellix::extras
