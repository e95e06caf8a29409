// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/auditfile.h"

#include <QtCore/QLoggingCategory>

#include <utility>

namespace pellix::gateway {

Q_DECLARE_LOGGING_CATEGORY(lcGateway)

bool AuditFile::openToAppend()
{
    return open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
}

qint64 AuditFile::writeData(const char *data, qint64 size)
{
    const qint64 written = QFile::writeData(data, size);
    const bool hasFailed = written != size;
    if (std::exchange(isFailing, hasFailed) != hasFailed) {
        if (hasFailed)
            qCWarning(lcGateway).noquote().nospace()
                << "cannot write to " << fileName() << ": " << errorString()
                << "; writes of clients are not recorded";
        else
            qCInfo(lcGateway).noquote().nospace() << fileName() << ": written to again";
    }
    return written;
}

} // namespace pellix::gateway
