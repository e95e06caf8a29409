// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/serverglobal.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <chrono>

namespace pellix::server {

struct PELLIXCLIENT_SERVER_EXPORT ServeOptions
{
    QHash<QString, QString> labels;
    std::chrono::milliseconds pollInterval {0};
    bool servesObjectName = false;
};

} // namespace pellix::server
