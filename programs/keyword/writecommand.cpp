// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/writecommand.h"

#include "programs/keyword/eventprinter.h"
#include "programs/keyword/terminaltext.h"
#include "programs/keyword/writtenvalue.h"

#include <QtCore/QRegularExpression>

using namespace pellix::client;
using pellix::extras::PKeywordWrite;

namespace {

constexpr size_t mostQueued = 1000; // beyond this, standard input is not read

} // namespace

WriteCommand::WriteCommand(const Settings &settings, Output *output)
    : ClientCommand(settings, output), relative(settings.command == QLatin1String("add"))
{
    connect(client(), &PKeywordClient::keyIndexResponse, this, &WriteCommand::onIndexResponse);
    connect(&connection, &Connection::opened, this, &WriteCommand::work);
    // The timeout starts again, regardless of how long the command was idle before.
    connect(&connection, &Connection::lost, this, [this] { answered(); });
}

void WriteCommand::start()
{
    if (settings.arguments.constFirst() == QLatin1String("-")) {
        startInput();
    } else if (!takeArguments()) {
        finish(ExitCode::BadUsage);
        return;
    }
    ClientCommand::start();
}

// Queues all arguments, or none if one is invalid.
bool WriteCommand::takeArguments()
{
    for (qsizetype i = 0; i + 1 < settings.arguments.size(); i += 2) {
        const QString problem = add(settings.arguments.at(i), settings.arguments.at(i + 1));
        if (problem.isEmpty())
            continue;
        complain(problem);
        return false;
    }
    return true;
}

void WriteCommand::startInput()
{
    inputEnded = false;
    input = std::make_unique<StandardInput>();
    connect(input.get(), &StandardInput::linesRead, this, &WriteCommand::takeLines);
    connect(input.get(), &StandardInput::ended, this, [this] {
        inputEnded = true;
        work();
    });
    connect(input.get(), &StandardInput::failed, this, [this](const QString &problem) {
        complain(problem);
        finish(ExitCode::FileError);
    });
    input->start();
}

// Earlier lines may already have been written when an invalid one arrives, so the other lines are
// written as well.
void WriteCommand::takeLines(const QList<InputLine> &lines)
{
    if (isFinished())
        return;
    for (const InputLine &line : lines) {
        if (line.text.trimmed().isEmpty())
            continue;
        gotLines = true;
        const QString problem = problemOf(line);
        if (problem.isEmpty())
            continue;
        complain(line.complaint(problem));
        note(ExitCode::BadUsage);
    }
    input->setPaused(queue.size() >= mostQueued);
    work();
}

// Queues the write in the line. Returns the problem, if any.
QString WriteCommand::problemOf(const InputLine &line)
{
    if (!line.isUtf8)
        return QStringLiteral("not UTF-8");
    static const QRegularExpression parts(QStringLiteral("^[ \\t]*([^ \\t]+)(?:[ \\t]+(.*))?$"),
                                          QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = parts.match(line.text);
    if (match.capturedStart(2) < 0)
        return QStringLiteral("no value after '%1'").arg(match.captured(1));
    return add(match.captured(1), match.captured(2));
}

// Whether the value to send depends on the type of the keyword, which is known from its first
// event.
bool WriteCommand::waitsForType() const
{
    return settings.wait && settings.as.isEmpty() && !relative;
}

QString WriteCommand::add(const QString &keyword, const QString &text)
{
    Write write {keyword, text, {}};
    if (!waitsForType()) {
        const WrittenValue written = writtenValue(text, settings.as);
        if (!written.problem.isEmpty())
            return written.problem;
        write.value = written.value;
        const auto type = write.value.typeId();
        if (relative && type != QMetaType::Bool && type != QMetaType::LongLong
            && type != QMetaType::Double)
            return QStringLiteral("'%1' is not an amount").arg(text);
    }
    queue.push_back(write);
    return {};
}

void WriteCommand::work()
{
    if (isFinished() || !current.empty() || !isOpen())
        return;
    if (queue.empty()) {
        if (inputEnded)
            conclude();
        return;
    }
    if (settings.wait) {
        current.push_back(queue.front());
        queue.pop_front();
        next();
    } else {
        current.swap(queue);
        sendAll();
    }
    if (input && !inputEnded)
        input->setPaused(queue.size() >= mostQueued);
}

void WriteCommand::conclude()
{
    if (input && !gotLines) {
        complain(QStringLiteral("standard input contains no writes"));
        note(ExitCode::NotFound);
    }
    finish(result);
}

// The first problem determines the exit code.
void WriteCommand::note(ExitCode code)
{
    if (result == ExitCode::Success)
        result = code;
}

// A sent write has not necessarily been received. The command therefore waits for the reply to a
// request that is sent after the writes.
void WriteCommand::sendAll()
{
    answered();
    for (const Write &write : current) {
        if (relative)
            client()->sendKeyUpdateRelative(write.keyword, write.value);
        else
            client()->sendKeyUpdate(write.keyword, write.value);
    }
    expectAnswer();
}

void WriteCommand::expectAnswer()
{
    answerId = client()->sendKeyIndex(current.back().keyword, PKeywordValueType::KVT_NOPROP,
                                      PKeywordValueAccess::KVA_NONE);
}

void WriteCommand::next()
{
    asked = false;
    last = {};
    answered();
    waited = std::make_unique<PKeywordWrite>();
    waited->setTyped(false);
    waited->setConfirmWithin(0); // the command has its own timeout
    connect(waited.get(), &PKeywordWrite::currentChanged, this, &WriteCommand::onEvent);
    connect(waited.get(), &PKeywordWrite::finished, this, &WriteCommand::onFinished);
    waited->setClient(client());
    waited->setKeyword(current.front().keyword);
}

// Determines the value to send. Returns the problem, if any.
QString WriteCommand::convert(const PKeywordValue &before)
{
    Write &write = current.front();
    const bool isDouble = before.type == PKeywordValueType::KVT_DOUBLE;
    if (!waitsForType() && !(relative && isDouble && settings.as.isEmpty()))
        return {};
    const WrittenValue written = writtenValue(write.text, before.type);
    if (written.problem.isEmpty())
        write.value = written.value;
    return written.problem;
}

void WriteCommand::onEvent()
{
    if (isFinished() || current.empty() || !waited->isReady())
        return;
    const PKeywordValue event = waited->lastEvent();
    last = event.value;
    if (asked)
        return;
    asked = true;
    if (isUnknown(event)) {
        end(ExitCode::NotFound, QStringLiteral("unknown"), QStringLiteral("no such keyword"));
        return;
    }
    const QString problem = convert(event);
    if (!problem.isEmpty()) {
        end(ExitCode::BadUsage, QStringLiteral("invalid"), problem);
        return;
    }
    answered();
    if (relative)
        waited->add(current.front().value);
    else
        waited->set(current.front().value);
}

void WriteCommand::onFinished()
{
    if (isFinished() || current.empty())
        return;
    switch (waited->state()) {
    case PKeywordWrite::Taken:
        end(ExitCode::Success,
            waited->isUnchanged() ? QStringLiteral("unchanged") : QStringLiteral("taken"));
        break;
    case PKeywordWrite::Changed:
        end(ExitCode::Refused, QStringLiteral("changed"),
            QStringLiteral("not set to this value; it became ") + shownValue(last));
        break;
    case PKeywordWrite::Refused:
        refused();
        break;
    case PKeywordWrite::TimedOut: // only if the source was lost: the object has no time limit
        end(ExitCode::TimedOut, QStringLiteral("timeout"), waited->problem());
        break;
    case PKeywordWrite::NotSent:
        end(ExitCode::BadUsage, QStringLiteral("invalid"), waited->problem());
        break;
    default:
        break; // other states do not end the write
    }
}

void WriteCommand::refused()
{
    const PKeywordValue event = waited->lastEvent();
    QString problem = QStringLiteral("refused; the value is still ") + shownValue(event.value);
    const QString type = typeName(event.type);
    const bool isText = current.front().value.typeId() == QMetaType::QString;
    if (!type.isEmpty() && isText != (type == QLatin1String("string")))
        problem += QStringLiteral(", which is of type ") + type;
    end(ExitCode::Refused, QStringLiteral("refused"), problem);
}

void WriteCommand::onIndexResponse(const QUuid &id)
{
    if (isFinished() || id != answerId || current.empty())
        return;
    answered();
    for (const Write &write : current)
        report(write, write.value, QStringLiteral("sent"));
    current.clear();
    work();
}

void WriteCommand::onTimeout()
{
    if (current.empty()) {
        answered(); // the command is waiting for standard input
        return;
    }
    if (!settings.wait) {
        ClientCommand::onTimeout();
        return;
    }
    const QString problem = asked
        ? QStringLiteral("no event with the value in time; the last value was ") + shownValue(last)
        : QStringLiteral("no reply");
    end(ExitCode::TimedOut, QStringLiteral("timeout"), problem);
}

// The remaining writes are still executed after a failed one.
void WriteCommand::end(ExitCode code, const QString &outcome, const QString &problem)
{
    const Write write = current.front();
    current.clear();
    if (!problem.isEmpty())
        complain(write.keyword + QLatin1String(": ") + problem);
    report(write, last, outcome);
    note(code);
    // The object must not be destroyed from within its own handler.
    QMetaObject::invokeMethod(this, &WriteCommand::work, Qt::QueuedConnection);
}

// In the text format without --wait, successful writes are not reported.
void WriteCommand::report(const Write &write, const QVariant &value, const QString &outcome)
{
    if (!output->isText()) {
        Row row;
        if (output->stamps())
            row.emplace_back("time", output->stampValue());
        row.emplace_back("keyword", write.keyword);
        row.emplace_back("value", QJsonValue::fromVariant(value));
        row.emplace_back("outcome", outcome);
        output->row(row);
        return;
    }
    if (outcome != QLatin1String("taken") && outcome != QLatin1String("unchanged"))
        return;
    QByteArray line = output->stamp();
    if (!line.isEmpty())
        line += "  ";
    output->line(line + shownText(write.keyword).toUtf8() + "  " + shownValue(value).toUtf8() + "  "
                 + outcome.toUtf8());
}
