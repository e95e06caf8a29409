// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QString>

namespace pellix::server {

/*
    Returns the keyword of a command with this name that is spelt as clients spell it: without
    blanks, with the keyword as its only member, in plain ASCII without escapes. That is a tenth of
    the work of building a document for it, and most commands are of this kind.

    Returns an empty string, without logging anything, for any other command, which is left to
    QJsonDocument. The result is exactly that of QJsonDocument.
*/
QString plainKeyword(QByteArrayView command, QLatin1String name);

} // namespace pellix::server
