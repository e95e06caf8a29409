// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tools/keyword/command.h"
#include "tools/keyword/keywordwalk.h"
#include "tools/keyword/progress.h"

// A command on keywords: those of the command line, or all below them.
class KeywordCommand : public ClientCommand
{
    Q_OBJECT

public:
    KeywordCommand(const Settings &settings, Output *output);

protected:
    virtual QStringList givenKeywords() const { return settings.arguments; }
    virtual bool goesBelow() const { return settings.recursive; }
    virtual void beginWith(const QStringList &keywords) = 0;

    void begin() override;

    KeywordWalk walk;

private:
    Progress progress;
};

// How far a walk has come, for people.
QString progressText(const KeywordWalk &walk);
