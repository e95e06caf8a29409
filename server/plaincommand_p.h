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

    Returns an empty text, with nothing said about the command, when it is anything else:
    QJsonDocument is the judge of that. What is returned is exactly what QJsonDocument would have
    given.
*/
QString plainKeyword(QByteArrayView command, QLatin1String name);

} // namespace pellix::server
