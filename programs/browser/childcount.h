// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QUuid>
#include <QtQml/qqmlregistration.h>

// How many keywords there are directly below one. A list of keywords tells that of the mere levels
// only: a keyword with a value may have others below it, too.
class ChildCount : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    QML_ELEMENT

public:
    explicit ChildCount(QObject *parent = nullptr);

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);
    QString keyword() const;
    void setKeyword(const QString &keyword);

    int count() const; // negative until the server has answered

Q_SIGNALS:
    void clientChanged();
    void keywordChanged();
    void countChanged();

private:
    void ask();
    void onResponse(const QUuid &id, const QVariant &response);
    void setCount(int count);

    QPointer<pellix::client::PKeywordClient> source;
    QString path;
    QUuid request;
    int children = -1;
};
