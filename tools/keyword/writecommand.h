// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tools/keyword/command.h"
#include "tools/keyword/keywordevents.h"

#include <QtCore/QUuid>

// What a text on the command line stands for; an invalid variant if it cannot be of that type.
// Without a type, it is what it looks like.
QVariant valueOf(const QString &text, const QString &type);

/*
    Writes, one keyword after the other.

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
    void begin() override;
    void onTimeout() override;

private:
    struct Write
    {
        QString keyword;
        QVariant value;
    };

    void next();
    void sendAll();
    void send();
    void expectAnswer();
    void onEvent(const pellix::client::PKeywordValue &event);
    void onIndexResponse(const QUuid &id);
    void end(ExitCode code, const QString &outcome, const QString &problem = {});
    void report(const Write &write, const QVariant &value, const QString &outcome);

    const bool relative;
    std::vector<Write> writes;
    size_t current = 0;
    std::unique_ptr<KeywordEvents> events; // of the current keyword
    std::optional<pellix::client::PKeywordValue> before;
    QVariant last;
    QVariant wanted;
    bool working = false; // on the current one, rather than between two
    bool sent = false;
    QUuid answerId;
    ExitCode result = ExitCode::Success;
};
