// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/command.h"
#include "programs/keyword/recordingreader.h"
#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"

#include <QtCore/QHash>
#include <QtCore/QTimer>

// Serves a recording: its keywords with their values, types, and states, and one event for each
// recorded event. Keywords cannot be written.
class ReplayCommand : public Command
{
    Q_OBJECT

public:
    ReplayCommand(const Settings &settings, Output *output);
    void start() override;
    void interrupt() override { finish(ExitCode::Success); }

private:
    bool survey();
    void declareAll();
    void play();
    void playDue();
    bool readEntry();
    void apply(const QJsonObject &message);
    bool applyLabel(const QString &path, const QString &label);
    void end();
    void leave();

    pellix::server::KeywordServer server;
    pellix::server::WebSocketKeywordServer socketServer;
    RecordingReader reader;
    RecordingReader::Entry due;
    QHash<QString, QString> types; // of all keywords, by path, as first recorded
    double duration = 0; // seconds
    QElapsedTimer clock;
    QTimer timer;
    QTimer quiet; // since the last request of a client
    bool leaving = false;
};
