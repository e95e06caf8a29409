// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QObject>
#include <QtQml/qqmlregistration.h>

// Provides functions for server addresses to QML.
class Addresses : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    // The address without its secrets, which must not be visible in the window.
    Q_INVOKABLE QString shown(const QString &address) const;
};
