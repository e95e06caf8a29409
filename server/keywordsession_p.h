// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/keywordserver.h"
#include "server/keywordsession.h"
#include "server/sessionstate_p.h"

#include <QtCore/QPointer>

namespace pellix::server {

class Q_DECL_HIDDEN KeywordSession::Private
{
public:
    // Its object may live on, and answers nothing.
    void end();

    QPointer<KeywordServer> server;
    SessionState state;
};

} // namespace pellix::server
