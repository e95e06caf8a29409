// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/writing/keywordwrite.h"
#include "programs/keyword/command.h"
#include "programs/keyword/standardinput.h"

#include <QtCore/QUuid>

#include <deque>

/*
    Writes keywords one after the other: those on the command line, or those from standard input,
    as they arrive. With --wait, it uses a PKeywordWrite for the outcome, but converts the text to
    a value in the same way as without --wait.
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
        QVariant value; // set later if it depends on the type of the keyword
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
    std::deque<Write> current; // the pending writes; with --wait, one at a time
    std::unique_ptr<pellix::extras::PKeywordWrite> waited; // the current write with --wait
    bool asked = false; // whether the current write has been started
    QVariant last;
    QUuid answerId;
    ExitCode result = ExitCode::Success;
};
