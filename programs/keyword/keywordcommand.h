// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/command.h"
#include "programs/keyword/keywordwalk.h"
#include "programs/keyword/progress.h"
#include "programs/keyword/standardinput.h"

// A command for the keywords on the command line, or for all keywords below them.
class KeywordCommand : public ClientCommand
{
    Q_OBJECT

public:
    KeywordCommand(const Settings &settings, Output *output);
    void start() override;

protected:
    // The keywords on the command line; "-" stands for keywords from standard input.
    virtual QStringList givenKeywords() const { return settings.arguments; }
    virtual bool goesBelow() const { return settings.recursive; }
    virtual void beginWith(const QStringList &keywords) = 0;

    void begin() override;

    KeywordWalk walk;

private:
    void startInput();
    void takeLines(const QList<InputLine> &lines);
    void refuse(const QString &problem, ExitCode code);
    QStringList allKeywords() const;

    std::unique_ptr<StandardInput> input;
    QStringList readKeywords;
    Progress progress;
};

// The progress of a walk, for people.
QString progressText(const KeywordWalk &walk);
