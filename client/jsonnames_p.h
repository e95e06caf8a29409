// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QLatin1String>
#include <QtCore/QString>

#include <array>
#include <memory>

namespace pellix::client {

/*
    Member names of objects. Servers send objects with the same names again and again: all of these
    values share one text for each name, instead of allocating it for each member.

    The size is fixed. A name replaces another one that has the same place.
*/
class JsonNames
{
public:
    QString shared(QLatin1String name)
    {
        constexpr qsizetype longest = 32;
        if (name.size() > longest)
            return name;
        if (!names)
            names = std::make_unique<Table>();
        QString &known = (*names)[placeOf(name)];
        if (known != name)
            known = name;
        return known;
    }

private:
    using Table = std::array<QString, 256>;

    static size_t placeOf(QLatin1String name)
    {
        size_t hash = 0;
        for (const char character : name)
            hash = hash * 31 + static_cast<unsigned char>(character);
        return hash % std::tuple_size_v<Table>;
    }

    std::unique_ptr<Table> names; // null until it is needed
};

} // namespace pellix::client
