// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/keywordwalk.h"

#include "extras/browsing/naturalorder.h"
#include "programs/keyword/connection.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <algorithm>

using namespace pellix::client;

namespace {

constexpr int requestsUnderWay = 32;

// The kind and the number of separators make no difference.
QString plainPath(const QString &keyword)
{
    return QString(keyword)
        .replace(QLatin1Char('#'), QLatin1Char('/'))
        .split(QLatin1Char('/'), Qt::SkipEmptyParts)
        .join(QLatin1Char('/'));
}

// The name of the type, for comparison with the type from the server.
QString wordOf(PKeywordValueType type)
{
    switch (type) {
    case PKeywordValueType::KVT_BOOL:
        return QStringLiteral("bool");
    case PKeywordValueType::KVT_INT:
        return QStringLiteral("int");
    case PKeywordValueType::KVT_DOUBLE:
        return QStringLiteral("double");
    case PKeywordValueType::KVT_STRING:
        return QStringLiteral("string");
    default:
        return {};
    }
}

} // namespace

KeywordWalk::KeywordWalk(Connection *connection, PKeywordValueType type, PKeywordValueAccess access)
    : connection(connection), type(type), access(access)
{
    connect(connection->client(), &PKeywordClient::keyIndexResponse, this,
            &KeywordWalk::onResponse);
    connect(connection, &Connection::opened, this, &KeywordWalk::askAgain);
}

void KeywordWalk::start(const QStringList &roots, int depth)
{
    depthLimit = depth;
    for (const QString &root : roots) {
        if (seen.contains(plainPath(root)))
            continue;
        seen.insert(plainPath(root));
        queue.push_back(int(found.size()));
        found.push_back({root, {}, 0, {}});
    }
    ask();
}

void KeywordWalk::ask()
{
    while (underWay.size() < requestsUnderWay && !queue.empty()) {
        const int position = queue.front();
        const QUuid id =
            connection->client()->sendKeyIndex(found.at(size_t(position)).keyword, type, access);
        if (id.isNull())
            return;
        queue.pop_front();
        underWay.insert(id, position);
    }
}

void KeywordWalk::askAgain()
{
    for (const int position : std::as_const(underWay))
        queue.push_front(position);
    underWay.clear();
    ask();
}

void KeywordWalk::onResponse(const QUuid &id, const QVariant &data)
{
    const auto answered = underWay.constFind(id);
    if (answered == underWay.cend())
        return;
    const int parent = *answered;
    underWay.erase(answered);
    const int depth = found.at(size_t(parent)).depth + 1;

    const QJsonArray response = data.toJsonObject()
                                    .value(QLatin1String("payload"))
                                    .toObject()
                                    .value(QLatin1String("response"))
                                    .toArray();
    std::vector<Item> children;
    for (const auto &entry : response) {
        const QJsonObject child = entry.toObject();
        QString keyword = child.value(QLatin1String("name")).toString();
        if (!keyword.startsWith(QLatin1Char('/')))
            keyword.prepend(QLatin1Char('/'));
        const QString path = plainPath(keyword);
        if (path.isEmpty() || seen.contains(path) || (excluded && excluded(keyword)))
            continue;
        seen.insert(path);
        children.push_back({keyword, child.value(QLatin1String("type")).toString(), depth, {}});
    }
    std::sort(children.begin(), children.end(), [](const Item &a, const Item &b) {
        return pellix::extras::compareNaturally(a.keyword, b.keyword) < 0;
    });
    for (Item &child : children) {
        const int position = int(found.size());
        found.at(size_t(parent)).children.push_back(position);
        if (depthLimit == 0 || depth < depthLimit)
            queue.push_back(position);
        found.push_back(std::move(child));
    }
    ask();
    Q_EMIT progressed();
    if (pending() == 0)
        Q_EMIT finished();
}

QStringList KeywordWalk::keywords() const
{
    QStringList keywords;
    for (size_t i = 0; i < found.size() && found.at(i).depth == 0; ++i)
        collect(int(i), &keywords);
    return keywords;
}

void KeywordWalk::collect(int position, QStringList *keywords) const
{
    const Item &item = found.at(size_t(position));
    // A filter keeps the levels above its matches, and these may have values of other types.
    const QString wanted = wordOf(type);
    if (!item.type.isEmpty() && (wanted.isEmpty() || item.type == wanted))
        keywords->append(item.keyword);
    for (const int child : item.children)
        collect(child, keywords);
}
