// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tools/keyword/keywordcommand.h"

QString progressText(const KeywordWalk &walk)
{
    return QStringLiteral("%1 found, %2 to look below")
        .arg(walk.items().size())
        .arg(walk.pending());
}

KeywordCommand::KeywordCommand(const Settings &settings, Output *output)
    : ClientCommand(settings, output), walk(&connection, settings.type, settings.access)
{
    connect(&walk, &KeywordWalk::progressed, this, [this] {
        answered();
        progress.show(progressText(walk));
    });
    connect(&walk, &KeywordWalk::finished, this, [this] {
        progress.clear();
        const QStringList keywords = walk.keywords();
        if (!keywords.isEmpty()) {
            beginWith(keywords);
            return;
        }
        complain(QStringLiteral("no keywords found"));
        finish(ExitCode::NotFound);
    });
}

void KeywordCommand::begin()
{
    const QStringList given = givenKeywords();
    if (goesBelow())
        walk.start(given.isEmpty() ? QStringList(QStringLiteral("/")) : given,
                   settings.depth.value_or(0));
    else
        beginWith(given);
}
