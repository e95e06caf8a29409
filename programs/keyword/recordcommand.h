// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/keywordcommand.h"
#include "programs/keyword/keywordevents.h"
#include "programs/keyword/recordingwriter.h"

// Records the messages of the server.
class RecordCommand : public KeywordCommand
{
    Q_OBJECT

public:
    RecordCommand(const Settings &settings, Output *output);
    void start() override;
    void interrupt() override;

protected:
    bool isEndless() const override { return true; }
    QStringList givenKeywords() const override { return settings.arguments.mid(1); }
    bool goesBelow() const override;
    void beginWith(const QStringList &keywords) override;

private:
    void onMessage(const QByteArray &message);
    bool isExcluded(const QString &keyword) const;
    QJsonObject withoutExcluded(const QJsonObject &message) const;
    void write(const char *member, const QByteArray &json);
    void endWriting();
    void conclude(ExitCode code);

    RecordingWriter writer;
    KeywordEvents events;
    QElapsedTimer clock;
    int messages = 0;
};
