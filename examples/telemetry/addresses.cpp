// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "examples/telemetry/addresses.h"

#include "programs/common/address.h"

QString Addresses::shown(const QString &address) const
{
    return programs::shownAddress(address);
}
