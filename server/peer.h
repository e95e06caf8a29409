// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/serverglobal.h"

#include <QtCore/QString>

namespace pellix::server {

struct PELLIXCLIENT_SERVER_EXPORT Peer
{
    QString name;
    QString address;
    QString role;
};

} // namespace pellix::server
