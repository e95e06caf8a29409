// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/keywordcommand.h"

namespace {

const QLatin1String standardInput("-");

} // namespace

QString progressText(const KeywordWalk &walk)
{
    return QStringLiteral("%1 found, %2 pending").arg(walk.items().size()).arg(walk.pending());
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

// Keywords from standard input are read completely before the connection is opened.
void KeywordCommand::start()
{
    if (givenKeywords().contains(standardInput))
        startInput();
    else
        ClientCommand::start();
}

void KeywordCommand::startInput()
{
    input = std::make_unique<StandardInput>();
    connect(input.get(), &StandardInput::linesRead, this, &KeywordCommand::takeLines);
    connect(input.get(), &StandardInput::ended, this, [this] {
        if (isFinished())
            return;
        if (readKeywords.isEmpty())
            refuse(QStringLiteral("standard input contains no keywords"), ExitCode::NotFound);
        else
            ClientCommand::start();
    });
    connect(input.get(), &StandardInput::failed, this,
            [this](const QString &problem) { refuse(problem, ExitCode::FileError); });
    input->start();
}

void KeywordCommand::takeLines(const QList<InputLine> &lines)
{
    for (const InputLine &line : lines) {
        const QString keyword = line.text.trimmed();
        if (!line.isUtf8) {
            refuse(line.complaint(QStringLiteral("not UTF-8")), ExitCode::BadUsage);
            return;
        }
        if (!keyword.isEmpty())
            readKeywords.append(keyword);
    }
}

void KeywordCommand::refuse(const QString &problem, ExitCode code)
{
    complain(problem);
    finish(code);
}

QStringList KeywordCommand::allKeywords() const
{
    QStringList keywords;
    const QStringList given = givenKeywords();
    for (const QString &keyword : given)
        keywords += keyword == standardInput ? readKeywords : QStringList(keyword);
    return keywords;
}

void KeywordCommand::begin()
{
    const QStringList given = allKeywords();
    if (goesBelow())
        walk.start(given.isEmpty() ? QStringList(QStringLiteral("/")) : given,
                   settings.depth.value_or(0));
    else
        beginWith(given);
}
