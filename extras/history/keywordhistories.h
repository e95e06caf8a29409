// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "extras/extrasglobal.h"
#include "extras/history/keywordhistory.h"

#include <QtCore/QDateTime>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QStringList>
#include <QtQml/QQmlListProperty>
#include <QtQml/qqmlregistration.h>

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_EXPORT PKeywordHistories : public QObject
{
    Q_OBJECT
    // The list of declared objects is only set up, and not bound to.
    // clazy:excludeall=qproperty-without-notify
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(QStringList keywords READ keywords WRITE setKeywords NOTIFY keywordsChanged)
    Q_PROPERTY(int capacity READ capacity WRITE setCapacity NOTIFY capacityChanged)
    Q_PROPERTY(int count READ count NOTIFY historiesChanged)
    Q_PROPERTY(QString error READ error NOTIFY errorChanged)
    Q_PROPERTY(QQmlListProperty<pellix::extras::PKeywordHistory> declared READ declaredList)
    Q_CLASSINFO("DefaultProperty", "declared")
    QML_ELEMENT

public:
    explicit PKeywordHistories(QObject *parent = nullptr);
    ~PKeywordHistories() override;

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);
    QStringList keywords() const;
    void setKeywords(const QStringList &keywords);
    int capacity() const;
    void setCapacity(int capacity);
    int count() const;
    QString error() const;

    Q_INVOKABLE pellix::extras::PKeywordHistory *at(int index) const;
    Q_INVOKABLE pellix::extras::PKeywordHistory *find(const QString &keyword) const;
    Q_INVOKABLE QString toCsv(const QDateTime &from = {}, const QDateTime &to = {}) const;
    Q_INVOKABLE bool saveCsv(const QString &file, const QDateTime &from = {},
                             const QDateTime &to = {});

    const QList<PKeywordHistory *> &histories() const { return all; }
    void add(PKeywordHistory *history);
    void remove(PKeywordHistory *history);

Q_SIGNALS:
    void clientChanged();
    void keywordsChanged();
    void capacityChanged();
    void historiesChanged();
    void errorChanged();
    void sampled();

private:
    static void appendDeclared(QQmlListProperty<PKeywordHistory> *list, PKeywordHistory *history);
    static qsizetype countDeclared(QQmlListProperty<PKeywordHistory> *list);
    static PKeywordHistory *atDeclared(QQmlListProperty<PKeywordHistory> *list, qsizetype index);
    static void clearDeclared(QQmlListProperty<PKeywordHistory> *list);
    QQmlListProperty<PKeywordHistory> declaredList();
    PKeywordHistory *createHistory(const QString &keyword);
    void follow(PKeywordHistory *history);
    void onDestroyed(QObject *history);
    void rebuild();
    void setError(const QString &text);

    QPointer<pellix::client::PKeywordClient> source;
    QStringList list;
    int samples = static_cast<int>(PKeywordSamples::defaultCapacity);
    QList<PKeywordHistory *> added; // declared in QML, or by add()
    QList<PKeywordHistory *> made; // one of each of the keywords
    QList<PKeywordHistory *> all; // both
    QString problem;
};

} // namespace pellix::extras
