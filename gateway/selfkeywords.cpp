// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/selfkeywords.h"

#include "gateway/sourcemount.h"
#include "server/keywordserver.h"

#include <QtCore/QMetaEnum>

#include <utility>

namespace pellix::gateway {

using server::KeywordServer;

SelfKeywords::SelfKeywords(KeywordServer *server, const QString &mount)
    : server(server), level(mount)
{ }

SelfKeywords::~SelfKeywords()
{
    const KeywordServer::Batch batch(server);
    for (const QString &path : std::as_const(declared))
        server->remove(path);
}

void SelfKeywords::update(const QList<Gateway::SourceStatus> &sources)
{
    const KeywordServer::Batch batch(server);
    told.clear();
    const double seconds = sinceUpdate.isValid() ? double(sinceUpdate.restart()) / 1000 : 0;
    if (!sinceUpdate.isValid())
        sinceUpdate.start();

    const server::Statistics statistics = server->statistics();
    set(QStringLiteral("/clients"), "int", "Clients", statistics.clients);
    set(QStringLiteral("/dropped"), "int", "Clients disconnected",
        qint64(statistics.droppedClients));
    set(QStringLiteral("/keywords"), "int", "Keywords", statistics.keywords);

    const QHash<QString, quint64> before = std::exchange(messages, {});
    for (const Gateway::SourceStatus &one : sources) {
        const QString source = QStringLiteral("/sources/") + one.name;
        const Source::Statistics counts =
            one.source ? one.source->statistics() : Source::Statistics();
        const Source::State state = one.source ? one.source->state() : Source::State::Stopped;
        const SourceMount::Statistics mounted = one.mount->statistics();
        messages.insert(one.name, counts.messages);
        const quint64 last = before.value(one.name, counts.messages);
        const double rate =
            seconds > 0 && counts.messages >= last ? double(counts.messages - last) / seconds : 0;
        set(source + QStringLiteral("/online"), "bool", "Connected and subscribed", one.isReady);
        set(source + QStringLiteral("/state"), "string", "State",
            QString::fromLatin1(QMetaEnum::fromType<Source::State>().valueToKey(int(state))));
        set(source + QStringLiteral("/reason"), "string", "Why it is not ready",
            one.source ? one.source->reason() : QString());
        set(source + QStringLiteral("/messagesPerSecond"), "double", "Messages in 1/s", rate);
        set(source + QStringLiteral("/keywords"), "int", "Keywords", mounted.keywords);
        set(source + QStringLiteral("/onlineKeywords"), "int", "Keywords with a current value",
            mounted.online);
        set(source + QStringLiteral("/writes"), "int", "Writes", qint64(mounted.writes));
        set(source + QStringLiteral("/refusedWrites"), "int", "Writes refused",
            qint64(mounted.refusedWrites));
    }

    const QSet<QString> gone = declared - told;
    for (const QString &path : gone)
        server->remove(path);
    declared -= gone;
}

void SelfKeywords::set(const QString &path, const char *type, const char *label,
                       const QVariant &value)
{
    const QString keyword = level + path;
    if (declared.contains(keyword)) {
        told.insert(keyword);
        server->setValue(keyword, value);
        return;
    }
    KeywordServer::Keyword declaration;
    declaration.path = keyword;
    declaration.type = QString::fromLatin1(type);
    declaration.label = QString::fromUtf8(label);
    declaration.value = value;
    if (server->contains(keyword) || !server->declare(declaration))
        return; // a keyword of a source has precedence
    declared.insert(keyword);
    told.insert(keyword);
}

} // namespace pellix::gateway
