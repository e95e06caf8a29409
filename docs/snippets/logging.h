// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QLoggingCategory>

inline void silenceTransport()
{
    //! [silence]
    QLoggingCategory::setFilterRules(
        QStringLiteral("pellixclient.keyword.websocketclient.debug=false"));
    //! [silence]
}

inline void followOneKeyword()
{
    //! [more]
    QLoggingCategory::setFilterRules(QStringLiteral("pellixclient.keyword.*.debug=false\n"
                                                    "pellixclient.keyword.proxy.debug=true"));
    //! [more]
}
