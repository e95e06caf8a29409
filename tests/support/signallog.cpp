// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/support/signallog.h"

#include <QtCore/QMetaMethod>

#include <utility>

SignalLog::SignalLog(QObject *sender)
{
    const QMetaMethod slot = staticMetaObject.method(staticMetaObject.indexOfSlot("note()"));
    const QMetaObject *const meta = sender->metaObject();
    for (int i = QObject::staticMetaObject.methodCount(); i < meta->methodCount(); ++i) {
        // A signal with a default argument is listed twice.
        const bool cloned = meta->method(i).attributes() & QMetaMethod::Cloned;
        if (meta->method(i).methodType() == QMetaMethod::Signal && !cloned)
            connect(sender, meta->method(i), this, slot);
    }
}

QString SignalLog::taken()
{
    return std::exchange(names, {}).join(QLatin1Char(' '));
}

void SignalLog::note()
{
    names << QString::fromLatin1(sender()->metaObject()->method(senderSignalIndex()).name());
}
