// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordglobal.h"
#include "client/keywordtypes.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>
#include <tuple>

namespace pellix::client {

class PELLIXCLIENT_KEYWORD_EXPORT PAbstractKeywordExpression : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString keyword READ keyword NOTIFY keywordChanged)
    Q_PROPERTY(QStringList keywordChildren READ keywordChildren NOTIFY keywordChildrenChanged)

public:
    explicit PAbstractKeywordExpression(QObject *parent = nullptr);
    ~PAbstractKeywordExpression() override;

    QString keyword() const;
    QStringList keywordChildren() const;
    bool valid() const;

    virtual PKeywordAggregation aggregation() const;

Q_SIGNALS:
    void keywordChanged();
    void keywordChildrenChanged();
    void validChanged();

protected:
    virtual std::tuple<QString, QStringList> calculateKeyword() const = 0;

    void doUpdate();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

class PELLIXCLIENT_KEYWORD_EXPORT PKeywordExpression : public PAbstractKeywordExpression
{
    Q_OBJECT
    Q_PROPERTY(QString value READ value WRITE setValue NOTIFY valueChanged)

public:
    explicit PKeywordExpression(QObject *parent = nullptr);
    explicit PKeywordExpression(const QString &value, QObject *parent = nullptr);
    ~PKeywordExpression() override;

    QString value() const;
    void setValue(const QString &value);

Q_SIGNALS:
    void valueChanged();

protected:
    std::tuple<QString, QStringList> calculateKeyword() const override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

class PELLIXCLIENT_KEYWORD_EXPORT PPostfixKeywordExpression : public PKeywordExpression
{
    Q_OBJECT
    Q_PROPERTY(QString postfix READ postfix WRITE setPostfix NOTIFY postfixChanged)

public:
    explicit PPostfixKeywordExpression(QObject *parent = nullptr);
    ~PPostfixKeywordExpression() override;

    QString postfix() const;
    void setPostfix(const QString &postfix);

Q_SIGNALS:
    void postfixChanged();

protected:
    std::tuple<QString, QStringList> calculateKeyword() const override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

class PELLIXCLIENT_KEYWORD_EXPORT PListPostfixKeywordExpression : public PAbstractKeywordExpression
{
    Q_OBJECT
    Q_PROPERTY(QStringList values READ values WRITE setValues NOTIFY valuesChanged)
    Q_PROPERTY(QString postfix READ postfix WRITE setPostfix NOTIFY postfixChanged)
    Q_PROPERTY(pellix::client::PKeywordAggregation aggregation READ aggregation WRITE setAggregation
                   NOTIFY aggregationChanged)

public:
    explicit PListPostfixKeywordExpression(QObject *parent = nullptr);
    ~PListPostfixKeywordExpression() override;

    QStringList values() const;
    void setValues(const QStringList &values);

    QString postfix() const;
    void setPostfix(const QString &postfix);

    PKeywordAggregation aggregation() const override;
    void setAggregation(PKeywordAggregation aggregation);

Q_SIGNALS:
    void valuesChanged();
    void postfixChanged();
    void aggregationChanged();

protected:
    std::tuple<QString, QStringList> calculateKeyword() const override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::client
