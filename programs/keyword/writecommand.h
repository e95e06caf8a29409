// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/command.h"
#include "programs/keyword/keywordevents.h"
#include "programs/keyword/standardinput.h"

#include <QtCore/QUuid>

#include <deque>

/*
    Writes, one keyword after the other: those of the command line, or those that come by standard
    input, as they come.

    Nothing acknowledges a write but the event that carries the value. So, to wait for it: the
    keyword is watched; once its value is known the new one is sent; then the next event with that
    value is a success, and one with the error flag a refusal. A value that the keyword had already
    need not be sent again by the server: there, an answer to another request that overtakes no
    refusal will do.
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
    QString convert();
    void send();
    void onEvent(const pellix::client::PKeywordValue &event);
    void onIndexResponse(const QUuid &id);
    void end(ExitCode code, const QString &outcome, const QString &problem = {});
    void report(const Write &write, const QVariant &value, const QString &outcome);

    const bool relative;
    std::unique_ptr<StandardInput> input;
    bool inputEnded = true;
    bool gotLines = false;
    std::deque<Write> queue;
    std::deque<Write> current; // under way: one of them when waiting, else all that there were
    std::unique_ptr<KeywordEvents> events; // of the current keyword
    std::optional<pellix::client::PKeywordValue> before;
    QVariant last;
    QVariant wanted;
    bool sent = false;
    QUuid answerId;
    ExitCode result = ExitCode::Success;
};
