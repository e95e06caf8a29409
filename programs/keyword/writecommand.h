// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/writing/keywordwrite.h"
#include "programs/keyword/command.h"
#include "programs/keyword/standardinput.h"

#include <QtCore/QUuid>

#include <deque>

/*
    Writes, one keyword after the other: those of the command line, or those that come by standard
    input, as they come. To wait for what becomes of each, it has a PKeywordWrite; but what a text
    stands for is decided here, as for a write that is not waited for.
*/
class WriteCommand : public ClientCommand
{
    Q_OBJECT

public:
    WriteCommand(const Settings &settings, Output *output);
    void start() override;

protected:
    void begin() override { work(); }
    void onTimeout() override;

private:
    struct Write
    {
        QString keyword;
        QString text;
        QVariant value; // known later, if it depends on the type of the keyword
    };

    bool takeArguments();
    void startInput();
    void takeLines(const QList<InputLine> &lines);
    QString problemOf(const InputLine &line);
    QString add(const QString &keyword, const QString &text);
    bool waitsForType() const;

    void work();
    void conclude();
    void note(ExitCode code);

    void sendAll();
    void expectAnswer();
    void next();
    QString convert(const pellix::client::PKeywordValue &before);
    void onEvent();
    void onFinished();
    void refused();
    void onIndexResponse(const QUuid &id);
    void end(ExitCode code, const QString &outcome, const QString &problem = {});
    void report(const Write &write, const QVariant &value, const QString &outcome);

    const bool relative;
    std::unique_ptr<StandardInput> input;
    bool inputEnded = true;
    bool gotLines = false;
    std::deque<Write> queue;
    std::deque<Write> current; // under way: one of them when waiting, else all that there were
    std::unique_ptr<pellix::extras::PKeywordWrite> waited; // the current one, when waiting
    bool asked = false; // for its value to be set
    QVariant last;
    QUuid answerId;
    ExitCode result = ExitCode::Success;
};
