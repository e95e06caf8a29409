// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/readcommands.h"

#include "binding/keywordexpression.h"
#include "programs/keyword/commandtable.h"
#include "programs/keyword/terminaltext.h"

using namespace pellix::client;

namespace {

// Users who watch keywords need the time. Programs need it in a form that can be sorted.
TimeStamp stampOfEvents(const Settings &settings)
{
    return settings.time.value_or(settings.format == Format::Text ? TimeStamp::Local
                                                                  : TimeStamp::Utc);
}

} // namespace

OnceCommand::OnceCommand(const Settings &settings, Output *output)
    : KeywordCommand(settings, output),
      events(client(),
             [this](int position, const PKeywordValue &event) { onEvent(position, event); })
{ }

void OnceCommand::beginWith(const QStringList &keywords)
{
    this->keywords = keywords;
    answers.resize(size_t(keywords.size()));
    missing = answers.size();
    QStringList asked;
    for (const QString &keyword : keywords)
        asked.append(askedFor(keyword));
    events.add(asked);
}

void OnceCommand::onEvent(int position, const PKeywordValue &event)
{
    answered();
    if (isFinished() || answers.at(size_t(position)))
        return;
    answers.at(size_t(position)) = event;
    if (--missing == 0)
        printAll();
}

void OnceCommand::onTimeout()
{
    if (answers.empty())
        ClientCommand::onTimeout();
    else
        printAll();
}

void OnceCommand::printAll()
{
    ExitCode end = missing > 0 ? ExitCode::TimedOut : ExitCode::Success;
    for (const auto &answer : answers) {
        if (answer)
            makeRoomFor(*answer);
    }
    for (qsizetype i = 0; i < keywords.size() && !isFinished(); ++i) {
        const auto &answer = answers.at(size_t(i));
        if (!answer) {
            complain(keywords.at(i) + QStringLiteral(": no reply"));
            continue;
        }
        const ExitCode code = print(keywords.at(i), *answer);
        if (end == ExitCode::Success)
            end = code;
    }
    finish(end);
}

GetCommand::GetCommand(const Settings &settings, Output *output)
    : OnceCommand(settings, output), printer(output, settings.raw)
{ }

void GetCommand::beginWith(const QStringList &keywords)
{
    printer.makeRoomFor(keywords);
    OnceCommand::beginWith(keywords);
}

void GetCommand::makeRoomFor(const PKeywordValue &event)
{
    printer.makeRoomFor(event);
}

ExitCode GetCommand::print(const QString &keyword, const PKeywordValue &event)
{
    if (isUnknown(event)) {
        complain(keyword + QStringLiteral(": no such keyword"));
        return ExitCode::NotFound;
    }
    printer.print(keyword, event);
    return ExitCode::Success;
}

void LabelCommand::beginWith(const QStringList &keywords)
{
    for (const QString &keyword : keywords)
        keywordWidth = qMax(keywordWidth, columnsOf(shownText(keyword)));
    OnceCommand::beginWith(keywords);
}

QString LabelCommand::askedFor(const QString &keyword) const
{
    return keyword + QLatin1String("/Label");
}

ExitCode LabelCommand::print(const QString &keyword, const PKeywordValue &event)
{
    const QString label = event.value.toString();
    if (label.isEmpty()) {
        complain(keyword + QStringLiteral(": no label"));
        return ExitCode::NotFound;
    }
    if (!output->isText())
        output->row({{"keyword", keyword}, {"label", label}});
    else if (settings.raw)
        output->rawLine(label.toUtf8());
    else
        output->line(padded(shownText(keyword), keywordWidth) + "  " + shownText(label).toUtf8());
    return ExitCode::Success;
}

WatchCommand::WatchCommand(const Settings &settings, Output *output)
    : KeywordCommand(settings, output),
      printer((output->setTimeStamp(stampOfEvents(settings)), output), settings.raw),
      events(client(),
             [this](int position, const PKeywordValue &event) { onEvent(position, event); })
{
    printer.addConnectionRows();
    followConnection([this](const QString &state) { printer.printConnection(state); });
}

void WatchCommand::beginWith(const QStringList &keywords)
{
    this->keywords = keywords;
    printer.makeRoomFor(keywords);
    events.add(keywords);
}

void WatchCommand::onEvent(int position, const PKeywordValue &event)
{
    answered();
    if (isFinished())
        return;
    printer.print(keywords.at(position), event);
    if (settings.count && ++printed == *settings.count)
        finish(ExitCode::Success);
}

AggregateCommand::AggregateCommand(const Settings &settings, Output *output)
    : ClientCommand(settings, output), children(settings.arguments.mid(1)),
      printer((output->setTimeStamp(settings.watch ? stampOfEvents(settings)
                                                   : settings.time.value_or(TimeStamp::None)),
               output),
              settings.raw),
      events(client(), [this](int, const PKeywordValue &event) { onEvent(event); })
{
    if (settings.watch) {
        printer.addConnectionRows();
        followConnection([this](const QString &state) { printer.printConnection(state); });
    }
    static const PKeywordAggregation modes[] = {
        PKeywordAggregation::Min, PKeywordAggregation::Max, PKeywordAggregation::Equal,
        PKeywordAggregation::Sum, PKeywordAggregation::And, PKeywordAggregation::Or,
    };
    const QStringList names = findCommand(settings.command)->choices;
    aggregation = modes[names.indexOf(settings.arguments.constFirst())];
    keyword = settings.keyword;
    if (keyword.isEmpty()) {
        PListPostfixKeywordExpression expression; // creates the same name as all clients
        expression.setAggregation(aggregation);
        expression.setValues(children);
        keyword = expression.keyword();
    }
}

void AggregateCommand::begin()
{
    printer.makeRoomFor(QStringList(keyword));
    events.addAggregate(keyword, children, aggregation);
}

void AggregateCommand::onEvent(const PKeywordValue &event)
{
    answered();
    if (isFinished())
        return;
    if (isUnknown(event) && !settings.watch) {
        complain(QStringLiteral("none of the keywords exists"));
        finish(ExitCode::NotFound);
        return;
    }
    printer.print(keyword, event);
    ++printed;
    if (!settings.watch || (settings.count && printed == *settings.count))
        finish(ExitCode::Success);
}
