// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/serverglobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QtGlobal>

namespace pellix::server {

struct PELLIXCLIENT_SERVER_EXPORT Statistics
{
    qint64 clients = 0;
    qint64 keywords = 0;
    qint64 watchedKeywords = 0;
    qint64 memoryBytes = 0;
    qint64 sendingBytes = 0;

    quint64 commands = 0;
    quint64 events = 0;
    quint64 bytesIn = 0;
    quint64 bytesOut = 0;
    quint64 skippedValues = 0;
    quint64 writes = 0;
    quint64 refusedWrites = 0;
    quint64 timedOutWrites = 0;
    quint64 refusedCreates = 0;
    quint64 refusedDeclarations = 0;
    quint64 cutAnswers = 0;
    quint64 delayedCommands = 0;
    quint64 refusedClients = 0;
    quint64 droppedClients = 0;
    int certificateDays = -1;

    QByteArray toPrometheus() const;
};

} // namespace pellix::server
