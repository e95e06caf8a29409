// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordtree_p.h"

#include "server/sessionstate_p.h"

#include <algorithm>
#include <utility>

namespace pellix::server {

namespace {

QString parentPath(const QString &path)
{
    return path.left(path.lastIndexOf(QLatin1Char('/')));
}

qint64 bytesOf(const QString &text)
{
    return text.size() * qint64(sizeof(QChar));
}

} // namespace

bool ByAge::operator()(const Aggregate *a, const Aggregate *b) const
{
    return a->number < b->number;
}

NodeExtras &Node::more()
{
    if (!extras)
        extras = std::make_unique<NodeExtras>();
    return *extras;
}

KeywordTree::KeywordTree() = default;

KeywordTree::~KeywordTree()
{
    clear();
}

Node *KeywordTree::ensure(const QString &path)
{
    if (path.isEmpty())
        return &top;
    Node *&node = nodes[path];
    if (!node) {
        node = new Node;
        node->path = path;
        pathBytes += bytesOf(path);
    }
    return node;
}

// Only what is declared is below its level: nobody finds what a client merely asked for.
void KeywordTree::declare(Node *node)
{
    if (!node->declared)
        ++keywords;
    node->declared = true;
    for (Node *level = node; !level->listed && level != &top;) {
        Node *const parent = ensure(parentPath(level->path));
        level->listed = true;
        level->parent = parent;
        level->position = quint32(parent->children.size());
        parent->children.push_back(level);
        parent->sorted = parent->children.size() == 1;
        level = parent;
    }
}

void KeywordTree::undeclare(Node *node)
{
    if (!node->declared)
        return;
    --keywords;
    node->declared = false;
    unlist(node);
}

void KeywordTree::unlist(Node *node)
{
    for (Node *level = node; level != &top && level->listed;) {
        if (level->declared || !level->children.empty())
            return;
        Node *const parent = level->parent;
        Node *const last = parent->children.back();
        parent->children[level->position] = last;
        last->position = level->position;
        parent->children.pop_back();
        parent->sorted = parent->sorted && last == level;
        level->listed = false;
        level->parent = nullptr;
        if (level != node)
            drop(level);
        level = parent;
    }
}

void KeywordTree::drop(Node *node)
{
    if (node == &top || node->listed || node->watches)
        return;
    if (node->extras
        && (!node->extras->label.isEmpty() || !node->extras->aggregates.empty()
            || !node->extras->writes.empty()))
        return;
    pathBytes -= bytesOf(node->path);
    nodes.remove(node->path);
    delete node;
}

void KeywordTree::clear()
{
    qDeleteAll(nodes);
    nodes.clear();
    top.children.clear();
    keywords = 0;
    pathBytes = 0;
}

const std::vector<Node *> &KeywordTree::sortedChildren(Node *node)
{
    if (!node->sorted) {
        // All of them have the same path but for their names.
        std::sort(node->children.begin(), node->children.end(),
                  [](const Node *a, const Node *b) { return a->path < b->path; });
        for (std::size_t i = 0; i < node->children.size(); ++i)
            node->children[i]->position = quint32(i);
        node->sorted = true;
    }
    return node->children;
}

qint64 KeywordTree::bytes() const
{
    return pathBytes + qint64(nodes.capacity()) * qint64(sizeof(std::pair<QString, Node *>) + 1)
        + nodes.size() * qint64(sizeof(Node));
}

} // namespace pellix::server
