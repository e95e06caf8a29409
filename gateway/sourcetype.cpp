// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/sourcetype.h"

namespace pellix::gateway {

SourceSettings::~SourceSettings() = default;

MappingTests SourceSettings::runTests(const QString & /*mount*/) const
{
    return {};
}

QJsonObject SourceSettings::toJson(const Source * /*source*/) const
{
    return {};
}

SourceType::~SourceType() = default;

} // namespace pellix::gateway
