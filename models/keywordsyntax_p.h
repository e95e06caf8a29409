// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

// The path rules of the whole library: "/" and "#" separate levels, a clean keyword begins with
// "/".
namespace pellix::client::keywordsyntax {

// Double separators become one, in a single pass, and a leading "/" is added.
QString cleaned(const QString &keyword);

// The levels, without empty ones. A keyword of spaces only is one level.
QStringList split(const QString &keyword);

// The same, but a keyword of spaces only has no level: the rule of the path model.
QStringList splitUnlessBlank(const QString &keyword);

// The clean keyword of the levels.
QString joined(const QStringList &levels);

} // namespace pellix::client::keywordsyntax
