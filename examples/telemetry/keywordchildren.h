// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QStringList>
#include <QtCore/QUuid>
#include <QtQml/qqmlregistration.h>

/*
    The children of a keyword whose names match a pattern. The object queries the server when the
    keyword, the pattern, or the client changes, and whenever the connection is established. The
    code therefore need not contain the number of cores.
*/
class KeywordChildren : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(QString pattern READ pattern WRITE setPattern NOTIFY patternChanged)
    Q_PROPERTY(QStringList keywords READ keywords NOTIFY keywordsChanged)
    QML_ELEMENT

public:
    explicit KeywordChildren(QObject *parent = nullptr);

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);

    QString keyword() const;
    void setKeyword(const QString &keyword);

    QString pattern() const;
    void setPattern(const QString &pattern);

    QStringList keywords() const;

Q_SIGNALS:
    void clientChanged();
    void keywordChanged();
    void patternChanged();
    void keywordsChanged();

private:
    void query();
    void onKeyIndexResponse(const QUuid &id, const QVariant &data);

    QPointer<pellix::client::PKeywordClient> m_client;
    QString m_keyword;
    QString m_pattern;
    QStringList m_keywords;
    QUuid m_request;
};
