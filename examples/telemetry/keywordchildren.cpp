// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "keywordchildren.h"

#include "extras/browsing/naturalorder.h"
#include "pubsub/publisher.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>

#include <algorithm>

using namespace pellix::client;

KeywordChildren::KeywordChildren(QObject *parent) : QObject(parent) { }

PKeywordClient *KeywordChildren::client() const
{
    return m_client;
}

void KeywordChildren::setClient(PKeywordClient *client)
{
    if (m_client == client)
        return;
    if (m_client) {
        m_client->QObject::disconnect(this);
        m_client->publisher()->disconnect(this);
    }
    m_client = client;
    if (m_client) {
        connect(m_client, &PKeywordClient::keyIndexResponse, this,
                &KeywordChildren::onKeyIndexResponse);
        connect(m_client->publisher(), &PPublisher::activeChanged, this, &KeywordChildren::query);
    }
    Q_EMIT clientChanged();
    query();
}

QString KeywordChildren::keyword() const
{
    return m_keyword;
}

void KeywordChildren::setKeyword(const QString &keyword)
{
    if (m_keyword == keyword)
        return;
    m_keyword = keyword;
    Q_EMIT keywordChanged();
    query();
}

QString KeywordChildren::pattern() const
{
    return m_pattern;
}

void KeywordChildren::setPattern(const QString &pattern)
{
    if (m_pattern == pattern)
        return;
    m_pattern = pattern;
    Q_EMIT patternChanged();
    query();
}

QStringList KeywordChildren::keywords() const
{
    return m_keywords;
}

void KeywordChildren::query()
{
    m_request = QUuid();
    // The list is kept when the connection is lost: the cores still exist, only their values are
    // unknown.
    if (!m_client || m_keyword.isEmpty() || !m_client->publisher()->active())
        return;
    m_request = m_client->sendKeyIndex(m_keyword, PKeywordValueType::KVT_NOPROP,
                                       PKeywordValueAccess::KVA_READ);
}

void KeywordChildren::onKeyIndexResponse(const QUuid &id, const QVariant &data)
{
    if (m_request.isNull() || id != m_request)
        return;
    m_request = QUuid();

    const QRegularExpression pattern(QRegularExpression::anchoredPattern(m_pattern));
    const QJsonArray items = data.toJsonObject()
                                 .value(QStringLiteral("payload"))
                                 .toObject()
                                 .value(QStringLiteral("response"))
                                 .toArray();
    QStringList keywords;
    for (const auto &item : items) {
        QString keyword = item.toObject().value(QStringLiteral("name")).toString();
        keyword.replace(QLatin1Char('#'), QLatin1Char('/'));
        const QString name = keyword.section(QLatin1Char('/'), -1);
        if (m_pattern.isEmpty() || pattern.match(name).hasMatch())
            keywords.append(keyword.startsWith(QLatin1Char('/')) ? keyword
                                                                 : QLatin1Char('/') + keyword);
    }
    // core10 after core9
    std::sort(keywords.begin(), keywords.end(), [](const QString &a, const QString &b) {
        return pellix::extras::compareNaturally(a, b) < 0;
    });

    if (keywords == m_keywords)
        return;
    m_keywords = keywords;
    Q_EMIT keywordsChanged();
}
