// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/eventprinter.h"
#include "programs/keyword/keywordcommand.h"
#include "programs/keyword/keywordevents.h"

// A command with one result for each keyword, printed when all have arrived.
class OnceCommand : public KeywordCommand
{
    Q_OBJECT

public:
    OnceCommand(const Settings &settings, Output *output);

protected:
    void beginWith(const QStringList &keywords) override;
    void onTimeout() override;
    virtual QString askedFor(const QString &keyword) const { return keyword; }
    // Prints the result, or a message if there is none.
    virtual ExitCode print(const QString &keyword, const pellix::client::PKeywordValue &event) = 0;
    virtual void makeRoomFor(const pellix::client::PKeywordValue &) { }

    QStringList keywords;
    KeywordEvents events;

private:
    void onEvent(int position, const pellix::client::PKeywordValue &event);
    void printAll();

    std::vector<std::optional<pellix::client::PKeywordValue>> answers;
    size_t missing = 0;
};

class GetCommand : public OnceCommand
{
    Q_OBJECT

public:
    GetCommand(const Settings &settings, Output *output);

protected:
    void beginWith(const QStringList &keywords) override;
    ExitCode print(const QString &keyword, const pellix::client::PKeywordValue &event) override;
    void makeRoomFor(const pellix::client::PKeywordValue &event) override;

private:
    EventPrinter printer;
};

class LabelCommand : public OnceCommand
{
    Q_OBJECT

public:
    using OnceCommand::OnceCommand;

protected:
    void beginWith(const QStringList &keywords) override;
    QString askedFor(const QString &keyword) const override;
    ExitCode print(const QString &keyword, const pellix::client::PKeywordValue &event) override;

private:
    qsizetype keywordWidth = 0;
};

class WatchCommand : public KeywordCommand
{
    Q_OBJECT

public:
    WatchCommand(const Settings &settings, Output *output);

protected:
    bool isEndless() const override { return true; }
    void beginWith(const QStringList &keywords) override;

private:
    void onEvent(int position, const pellix::client::PKeywordValue &event);

    QStringList keywords;
    EventPrinter printer;
    KeywordEvents events;
    int printed = 0;
};

class AggregateCommand : public ClientCommand
{
    Q_OBJECT

public:
    AggregateCommand(const Settings &settings, Output *output);

protected:
    bool isEndless() const override { return settings.watch; }
    void begin() override;

private:
    void onEvent(const pellix::client::PKeywordValue &event);

    QString keyword;
    QStringList children;
    pellix::client::PKeywordAggregation aggregation;
    EventPrinter printer;
    KeywordEvents events;
    int printed = 0;
};
