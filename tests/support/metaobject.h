// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QMetaMethod>
#include <QtCore/QMetaObject>
#include <QtCore/QMetaProperty>
#include <QtCore/QStringList>

// The members that the class itself adds to its meta-object, in order, one short text per member.
inline QStringList ownMethods(const QMetaObject &meta)
{
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        const char *const kind = method.methodType() == QMetaMethod::Signal ? "signal"
            : method.methodType() == QMetaMethod::Slot                      ? "slot"
                                                                            : "method";
        methods << QString::fromLatin1(kind) + QLatin1Char(' ')
                + QString::fromLatin1(method.methodSignature());
    }
    return methods;
}

inline QStringList ownProperties(const QMetaObject &meta)
{
    QStringList properties;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        QString text = QString::fromLatin1(property.name());
        if (property.isWritable())
            text += QLatin1String(" w");
        if (property.isResettable())
            text += QLatin1String(" r");
        text += QLatin1Char(' ') + QString::fromLatin1(property.notifySignal().name());
        properties << text;
    }
    return properties;
}

// "a, b" -> {"a", "b"}
inline QStringList names(const char *text)
{
    return QString::fromLatin1(text).split(QStringLiteral(", "));
}
