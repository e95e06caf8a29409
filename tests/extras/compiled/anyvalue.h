// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QObject>
#include <QtCore/QVariant>
#include <QtQml/qqmlregistration.h>

// A type with a property of type QVariant, like the companions.
class AnyValue : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariant value READ value WRITE setValue NOTIFY valueChanged)
    Q_PROPERTY(QVariant same READ value NOTIFY valueChanged)
    QML_ELEMENT

public:
    using QObject::QObject;

    QVariant value() const { return held; }
    void setValue(const QVariant &value)
    {
        held = value;
        Q_EMIT valueChanged();
        Q_EMIT arrived(value);
    }

    Q_INVOKABLE QVariant current() const { return held; }
    Q_INVOKABLE QVariant currentOr(const QVariant &other) const
    {
        return held.isValid() ? held : other;
    }
    Q_INVOKABLE QString typeName(const QVariant &value) const
    {
        return QString::fromLatin1(value.typeName());
    }

Q_SIGNALS:
    void valueChanged();
    void arrived(const QVariant &value);

private:
    QVariant held;
};
