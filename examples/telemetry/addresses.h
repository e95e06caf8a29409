// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QObject>
#include <QtQml/qqmlregistration.h>

// What QML has to know of the addresses of servers.
class Addresses : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    // The address without its secrets, as it may be seen by anybody who sees the window.
    Q_INVOKABLE QString shown(const QString &address) const;
};
