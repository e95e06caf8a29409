// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/extrasglobal.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_EXPORT PKeywordAlarm : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
    Q_PROPERTY(int priority READ priority WRITE setPriority NOTIFY priorityChanged)
    Q_PROPERTY(bool enabled READ enabled WRITE setEnabled NOTIFY enabledChanged)
    Q_PROPERTY(Flags flags READ flags WRITE setFlags NOTIFY flagsChanged)
    Q_PROPERTY(double above READ above WRITE setAbove NOTIFY aboveChanged)
    Q_PROPERTY(double below READ below WRITE setBelow NOTIFY belowChanged)
    Q_PROPERTY(double hysteresis READ hysteresis WRITE setHysteresis NOTIFY hysteresisChanged)
    Q_PROPERTY(QVariant equalTo READ equalTo WRITE setEqualTo NOTIFY equalToChanged)
    Q_PROPERTY(bool active READ active NOTIFY activeChanged)
    QML_ELEMENT

public:
    enum Flag {
        NoFlag = 0,
        Error = 1,
        NotOnline = 2,
        NotConnected = 4,
        NotConsistent = 8,
    };
    Q_DECLARE_FLAGS(Flags, Flag)
    Q_FLAG(Flags)

    explicit PKeywordAlarm(QObject *parent = nullptr);
    ~PKeywordAlarm() override;

    QString keyword() const;
    void setKeyword(const QString &keyword);

    QString text() const;
    void setText(const QString &text);

    int priority() const;
    void setPriority(int priority);

    bool enabled() const;
    void setEnabled(bool enabled);

    Flags flags() const;
    void setFlags(Flags flags);

    double above() const;
    void setAbove(double limit);

    double below() const;
    void setBelow(double limit);

    double hysteresis() const;
    void setHysteresis(double hysteresis);

    QVariant equalTo() const;
    void setEqualTo(const QVariant &value);

    bool active() const;

Q_SIGNALS:
    void keywordChanged();
    void textChanged();
    void priorityChanged();
    void enabledChanged();
    void flagsChanged();
    void aboveChanged();
    void belowChanged();
    void hysteresisChanged();
    void equalToChanged();
    void activeChanged();

private:
    friend class PKeywordAlarms;
    void setActive(bool active);

    class Private;
    const std::unique_ptr<Private> d;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(PKeywordAlarm::Flags)

} // namespace pellix::extras
