// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "client/keywordtypes.h"
#include "extras/extrasglobal.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_EXPORT PKeywordWrite : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(
        int confirmWithin READ confirmWithin WRITE setConfirmWithin NOTIFY confirmWithinChanged)
    Q_PROPERTY(bool typed READ isTyped WRITE setTyped NOTIFY typedChanged)
    Q_PROPERTY(bool ready READ isReady NOTIFY currentChanged)
    Q_PROPERTY(QVariant current READ current NOTIFY currentChanged)
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(bool pending READ isPending NOTIFY stateChanged)
    Q_PROPERTY(QVariant asked READ asked NOTIFY stateChanged)
    Q_PROPERTY(bool relative READ isRelative NOTIFY stateChanged)
    Q_PROPERTY(QVariant received READ received NOTIFY stateChanged)
    Q_PROPERTY(bool unchanged READ isUnchanged NOTIFY stateChanged)
    Q_PROPERTY(int elapsed READ elapsed NOTIFY stateChanged)
    Q_PROPERTY(QString problem READ problem NOTIFY stateChanged)
    QML_ELEMENT

public:
    enum State {
        Idle,
        Pending,
        Taken,
        Changed,
        Refused,
        TimedOut,
        NotSent
    };
    Q_ENUM(State)

    explicit PKeywordWrite(QObject *parent = nullptr);
    ~PKeywordWrite() override;

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);

    QString keyword() const;
    void setKeyword(const QString &keyword);

    int confirmWithin() const;
    void setConfirmWithin(int milliseconds);

    bool isTyped() const;
    void setTyped(bool typed);

    bool isReady() const;
    QVariant current() const;
    pellix::client::PKeywordValue lastEvent() const;

    State state() const;
    bool isPending() const;
    QVariant asked() const;
    bool isRelative() const;
    QVariant received() const;
    bool isUnchanged() const;
    int elapsed() const;
    QString problem() const;

    Q_INVOKABLE void set(const QVariant &value);
    Q_INVOKABLE void add(const QVariant &amount);
    Q_INVOKABLE void reset();

Q_SIGNALS:
    void clientChanged();
    void keywordChanged();
    void confirmWithinChanged();
    void typedChanged();
    void currentChanged();
    void stateChanged();
    void finished();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::extras
