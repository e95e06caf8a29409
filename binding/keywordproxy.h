// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordglobal.h"
#include "client/keywordtypes.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>

Q_MOC_INCLUDE("binding/keywordexpression.h")
Q_MOC_INCLUDE("client/keywordclient.h")

namespace pellix::client {

class PAbstractKeywordExpression;
class PKeywordClient;

class PELLIXCLIENT_KEYWORD_EXPORT PKeywordProxy : public QObject
{
    Q_OBJECT
    Q_PROPERTY(pellix::client::PKeywordClient *client READ client WRITE setClient RESET resetClient
                   NOTIFY clientChanged)
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(pellix::client::PAbstractKeywordExpression *keywordExpression READ keywordExpression
                   WRITE setKeywordExpression NOTIFY keywordExpressionChanged)
    Q_PROPERTY(QVariant value READ value NOTIFY valueChanged)
    Q_PROPERTY(QVariant labelValue READ labelValue NOTIFY labelValueChanged)
    Q_PROPERTY(QVariant valueValid READ valueValid NOTIFY valueValidChanged)
    Q_PROPERTY(QVariant valueLabelValid READ valueLabelValid NOTIFY valueLabelValidChanged)
    Q_PROPERTY(pellix::client::PKeywordValueType valueType READ valueType NOTIFY valueTypeChanged)
    Q_PROPERTY(bool connected READ connected NOTIFY stateChanged)
    Q_PROPERTY(bool online READ online NOTIFY stateChanged)
    Q_PROPERTY(bool consistent READ consistent NOTIFY stateChanged)
    Q_PROPERTY(bool error READ error NOTIFY stateChanged)

public:
    explicit PKeywordProxy(QObject *parent = nullptr);
    ~PKeywordProxy() override;

    PKeywordClient *client() const;
    void setClient(PKeywordClient *client);
    void resetClient();

    QString keyword() const;
    void setKeyword(const QString &keyword, bool labelLookup = false);

    PAbstractKeywordExpression *keywordExpression() const;
    void setKeywordExpression(PAbstractKeywordExpression *expression);

    QVariant value() const;
    QVariant labelValue() const;
    QVariant valueValid() const;
    QVariant valueLabelValid() const;
    PKeywordValueType valueType() const;

    bool connected() const;
    bool online() const;
    bool consistent() const;
    bool error() const;

    Q_INVOKABLE bool update(QVariant value);
    Q_INVOKABLE bool updateRelative(QVariant value);
    Q_INVOKABLE void getKeywordLabel(QString key);

Q_SIGNALS:
    void clientChanged();
    void keywordChanged();
    void keywordExpressionChanged();
    void valueChanged();
    void labelValueChanged();
    void valueValidChanged();
    void valueLabelValidChanged();
    void valueTypeChanged();
    void stateChanged();

private:
    void resetSubscription();
    void onSubscriberValue(const QVariant &published);
    void takeLabelStep(const QVariant &label);
    void finishLabelLookup(const QVariant &lastLabel);

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::client
