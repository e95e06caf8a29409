// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/command.h"
#include "programs/keyword/keywordwalk.h"
#include "programs/keyword/progress.h"

// The commands ls and tree.
class ListCommand : public ClientCommand
{
    Q_OBJECT

public:
    ListCommand(const Settings &settings, Output *output);

protected:
    void begin() override;

private:
    void print();
    void printText(const KeywordWalk::Item &item, const QString &indent, const QString &parent);
    void printRows(const KeywordWalk::Item &item);

    const bool isTree;
    KeywordWalk walk;
    Progress progress;
    qsizetype nameWidth = 0;
};
