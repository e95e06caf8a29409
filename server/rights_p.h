// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/role.h"

#include <QtCore/QStringList>
#include <QtCore/QStringView>

#include <vector>

namespace pellix::server {

// The rights of a role, prepared for checks of normalized paths.
class Rights
{
public:
    Rights() = default; // none
    explicit Rights(const Role &role);

    bool isReadingEverything() const { return readsEverything; }
    bool mayRead(QStringView path) const;
    bool mayWrite(QStringView path) const;
    // Whether there can be a readable keyword below the path.
    bool mayLeadToReadable(QStringView path) const;

private:
    using Pattern = QStringList; // its levels
    using Patterns = std::vector<Pattern>;

    static Patterns compiled(const QStringList &texts);

    Patterns read;
    Patterns write;
    bool readsEverything = false;
};

} // namespace pellix::server
