// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/serverglobal.h"

#include <QtCore/QtGlobal>

#include <chrono>

namespace pellix::server {

struct PELLIXCLIENT_SERVER_EXPORT Limits
{
    int watchedKeywords = 50'000;
    int commandsPerSecond = 50'000;
    int commandBytes = 1024 * 1024;
    int valueBytes = 256 * 1024;
    int aggregatedKeywords = 1'000;
    int listedKeywords = 10'000;
    int keywords = 1'000'000;
    qint64 sessionBytes = qint64(8) * 1024 * 1024;
    qint64 sendingBytes = qint64(64) * 1024;
    qint64 totalSendingBytes = qint64(64) * 1024 * 1024;
    std::chrono::milliseconds stalledTime = std::chrono::seconds(30);
    std::chrono::milliseconds writeTime = std::chrono::seconds(10);
    qint64 answerBytes = qint64(2) * 1024 * 1024;
};

} // namespace pellix::server
