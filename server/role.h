// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/serverglobal.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace pellix::server {

struct PELLIXCLIENT_SERVER_EXPORT Role
{
    QString name;
    QStringList read;
    QStringList write;

    static bool isPattern(const QString &text);
};

} // namespace pellix::server
