// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/plaincommand_p.h"

#include <algorithm>

namespace pellix::server {

namespace {

bool take(QByteArrayView *text, QByteArrayView start)
{
    if (!text->startsWith(start))
        return false;
    *text = text->sliced(start.size());
    return true;
}

bool needsNoEscape(char character)
{
    return character >= 0x20 && character < 0x7f && character != '"' && character != '\\';
}

} // namespace

QString plainKeyword(QByteArrayView command, QLatin1String name)
{
    constexpr QByteArrayView end("\"}}");
    if (!take(&command, "{\"cmd\":\"") || !take(&command, QByteArrayView(name.data(), name.size()))
        || !take(&command, "\",\"payload\":{\"keyword\":\"") || !command.endsWith(end))
        return {};
    const QByteArrayView keyword = command.chopped(end.size());
    if (!std::all_of(keyword.cbegin(), keyword.cend(), needsNoEscape))
        return {};
    return QString::fromLatin1(keyword);
}

} // namespace pellix::server
