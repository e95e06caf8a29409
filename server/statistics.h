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

    quint64 longCommands = 0;
    quint64 sendingPauses = 0;
    quint64 delayedAggregates = 0;
    quint64 droppedHandshakes = 0;

    // Of refusedCreates
    quint64 createsBeyondKeywords = 0;
    quint64 createsBeyondChildren = 0;
    quint64 createsBeyondMemory = 0;

    // Of refusedWrites
    quint64 writesBeyondLength = 0;
    quint64 writesBeyondMemory = 0;

    // Of refusedClients
    quint64 badRequests = 0;
    quint64 foreignOrigins = 0;
    quint64 missingCredentials = 0;
    quint64 wrongCredentials = 0;
    quint64 excessAttempts = 0;
    quint64 excessClients = 0;

    QByteArray toPrometheus() const;
};

} // namespace pellix::server
