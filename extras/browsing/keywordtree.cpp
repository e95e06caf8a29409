// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/browsing/keywordtree.h"

#include "extras/browsing/listedrow_p.h"
#include "models/keywordquerymodel.h"

#include <QtCore/QHash>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

#include <algorithm>
#include <utility>

using namespace pellix::client;

namespace pellix::extras {

namespace {

struct Node;
using NodePointer = std::shared_ptr<Node>;

struct Node : ListedRow
{
    enum Level {
        Unasked,
        Asked,
        Known
    };
    enum Below {
        NotLooked,
        Looking,
        Nothing,
        Something
    };

    std::weak_ptr<Node> parent;
    UpdatedRows<Node> children;
    std::vector<NodePointer> wanted; // the children to be there after the next update
    Level level = Unasked; // the known data of the children
    Below below = NotLooked; // whether there are any, while they are not known
    quint64 question = 0;
    bool unsettled = false;
};

bool isBefore(const NodePointer &left, const NodePointer &right)
{
    return isListedBefore(*left, *right);
}

} // namespace

class Q_DECL_HIDDEN PKeywordTree::Private
{
public:
    explicit Private(PKeywordTree *q) : q(q), rest(q, [this] { settle(); }) { }

    NodePointer nodeAt(const QModelIndex &index) const;
    QModelIndex indexAt(const NodePointer &node) const;
    bool isThere(const NodePointer &node) const;
    void clear();
    void begin();
    void askAgain();
    void ask(const NodePointer &node);
    void onListed(const NodePointer &node, const QVariant &response);
    void look();
    void onLooked(const NodePointer &node, bool something);
    void watchLabels(const NodePointer &node);
    void onLabel(Node *node, const QString &label);
    void settleSoon(const NodePointer &level);
    void settle();
    void arrange(const NodePointer &level);
    void forget(const NodePointer &node);
    void changed(const NodePointer &node, const QList<int> &roles);
    void tell();
    template <typename Do> void forEach(const NodePointer &node, const Do &act) const;

    PKeywordTree *const q;
    const PKeywordQueryModel types; // provides letters and colors
    QString keyword = QStringLiteral("/");
    PKeywordValueType filterType = PKeywordValueType::KVT_NOPROP;
    PKeywordValueAccess filterAccess = PKeywordValueAccess::KVA_NONE;
    bool labels = true;
    bool lookBelow = true;
    LabelRest rest;
    QTimer looking;
    ClientLink link;
    NodePointer root = std::make_shared<Node>();
    std::vector<std::weak_ptr<Node>> toLookAt;
    std::vector<std::weak_ptr<Node>> toArrange;
    bool arranging = false;
    int waiting = 0; // for so many answers
    bool toldLoading = false;
};

// For the node and everything below it. The function may change the tree.
template <typename Do>
void PKeywordTree::Private::forEach(const NodePointer &node, const Do &act) const
{
    std::vector<NodePointer> open {node};
    while (!open.empty()) {
        const NodePointer next = open.back();
        open.pop_back();
        open.insert(open.end(), next->children.rows.cbegin(), next->children.rows.cend());
        act(next);
    }
}

NodePointer PKeywordTree::Private::nodeAt(const QModelIndex &index) const
{
    if (!index.isValid())
        return root;
    const auto *const node = static_cast<const Node *>(index.internalPointer());
    const NodePointer parent = node->parent.lock();
    return parent ? parent->children.rows[size_t(node->row)] : nullptr;
}

QModelIndex PKeywordTree::Private::indexAt(const NodePointer &node) const
{
    return node == root ? QModelIndex() : q->createIndex(node->row, 0, node.get());
}

// Not one that has been removed, nor below one.
bool PKeywordTree::Private::isThere(const NodePointer &node) const
{
    NodePointer top = node;
    while (top && top != root)
        top = top->row >= 0 ? top->parent.lock() : nullptr;
    return top == root;
}

// All known data belongs to another keyword, or to another server.
void PKeywordTree::Private::clear()
{
    link.dropAll();
    waiting = 0;
    forEach(root, [](const NodePointer &node) {
        node->question = 0;
        node->level = Node::Unasked;
        node->below = Node::NotLooked;
    });
    root->wanted.clear();
    arrange(root);
}

void PKeywordTree::Private::begin()
{
    const QPointer<PKeywordTree> self(q);
    if (link.client() && root->level == Node::Unasked)
        ask(root);
    if (self)
        tell();
}

// The children may have changed: each queried level is queried again.
void PKeywordTree::Private::askAgain()
{
    const QPointer<PKeywordTree> self(q);
    std::vector<NodePointer> levels;
    forEach(root, [&](const NodePointer &node) {
        if (node->below == Node::Something || node->below == Node::Nothing) {
            node->below = Node::NotLooked;
            if (node->level == Node::Unasked)
                toLookAt.push_back(node);
        }
        if (node->level == Node::Known)
            levels.push_back(node);
    });
    for (const NodePointer &level : levels) {
        if (isThere(level))
            ask(level);
        if (!self)
            return;
    }
    if (!toLookAt.empty())
        looking.start();
}

void PKeywordTree::Private::ask(const NodePointer &node)
{
    if (node->question) {
        link.drop(node->question);
        node->question = 0;
        --waiting;
    }
    if (node->level == Node::Unasked)
        node->level = Node::Asked;
    ++waiting;
    const QPointer<PKeywordTree> self(q);
    const bool isRoot = node == root;
    const QString path = isRoot ? keyword : node->listed.normalized;
    // The reply may arrive at once: it is the reply that removes the query.
    const auto answered = std::make_shared<bool>(false);
    const std::weak_ptr<Node> asked = node;
    const quint64 question = link.ask({path, filterType, filterAccess, false},
                                      [this, asked, answered](const QVariant &response) {
                                          *answered = true;
                                          --waiting;
                                          const QPointer<PKeywordTree> alive(q);
                                          if (const NodePointer level = asked.lock())
                                              onListed(level, response);
                                          if (alive)
                                              tell();
                                      });
    if (!self)
        return;
    if (!*answered)
        node->question = question;
    changed(node, {LoadingRole});
    if (self)
        tell();
}

void PKeywordTree::Private::onListed(const NodePointer &node, const QVariant &response)
{
    node->question = 0;
    if (!isThere(node))
        return;
    const bool wasKnown = node->level == Node::Known;
    node->level = Node::Known;
    QHash<QString, NodePointer> before;
    for (const NodePointer &child : node->children.rows)
        before.insert(child->listed.normalized, child);
    std::vector<NodePointer> wanted;
    for (ListedKeyword &found : listedIn(response)) {
        NodePointer child = before.value(found.normalized);
        if (!child || !child->isOf(found))
            child = std::make_shared<Node>();
        child->listed = std::move(found);
        child->parent = node;
        wanted.push_back(std::move(child));
    }
    node->wanted = std::move(wanted);
    const QPointer<PKeywordTree> self(q);
    arrange(node);
    if (self)
        watchLabels(node);
    // Whether it can be expanded may have changed with it.
    if (self)
        changed(node, wasKnown ? QList<int> {LoadingRole} : QList<int> {});
}

// Queries the children of keywords with a value, as far as a view has asked whether they have any.
void PKeywordTree::Private::look()
{
    const auto nodes = std::exchange(toLookAt, {});
    const QPointer<PKeywordTree> self(q);
    for (const std::weak_ptr<Node> &kept : nodes) {
        const NodePointer node = kept.lock();
        if (!node || node->below != Node::NotLooked || node->level != Node::Unasked
            || !isThere(node))
            continue;
        node->below = Node::Looking;
        link.ask({node->listed.normalized, filterType, filterAccess, true},
                 [this, kept](const QVariant &response) {
                     const NodePointer found = kept.lock();
                     if (found && found->below == Node::Looking)
                         onLooked(found, !listedIn(response).empty());
                 });
        if (!self)
            return;
    }
}

void PKeywordTree::Private::onLooked(const NodePointer &node, bool something)
{
    node->below = something ? Node::Something : Node::Nothing;
    if (something && isThere(node))
        changed(node, {});
}

void PKeywordTree::Private::watchLabels(const NodePointer &node)
{
    const QPointer<PKeywordTree> self(q);
    const auto children = node->children.rows;
    for (const NodePointer &child : children) {
        if (bool(child->labelWatch) == labels)
            continue;
        if (!labels || child->row >= 0) {
            child->watchLabel(labels, link, [this, child = child.get()](const QString &label) {
                onLabel(child, label);
            });
        }
        if (!self)
            return;
    }
}

void PKeywordTree::Private::onLabel(Node *node, const QString &label)
{
    if (label == node->label)
        return;
    node->label = label;
    const NodePointer parent = node->parent.lock();
    if (node->row < 0 || !parent)
        return;
    settleSoon(parent);
    changed(parent->children.rows[size_t(node->row)],
            {LabelRole, DisplayNameRole, Qt::DisplayRole});
}

void PKeywordTree::Private::settleSoon(const NodePointer &level)
{
    if (!level->unsettled) {
        level->unsettled = true;
        toArrange.push_back(level);
    }
    rest.begin();
}

// The rows of each level that waits, in order. A handler may have more levels wait.
void PKeywordTree::Private::settle()
{
    rest.stop();
    if (arranging)
        return;
    const QPointer<PKeywordTree> self(q);
    arranging = true;
    while (!toArrange.empty()) {
        const NodePointer level = toArrange.back().lock();
        toArrange.pop_back();
        if (!level)
            continue;
        level->unsettled = false;
        if (!isThere(level))
            continue;
        std::sort(level->wanted.begin(), level->wanted.end(), isBefore);
        const auto before = level->children.rows;
        RowUpdate::run(q, indexAt(level), level->children, level->wanted);
        if (!self)
            return;
        for (const NodePointer &child : before) {
            if (child->row < 0)
                forget(child);
            if (!self)
                return;
        }
    }
    arranging = false;
}

void PKeywordTree::Private::arrange(const NodePointer &level)
{
    if (!level->unsettled) {
        level->unsettled = true;
        toArrange.push_back(level);
    }
    settle();
}

// One that has been removed: its data, and that of everything below it, is no longer needed.
void PKeywordTree::Private::forget(const NodePointer &node)
{
    const QPointer<PKeywordTree> self(q);
    forEach(node, [&](const NodePointer &gone) {
        if (!self)
            return;
        if (const quint64 question = std::exchange(gone->question, 0)) {
            link.drop(question);
            --waiting;
        }
        gone->labelWatch.reset();
    });
}

void PKeywordTree::Private::changed(const NodePointer &node, const QList<int> &roles)
{
    if (node == root || !isThere(node))
        return;
    const QModelIndex index = indexAt(node);
    Q_EMIT q->dataChanged(index, index, roles);
}

void PKeywordTree::Private::tell()
{
    if (toldLoading == (waiting > 0))
        return;
    toldLoading = !toldLoading;
    Q_EMIT q->loadingChanged();
}

/*!
    \class pellix::extras::PKeywordTree
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/browsing/keywordtree.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordTree class provides the keywords of a server as a tree, for a TreeView.

    Each level is queried when it is fetched, which a view does when a row is expanded. Its rows are
    in natural order. When the connection is restored, the model queries all these levels again;
    keywords that are listed both before and after keep their rows, so expanded and selected rows
    stay as they are. Setting another client or another keyword clears the tree.

    A row that is only a level can be expanded. For a keyword with a value, only a query shows
    whether it has children: with \l lookBelow, the model sends this query when a view asks for it,
    up to 64 at a time.

    In QML, the roles have these names, as in PKeywordChildren:

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
    \row \li loading \li whether the query of the level below is pending
    \endtable

    The model does not own the client. If the client is destroyed, the property becomes \c nullptr.
    \sa PKeywordChildren, {Browsing}
*/

/*!
    \enum pellix::extras::PKeywordTree::Role

    This enum describes the roles of a row.

    \value KeywordRole            \c keyword
    \value NormalizedKeywordRole  \c normalizedKeyword
    \value NameRole               \c name
    \value LabelRole              \c label
    \value DisplayNameRole        \c displayName
    \value TypeRole               \c type
    \value TypeLetterRole         \c typeLetter
    \value TypeColorRole          \c typeColor
    \value LoadingRole            \c loading
*/

/*!
    \property pellix::extras::PKeywordTree::client
    \brief the client that sends the queries. The default is \c nullptr. Setting another client
    clears the tree.
*/

/*!
    \property pellix::extras::PKeywordTree::keyword
    \brief the keyword whose children are the top level of the tree. The default is "/".
*/

/*!
    \property pellix::extras::PKeywordTree::filterType
    \brief the type of the keywords to list. The default is KVT_NOPROP, for any type. A change sends
    the queries again.
*/

/*!
    \property pellix::extras::PKeywordTree::filterAccess
    \brief the access that the keywords must grant. The default is KVA_NONE, for any access. A
    change sends the queries again.
*/

/*!
    \property pellix::extras::PKeywordTree::labels
    \brief whether the model subscribes to the label of each row, which is one more keyword for
    each. The default is \c true.
*/

/*!
    \property pellix::extras::PKeywordTree::lookBelow
    \brief whether the model queries the children of keywords with a value. The default is \c true.
    If it is \c false, these keywords cannot be expanded.
*/

/*!
    \property pellix::extras::PKeywordTree::loading
    \brief whether the query of a level is pending, including while there is no connection. The
    default is \c false.
*/

/*!
    Constructs a model without rows. If \a parent is given, it owns the model.
*/
PKeywordTree::PKeywordTree(QObject *parent)
    : QAbstractItemModel(parent), d(std::make_unique<Private>(this))
{
    // hasChildren() sends nothing: a view may call it from anywhere.
    d->looking.setSingleShot(true);
    connect(&d->looking, &QTimer::timeout, this, [this] { d->look(); });
    connect(&d->link, &ClientLink::linkedChanged, this, [this] {
        if (d->link.linked())
            d->askAgain();
    });
}

/*!
    Destroys the model, and unsubscribes from the labels.
*/
PKeywordTree::~PKeywordTree()
{
    d->link.disconnect(this);
}

PKeywordClient *PKeywordTree::client() const
{
    return d->link.client();
}

void PKeywordTree::setClient(PKeywordClient *client)
{
    if (d->link.isClient(client))
        return;
    const QPointer<PKeywordTree> self(this);
    d->clear();
    if (self)
        d->link.setClient(client);
    if (self)
        Q_EMIT clientChanged();
    if (self && d->link.isClient(client))
        d->begin();
}

QString PKeywordTree::keyword() const
{
    return d->keyword;
}

void PKeywordTree::setKeyword(const QString &keyword)
{
    if (keyword == d->keyword)
        return;
    d->keyword = keyword;
    const QPointer<PKeywordTree> self(this);
    Q_EMIT keywordChanged();
    if (self && d->keyword == keyword)
        d->clear();
    if (self && d->keyword == keyword)
        d->begin();
}

PKeywordValueType PKeywordTree::filterType() const
{
    return d->filterType;
}

void PKeywordTree::setFilterType(PKeywordValueType type)
{
    if (type == d->filterType)
        return;
    d->filterType = type;
    const QPointer<PKeywordTree> self(this);
    Q_EMIT filterTypeChanged();
    if (self)
        refresh();
}

PKeywordValueAccess PKeywordTree::filterAccess() const
{
    return d->filterAccess;
}

void PKeywordTree::setFilterAccess(PKeywordValueAccess access)
{
    if (access == d->filterAccess)
        return;
    d->filterAccess = access;
    const QPointer<PKeywordTree> self(this);
    Q_EMIT filterAccessChanged();
    if (self)
        refresh();
}

bool PKeywordTree::labels() const
{
    return d->labels;
}

void PKeywordTree::setLabels(bool labels)
{
    if (labels == d->labels)
        return;
    d->labels = labels;
    const QPointer<PKeywordTree> self(this);
    Q_EMIT labelsChanged();
    if (!self)
        return;
    d->forEach(d->root, [&](const NodePointer &node) {
        if (self)
            d->watchLabels(node);
    });
}

bool PKeywordTree::lookBelow() const
{
    return d->lookBelow;
}

void PKeywordTree::setLookBelow(bool lookBelow)
{
    if (lookBelow == d->lookBelow)
        return;
    d->lookBelow = lookBelow;
    Q_EMIT lookBelowChanged();
}

bool PKeywordTree::loading() const
{
    return d->waiting > 0;
}

/*!
    Queries each level again that has been queried before. The rows remain until the replies arrive.
*/
void PKeywordTree::refresh()
{
    if (!d->link.client())
        return;
    if (d->root->level == Node::Known)
        d->askAgain();
    else
        d->ask(d->root);
}

/*!
    Returns the index of \a keyword, in any spelling. The index is invalid if the keyword is not in
    a level that has been fetched.
*/
QModelIndex PKeywordTree::indexOf(const QString &keyword) const
{
    const QString path = normalizedKeyword(keyword);
    NodePointer level = d->root;
    while (level) {
        NodePointer next;
        for (const NodePointer &child : level->children.rows) {
            if (child->listed.normalized == path)
                return d->indexAt(child);
            if (path.startsWith(child->listed.normalized + QLatin1Char('/')))
                next = child;
        }
        level = next;
    }
    return {};
}

/*!
    Returns the keyword at \a index in the server's spelling, or an empty string if the index is
    invalid.
*/
QString PKeywordTree::keywordAt(const QModelIndex &index) const
{
    return data(index, KeywordRole).toString();
}

QModelIndex PKeywordTree::index(int row, int column, const QModelIndex &parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    const NodePointer level = d->nodeAt(parent);
    return createIndex(row, column, level->children.rows[size_t(row)].get());
}

QModelIndex PKeywordTree::parent(const QModelIndex &index) const
{
    if (!index.isValid())
        return {};
    const NodePointer parent = static_cast<const Node *>(index.internalPointer())->parent.lock();
    return parent ? d->indexAt(parent) : QModelIndex();
}

int PKeywordTree::rowCount(const QModelIndex &parent) const
{
    if (parent.column() > 0)
        return 0;
    const NodePointer level = d->nodeAt(parent);
    return level ? int(level->children.rows.size()) : 0;
}

int PKeywordTree::columnCount(const QModelIndex &parent) const
{
    Q_UNUSED(parent)
    return 1;
}

/*!
    \reimp

    Returns \c true as well for a level that has not been queried and may have children.
*/
bool PKeywordTree::hasChildren(const QModelIndex &parent) const
{
    const NodePointer node = d->nodeAt(parent);
    if (!node)
        return false;
    if (node->level == Node::Known || node == d->root || !node->children.rows.empty())
        return !node->children.rows.empty();
    if (node->listed.type.isEmpty())
        return true;
    if (d->lookBelow && node->below == Node::NotLooked) {
        d->toLookAt.push_back(node);
        if (!d->looking.isActive())
            d->looking.start();
    }
    return node->below == Node::Something;
}

/*!
    \reimp
*/
bool PKeywordTree::canFetchMore(const QModelIndex &parent) const
{
    const NodePointer node = d->nodeAt(parent);
    return node && node != d->root && d->link.client() && node->level == Node::Unasked
        && (node->listed.type.isEmpty() || node->below == Node::Something);
}

/*!
    \reimp

    Queries the level below \a parent, once.
*/
void PKeywordTree::fetchMore(const QModelIndex &parent)
{
    if (canFetchMore(parent))
        d->ask(d->nodeAt(parent));
}

QVariant PKeywordTree::data(const QModelIndex &index, int role) const
{
    const NodePointer node = index.isValid() ? d->nodeAt(index) : nullptr;
    if (!node)
        return {};
    switch (role) {
    case KeywordRole:
        return node->listed.keyword;
    case NormalizedKeywordRole:
        return node->listed.normalized;
    case NameRole:
        return node->listed.name;
    case LabelRole:
        return node->label;
    case Qt::DisplayRole:
    case DisplayNameRole:
        return node->shownName();
    case TypeRole:
        return node->listed.type;
    case TypeLetterRole:
        return d->types.getTypeLetter(node->listed.type);
    case TypeColorRole:
        return d->types.getTypeColor(node->listed.type);
    case LoadingRole:
        return node->question != 0;
    }
    return {};
}

QHash<int, QByteArray> PKeywordTree::roleNames() const
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
        {LoadingRole, "loading"},
    };
}

} // namespace pellix::extras
