// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <chrono>
#include <optional>

namespace pellix::gateway {

// What a source serves under one path.
struct SourceKeyword
{
    // What tells that a write has been done.
    enum class Confirmation {
        Readback, // the source reports a value equal to the one that was written
        Answer, // the source's answer to the write
        Assumed // nothing: the value becomes what was written once the write has been sent
    };

    QString path; // below the mount of its source, such as "/tank1/level"
    QString type; // as KeywordServer::Keyword::type
    QString access = QStringLiteral("R");
    QString label;
    QVariant minimum; // for writes; outside of them, a value that was read is not consistent
    QVariant maximum;
    double step = 0; // what is written is rounded to steps from minimum, maximum, or the value
    double tolerance = 0; // by which a readback may differ from what was written
    QVariantList choices; // the only values that may be written; any if empty
    std::chrono::milliseconds staleAfter {0}; // 0: a value never gets too old
    std::chrono::milliseconds confirmWithin {5000};
    Confirmation confirmation = Confirmation::Readback;
    bool writesChange = false; // relative writes reach the source as the difference
};

// What a source reports of one keyword. A value stays as it is where none is given.
struct SourceValue
{
    QString path;
    std::optional<QVariant> value; // an invalid one is the value null
    bool online = true;
    bool consistent = true;
    bool error = false;
    qint64 time = 0; // of the value, in milliseconds since 1970 UTC; 0: now
};

// What a source reports at once: first what is gone, then what is there anew, or as it is now, then
// values. Of two declarations of one path the first one counts.
struct SourceReport
{
    QList<QString> removed;
    QList<SourceKeyword> declared;
    QList<SourceValue> values;
};

struct SourceWrite
{
    quint64 id = 0;
    QString path;
    QVariant value;
    QVariant change; // what a relative write adds; valid only if the keyword takes changes
};

// Where values come from and writes go to, such as a broker. It lives in the server's thread; what
// it does elsewhere is its own business.
class Source : public QObject
{
    Q_OBJECT

public:
    enum class State {
        Stopped,
        Connecting,
        Subscribing, // connected; what there is, is not known yet
        Ready, // everything subscribed: what it says is of now
        Lost
    };
    Q_ENUM(State)

    enum class Outcome {
        Accepted, // sent and acknowledged; whether it is done may have to be confirmed
        Refused, // has not been done
        Unknown // may have been done or not
    };
    Q_ENUM(Outcome)

    struct Statistics
    {
        quint64 messages = 0; // received
        quint64 bytes = 0;
        quint64 writes = 0; // sent
        quint64 unreadable = 0; // messages whose payload could not be read as a value
        quint64 skipped = 0; // of a description: what could not be mapped
        quint64 connections = 0; // made since the start
    };

    using QObject::QObject;
    ~Source() override;

    virtual void start() = 0;
    // Ends with State::Stopped, at once or later. Writes on their way are answered before.
    virtual void stop() = 0;
    virtual State state() const = 0;
    virtual QString reason() const = 0; // why it is not ready, in words; empty if it is
    virtual Statistics statistics() const = 0;

    // Somebody watches the path, which need not be known, or nobody does any longer: always in
    // turn. A source that reports everything need not care.
    virtual void request(const QString &path);
    virtual void release(const QString &path);
    // Somebody lists what is directly below a level, which is empty for the top. What is reported
    // at once is part of the answer.
    virtual void browse(const QString &path);

    // Each write is answered exactly once, by writeAnswered().
    virtual void write(const SourceWrite &write) = 0;

Q_SIGNALS:
    void stateChanged(pellix::gateway::Source::State state);
    void reported(const pellix::gateway::SourceReport &report);
    void writeAnswered(quint64 id, pellix::gateway::Source::Outcome outcome, const QString &reason);
};

} // namespace pellix::gateway
