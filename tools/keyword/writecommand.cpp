// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tools/keyword/writecommand.h"

#include "tools/keyword/eventprinter.h"
#include "tools/keyword/terminaltext.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <cmath>

using namespace pellix::client;

namespace {

QVariant boolOf(const QString &text)
{
    if (text == QLatin1String("true"))
        return true;
    return text == QLatin1String("false") ? QVariant(false) : QVariant();
}

QVariant intOf(const QString &text)
{
    bool isNumber = false;
    const qlonglong number = text.toLongLong(&isNumber);
    return isNumber ? QVariant(number) : QVariant();
}

QVariant doubleOf(const QString &text)
{
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    return isNumber && std::isfinite(number) ? QVariant(number) : QVariant(); // JSON has no others
}

QVariant objectOf(const QString &text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8());
    return document.isNull() ? QVariant() : document.toVariant();
}

// What the keyword has after a relative write, as far as can be told.
QVariant expectedAfter(const QVariant &before, const QVariant &amount)
{
    if (before.typeId() == QMetaType::Bool)
        return before.toBool() != amount.toBool();
    if (before.typeId() == QMetaType::LongLong && amount.typeId() == QMetaType::LongLong)
        return before.toLongLong() + amount.toLongLong();
    return before.toDouble() + amount.toDouble();
}

} // namespace

QVariant valueOf(const QString &text, const QString &type)
{
    if (type == QLatin1String("bool"))
        return boolOf(text);
    if (type == QLatin1String("int"))
        return intOf(text);
    if (type == QLatin1String("double"))
        return doubleOf(text);
    if (type == QLatin1String("object"))
        return objectOf(text);
    if (type.isEmpty()) {
        for (const auto &convert : {boolOf, intOf, doubleOf, objectOf}) {
            QVariant value = convert(text);
            if (value.isValid())
                return value;
        }
    }
    return text;
}

WriteCommand::WriteCommand(const Settings &settings, Output *output)
    : ClientCommand(settings, output), relative(settings.command == QLatin1String("add"))
{
    connect(client(), &PKeywordClient::keyIndexResponse, this, &WriteCommand::onIndexResponse);
}

void WriteCommand::start()
{
    for (qsizetype i = 0; i + 1 < settings.arguments.size(); i += 2) {
        const QString text = settings.arguments.at(i + 1);
        const QVariant value = valueOf(text, settings.as);
        const bool isAmount = value.typeId() == QMetaType::Bool
            || value.typeId() == QMetaType::LongLong || value.typeId() == QMetaType::Double;
        if (!value.isValid() || (relative && !isAmount)) {
            complain(QStringLiteral("'%1' is no %2")
                         .arg(text, value.isValid() ? QStringLiteral("amount") : settings.as));
            finish(ExitCode::BadUsage);
            return;
        }
        writes.push_back({settings.arguments.at(i), value});
    }
    ClientCommand::start();
}

void WriteCommand::begin()
{
    if (settings.wait)
        next();
    else
        sendAll();
}

// Sent is not received: the end waits until the server answers what was asked after the writes.
void WriteCommand::sendAll()
{
    for (const Write &write : writes) {
        if (relative)
            client()->sendKeyUpdateRelative(write.keyword, write.value);
        else
            client()->sendKeyUpdate(write.keyword, write.value);
    }
    current = writes.size();
    expectAnswer();
}

void WriteCommand::expectAnswer()
{
    const QString keyword = writes.at(qMin(current, writes.size() - 1)).keyword;
    answerId = client()->sendKeyIndex(keyword, PKeywordValueType::KVT_NOPROP,
                                      PKeywordValueAccess::KVA_NONE);
}

void WriteCommand::next()
{
    if (current == writes.size()) {
        finish(result);
        return;
    }
    before.reset();
    working = true;
    sent = false;
    answerId = {};
    answered();
    events = std::make_unique<KeywordEvents>(
        client(), [this](int, const PKeywordValue &event) { onEvent(event); });
    events->add({writes.at(current).keyword});
}

void WriteCommand::send()
{
    const Write &write = writes.at(current);
    sent = true;
    answered();
    if (relative) {
        wanted = expectedAfter(before->value, write.value);
        client()->sendKeyUpdateRelative(write.keyword, write.value);
    } else {
        wanted = write.value;
        client()->sendKeyUpdate(write.keyword, write.value);
    }
    if (isSameValue(before->value, wanted))
        expectAnswer();
}

void WriteCommand::onEvent(const PKeywordValue &event)
{
    if (isFinished() || !working)
        return;
    last = event.value;
    if (!before) {
        before = event;
        if (isUnknown(event))
            end(ExitCode::NotFound, QStringLiteral("unknown"), QStringLiteral("no such keyword"));
        else
            send();
        return;
    }
    if (!sent)
        return;
    // A keyword in error to begin with stays so; its refusal repeats the value.
    const bool refused = event.error
        && (!before->error
            || (isSameValue(event.value, before->value) && !isSameValue(event.value, wanted)));
    if (refused) {
        QString problem = QStringLiteral("refused; it stays ") + shownValue(event.value);
        const QString type = typeName(event.type);
        const bool isText = wanted.typeId() == QMetaType::QString;
        if (!type.isEmpty() && isText != (type == QLatin1String("string")))
            problem += QStringLiteral(", which is of type ") + type;
        end(ExitCode::Refused, QStringLiteral("refused"), problem);
    } else if (isSameValue(event.value, wanted)) {
        end(ExitCode::Success, QStringLiteral("taken"));
    }
}

void WriteCommand::onIndexResponse(const QUuid &id)
{
    if (isFinished() || id != answerId)
        return;
    if (settings.wait) {
        if (working)
            end(ExitCode::Success, QStringLiteral("unchanged"));
        return;
    }
    for (const Write &write : writes)
        report(write, write.value, QStringLiteral("sent"));
    finish(ExitCode::Success);
}

void WriteCommand::onTimeout()
{
    if (!settings.wait) {
        ClientCommand::onTimeout();
        return;
    }
    if (!working)
        return;
    const QString problem = before
        ? QStringLiteral("no event with the value in time; the last one had ") + shownValue(last)
        : QStringLiteral("no answer");
    end(ExitCode::TimedOut, QStringLiteral("timeout"), problem);
}

// The first problem is the exit code; the writes after it are done all the same.
void WriteCommand::end(ExitCode code, const QString &outcome, const QString &problem)
{
    const Write &write = writes.at(current);
    working = false;
    if (!problem.isEmpty())
        complain(write.keyword + QLatin1String(": ") + problem);
    report(write, code == ExitCode::Success ? last : before ? last : QVariant(), outcome);
    if (result == ExitCode::Success)
        result = code;
    ++current;
    // Not from within a handler of what goes.
    QMetaObject::invokeMethod(this, &WriteCommand::next, Qt::QueuedConnection);
}

// As text, what went well when nobody waits goes without saying.
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
