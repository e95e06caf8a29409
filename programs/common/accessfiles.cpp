// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/common/accessfiles.h"

#include "programs/common/address.h"

#include <QtCore/QFile>
#include <QtCore/QUrl>

#include <algorithm>
#include <utility>

namespace programs {

namespace {

constexpr qint64 largestToken = qint64(64) * 1024; // a larger file is not a token

} // namespace

QString accessProblem(const AccessFiles &files, const QStringList &addresses)
{
    const std::pair<QLatin1String, const std::optional<QString> *> options[] = {
        {QLatin1String("ca"), &files.authorities},
        {QLatin1String("cert"), &files.certificate},
        {QLatin1String("key"), &files.key},
        {QLatin1String("token-file"), &files.token},
    };
    const auto plain =
        std::find_if(addresses.cbegin(), addresses.cend(), [](const QString &address) {
            return QUrl(address).scheme() != QLatin1String("wss");
        });
    for (const auto &[name, fileName] : options) {
        if (!*fileName)
            continue;
        if ((*fileName)->isEmpty())
            return QStringLiteral("--%1: no file name given").arg(name);
        if (plain != addresses.cend())
            return QStringLiteral("--%1 requires wss:// addresses, unlike %2")
                .arg(name, shownAddress(*plain));
    }
    if (files.certificate.has_value() != files.key.has_value())
        return QStringLiteral("--cert and --key must be used together");
    return QString();
}

QString readToken(const QString &fileName, QString *problem)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = fileName + QLatin1String(": ") + file.errorString();
        return QString();
    }
    const QByteArray content = file.read(largestToken + 1);
    QString token = QString::fromUtf8(content.trimmed());
    if (token.isEmpty() || content.size() > largestToken) {
        *problem = fileName + QLatin1String(": contains no token");
        return QString();
    }
    return token;
}

} // namespace programs
