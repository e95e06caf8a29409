// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "models/keywordsyntax_p.h"

#include <QtCore/QRegularExpression>

namespace pellix::client::keywordsyntax {

QString cleaned(const QString &keyword)
{
    // Required: one pass, so that three separators in a row become two.
    QString clean = keyword;
    clean.replace(QLatin1String("//"), QLatin1String("/"));
    return clean.startsWith(QLatin1Char('/')) ? clean : QLatin1Char('/') + clean;
}

QStringList split(const QString &keyword)
{
    static const QRegularExpression separator(QStringLiteral("(/|#)"));
    return keyword.split(separator, Qt::SkipEmptyParts);
}

QStringList splitUnlessBlank(const QString &keyword)
{
    return keyword.trimmed().isEmpty() ? QStringList() : split(keyword);
}

QString joined(const QStringList &levels)
{
    return cleaned(levels.join(QLatin1Char('/')));
}

} // namespace pellix::client::keywordsyntax
