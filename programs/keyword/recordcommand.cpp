// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/recordcommand.h"

#include "programs/common/address.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <algorithm>

using namespace pellix::client;

namespace {

QString pathOf(const QString &keyword)
{
    QString path;
    const QStringList levels = QString(keyword)
                                   .replace(QLatin1Char('#'), QLatin1Char('/'))
                                   .split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (const QString &level : levels)
        path += QLatin1Char('/') + level;
    return path;
}

QByteArray jsonText(const QString &text)
{
    QByteArray json;
    appendJson(json, text);
    return json;
}

} // namespace

RecordCommand::RecordCommand(const Settings &settings, Output *output)
    : KeywordCommand(settings, output),
      writer(settings.arguments.constFirst(), programs::shownAddress(settings.urls.constFirst()),
             settings.rotate),
      events(client(), [](int, const PKeywordValue &) {}) // only the messages matter
{
    walk.excluded = [this](const QString &keyword) { return isExcluded(keyword); };
    connection.client()->onMessage = [this](const QByteArray &message) { onMessage(message); };
    connect(&connection, &Connection::opened, this, [this] { write("connection", "\"open\""); });
    connect(&connection, &Connection::lost, this, [this] { write("connection", "\"lost\""); });
}

void RecordCommand::start()
{
    clock.start();
    if (!writer.open(settings.force)) {
        endWriting();
        return;
    }
    KeywordCommand::start();
}

bool RecordCommand::goesBelow() const
{
    return settings.recursive || givenKeywords().isEmpty();
}

void RecordCommand::beginWith(const QStringList &keywords)
{
    QStringList wanted;
    std::copy_if(keywords.cbegin(), keywords.cend(), std::back_inserter(wanted),
                 [this](const QString &keyword) { return !isExcluded(keyword); });
    if (wanted.isEmpty()) {
        complain(QStringLiteral("all keywords are excluded"));
        finish(ExitCode::NotFound);
        return;
    }
    complain(QStringLiteral("recording %1 keywords").arg(wanted.size()));
    events.add(wanted);
}

// Excluding a keyword also excludes its label.
bool RecordCommand::isExcluded(const QString &keyword) const
{
    QStringList names {pathOf(keyword)};
    if (names.constFirst().endsWith(QLatin1String("/Label")))
        names.append(names.constFirst().chopped(6));
    return std::any_of(
        settings.exclude.cbegin(), settings.exclude.cend(), [&](const QRegularExpression &pattern) {
            return std::any_of(names.cbegin(), names.cend(),
                               [&](const QString &name) { return pattern.match(name).hasMatch(); });
        });
}

// The message without the excluded keywords; empty if nothing else remains.
QJsonObject RecordCommand::withoutExcluded(const QJsonObject &message) const
{
    QJsonObject payload = message.value(QLatin1String("payload")).toObject();
    const QJsonValue keyword = payload.value(QLatin1String("keyword"));
    if (keyword.isString() && isExcluded(keyword.toString()))
        return {};
    const QJsonArray listed = payload.value(QLatin1String("response")).toArray();
    QJsonArray kept;
    for (const auto &item : listed) {
        const QString name = item.toObject().value(QLatin1String("name")).toString();
        if (!isExcluded(name))
            kept.append(item);
    }
    if (kept.size() == listed.size())
        return message;
    payload.insert(QLatin1String("response"), kept);
    QJsonObject rest = message;
    rest.insert(QLatin1String("payload"), payload);
    return rest;
}

void RecordCommand::onMessage(const QByteArray &message)
{
    if (isFinished())
        return;
    answered();
    const QJsonDocument document = QJsonDocument::fromJson(message);
    if (!document.isObject()) {
        // The text may contain excluded keywords. Record only that it has arrived.
        const QString text = QString::fromUtf8(message);
        write("text", settings.exclude.isEmpty() ? jsonText(text) : QByteArray("null"));
    } else if (settings.exclude.isEmpty() && !message.contains('\n') && !message.contains('\r')) {
        write("message", message); // unchanged, with all digits
    } else {
        const QJsonObject rest = withoutExcluded(document.object());
        if (rest.isEmpty())
            return;
        write("message", QJsonDocument(rest).toJson(QJsonDocument::Compact));
    }
    ++messages;
    if (settings.count && messages == *settings.count)
        conclude(ExitCode::Success);
}

void RecordCommand::write(const char *member, const QByteArray &json)
{
    if (!isFinished() && !writer.write(clock.nsecsElapsed(), member, json))
        endWriting();
}

// It is not an error if the reader has exited.
void RecordCommand::endWriting()
{
    if (!writer.errorString().isEmpty())
        complain(writer.errorString());
    finish(writer.errorString().isEmpty() ? ExitCode::Success : ExitCode::FileError);
}

void RecordCommand::interrupt()
{
    conclude(ExitCode::Success);
}

void RecordCommand::conclude(ExitCode code)
{
    if (isFinished())
        return;
    complain(QStringLiteral("recorded %1 messages in %2 s, %3 bytes")
                 .arg(messages)
                 .arg(double(clock.elapsed()) / 1000)
                 .arg(writer.bytesWritten()));
    finish(code);
}
