// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/support/signallog.h"

#include <QtCore/QMetaMethod>

SignalLog::SignalLog(QObject *sender)
{
    const QMetaMethod slot = metaObject()->method(metaObject()->indexOfSlot("note()"));
    const QMetaObject *const meta = sender->metaObject();
    for (int i = QObject::staticMetaObject.methodCount(); i < meta->methodCount(); ++i) {
        if (meta->method(i).methodType() == QMetaMethod::Signal)
            connect(sender, meta->method(i), this, slot);
    }
}

QString SignalLog::taken()
{
    const QString text = names.join(QLatin1Char(' '));
    names.clear();
    return text;
}

void SignalLog::note()
{
    names << QString::fromLatin1(sender()->metaObject()->method(senderSignalIndex()).name());
}
