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
    // The usual patterns, a path and all from a path on, are compared with a path as a whole.
    struct Pattern
    {
        enum Kind {
            Path,
            Branch,
            Other
        };
        QStringList levels;
        Kind kind;
        QString start; // the path; empty for others
    };
    using Patterns = std::vector<Pattern>;

    static Patterns compiled(const QStringList &texts);
    static bool covers(const Patterns &patterns, QStringView path);
    static bool covers(const Pattern &pattern, QStringView path);

    Patterns read;
    Patterns write;
    bool readsEverything = false;
};

} // namespace pellix::server
