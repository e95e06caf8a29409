// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/replaycommand.h"

using namespace pellix::server;
using namespace std::chrono_literals;

namespace {

constexpr auto quietTime = 250ms; // after which a client has sent all its requests
constexpr auto longestFarewell = 5s;
constexpr int entriesAtOnce = 100; // entries per turn of the event loop

const QLatin1String labelSuffix("/Label");

QString pathOf(const QJsonObject &payload)
{
    QString path;
    const QStringList levels = payload.value(QLatin1String("keyword"))
                                   .toString()
                                   .replace(QLatin1Char('#'), QLatin1Char('/'))
                                   .split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (const QString &level : levels)
        path += QLatin1Char('/') + level;
    return path;
}

bool isEvent(const QJsonObject &message)
{
    return message.value(QLatin1String("cmd")) == QLatin1String("keyEvent");
}

// A null stands for no value.
QVariant valueOf(const QJsonObject &payload)
{
    const QJsonValue value = payload.value(QLatin1String("value"));
    return value.isNull() ? QVariant() : value.toVariant();
}

// The type of the value, if the server sent no type or a different one.
QString typeOf(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return QStringLiteral("bool");
    case QMetaType::LongLong:
        return QStringLiteral("int");
    case QMetaType::Double:
        return QStringLiteral("double");
    case QMetaType::QString:
        return QStringLiteral("string");
    case QMetaType::QVariantList:
    case QMetaType::QVariantMap:
        return QStringLiteral("object");
    default:
        return {};
    }
}

} // namespace

ReplayCommand::ReplayCommand(const Settings &settings, Output *output)
    : Command(settings, output), socketServer(&server), reader(settings.arguments)
{
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, &ReplayCommand::playDue);
    quiet.setSingleShot(true);
    quiet.setInterval(quietTime);
    connect(&quiet, &QTimer::timeout, this, &ReplayCommand::play);
    connect(&socketServer, &WebSocketKeywordServer::clientCountChanged, this, [this] {
        if (leaving && socketServer.clientCount() == 0)
            finish(ExitCode::Success);
    });
}

void ReplayCommand::start()
{
    if (!reader.open() || !survey()) {
        complain(reader.errorString());
        finish(ExitCode::FileError);
        return;
    }
    const QStringList missing = reader.missingParts();
    for (const QString &parts : missing)
        complain(QStringLiteral("part %1 of the recording is missing").arg(parts));
    if (types.isEmpty()) {
        complain(QStringLiteral("the recording contains no values"));
        finish(ExitCode::NotFound);
        return;
    }
    declareAll();
    // This server is for development: on all addresses, every client has full rights.
    ClientIdentification everybody;
    everybody.role = ClientIdentification::fullRights;
    socketServer.setIdentification(everybody);
    socketServer.setUnencryptedAllowed(true);
    socketServer.setAllowedOrigins(settings.allowedOrigins);
    if (!socketServer.listen(settings.listenAddress, settings.port)) {
        complain(QStringLiteral("cannot listen on %1 port %2: %3")
                     .arg(settings.listenAddress.toString())
                     .arg(settings.port)
                     .arg(socketServer.errorString()));
        finish(ExitCode::FileError);
        return;
    }
    QStringList addresses;
    for (const QUrl &url : socketServer.urls())
        addresses.append(url.toString());
    output->line("listening on " + addresses.join(QLatin1String(", ")).toUtf8() + ", "
                 + QByteArray::number(server.keywordCount()) + " keywords, "
                 + QByteArray::number(duration, 'f', 1) + " s");
    if (!settings.hold) {
        play();
        return;
    }
    connect(&server, &KeywordServer::keywordRequested, this, [this] {
        if (!clock.isValid())
            quiet.start();
    });
}

// Reads the entire recording once, so that errors are reported before clients are served.
bool ReplayCommand::survey()
{
    RecordingReader::Entry entry;
    while (reader.next(&entry)) {
        duration = entry.seconds;
        if (!isEvent(entry.message))
            continue;
        const QJsonObject payload = entry.message.value(QLatin1String("payload")).toObject();
        const QString path = pathOf(payload);
        QString type = payload.value(QLatin1String("type")).toString();
        if (type.isEmpty())
            type = typeOf(valueOf(payload));
        if (!path.isEmpty() && !type.isEmpty() && !types.contains(path))
            types.insert(path, type);
    }
    return reader.errorString().isEmpty();
}

// Clients find all keywords from the start, although without values.
void ReplayCommand::declareAll()
{
    for (auto type = types.cbegin(); type != types.cend(); ++type) {
        if (type.key().endsWith(labelSuffix))
            continue;
        KeywordServer::Keyword keyword;
        keyword.path = type.key();
        keyword.type = *type;
        keyword.connected = keyword.online = false;
        server.declare(keyword);
    }
}

void ReplayCommand::play()
{
    reader.rewind();
    clock.start();
    if (readEntry())
        timer.start(0);
}

bool ReplayCommand::readEntry()
{
    if (reader.next(&due))
        return true;
    if (!reader.errorString().isEmpty()) { // the file has changed since the first pass
        complain(reader.errorString());
        finish(ExitCode::FileError);
    } else if (settings.loop) {
        QMetaObject::invokeMethod(this, &ReplayCommand::play, Qt::QueuedConnection);
    } else {
        end();
    }
    return false;
}

void ReplayCommand::playDue()
{
    for (int i = 0; i < entriesAtOnce && !isFinished(); ++i) {
        if (settings.speed > 0) {
            const double dueAt = due.seconds * 1000 / settings.speed;
            const double left = dueAt - double(clock.nsecsElapsed()) / 1e6;
            if (left > 0) {
                timer.start(int(qMin(left + 1, 60000.0)));
                return;
            }
        }
        apply(due.message);
        if (!readEntry())
            return;
    }
    timer.start(0);
}

void ReplayCommand::apply(const QJsonObject &message)
{
    if (!isEvent(message))
        return;
    const QJsonObject payload = message.value(QLatin1String("payload")).toObject();
    KeywordServer::Keyword keyword;
    keyword.path = pathOf(payload);
    keyword.type = payload.value(QLatin1String("type")).toString();
    keyword.value = valueOf(payload);
    keyword.connected = payload.value(QLatin1String("connected")).toBool();
    keyword.online = payload.value(QLatin1String("online")).toBool();
    keyword.consistent = payload.value(QLatin1String("consistent")).toBool();
    keyword.error = payload.value(QLatin1String("error")).toBool();
    if (keyword.path.isEmpty() || applyLabel(keyword.path, keyword.value.toString()))
        return;
    // A new declaration changes value and state in one event, and sends an event even for the same
    // value.
    if (server.declare(keyword))
        return;
    keyword.type = typeOf(keyword.value);
    if (!server.declare(keyword))
        server.remove(keyword.path); // the server had no such keyword at this time
}

bool ReplayCommand::applyLabel(const QString &path, const QString &label)
{
    return path.endsWith(labelSuffix) && server.setLabel(path.chopped(labelSuffix.size()), label);
}

void ReplayCommand::end()
{
    if (!settings.stay)
        leave();
}

// Closes the connections properly, so that clients still receive pending messages.
void ReplayCommand::leave()
{
    leaving = true;
    if (socketServer.clientCount() == 0) {
        finish(ExitCode::Success);
        return;
    }
    QTimer::singleShot(longestFarewell, this, [this] { finish(ExitCode::Success); });
    socketServer.closeClients();
}
