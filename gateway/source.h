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

// A keyword that a source provides.
struct SourceKeyword
{
    // How a write is confirmed.
    enum class Confirmation {
        Readback, // the source reports a value equal to the written one
        Answer, // the source accepts the write
        Assumed // not at all: the keyword gets the written value when the source accepts the write
    };

    QString path; // below the mount of its source, such as "/tank1/level"
    QString type; // as KeywordServer::Keyword::type
    QString access = QStringLiteral("R");
    QString label;
    QVariant minimum; // writes outside the limits are refused, reported values are not consistent
    QVariant maximum;
    double step = 0; // writes are rounded to steps from the minimum, the maximum, or the value
    double tolerance = 0; // by which a readback may differ from the written value
    QVariantList choices; // the only values that can be written; any if empty
    std::chrono::milliseconds staleAfter {0}; // 0: a value never becomes stale
    std::chrono::milliseconds confirmWithin {5000};
    Confirmation confirmation = Confirmation::Readback;
    bool writesChange = false; // the source gets the difference of a relative write
};

// The value and flags that a source reports for a keyword. Without a value, the last one is kept.
struct SourceValue
{
    QString path;
    std::optional<QVariant> value; // an invalid variant is the value null
    bool online = true;
    bool consistent = true;
    bool error = false;
    qint64 time = 0; // of the value, in milliseconds since 1970 UTC; 0: now
};

// Changes that a source reports together. They apply in this order: removed keywords, new or
// changed declarations, and values. If a path is declared twice, the first declaration applies.
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
    QVariant change; // the difference of a relative write; only valid with writesChange
};

// The origin of values and the destination of writes, such as a broker. The object lives in the
// thread of the server, but may use other threads internally.
class Source : public QObject
{
    Q_OBJECT

public:
    enum class State {
        Stopped,
        Connecting,
        Subscribing, // connected; the initial values have not all arrived
        Ready, // subscribed to everything; the values are current
        Lost
    };
    Q_ENUM(State)

    enum class Outcome {
        Accepted, // sent and acknowledged; may require a confirmation by the device
        Refused, // has not been executed
        Unknown // may or may not have been executed
    };
    Q_ENUM(Outcome)

    struct Statistics
    {
        quint64 messages = 0; // received
        quint64 bytes = 0;
        quint64 writes = 0; // sent
        quint64 unreadable = 0; // messages whose payload could not be read as a value
        quint64 misfits =
            0; // values that did not fit the type of their keyword, and are not reported
        quint64 conflicts = 0; // keywords that are not reported, because another one has their path
        quint64 skipped = 0; // parts of descriptions that could not be mapped
        quint64 connections = 0; // established since the start
        quint64 unheardWrites = 0; // sent writes for which there was no receiver, where it is known
        quint64 refusedFilters = 0; // subscriptions that are refused now
    };

    using QObject::QObject;
    ~Source() override;

    virtual void start() = 0;
    // Ends with State::Stopped, immediately or later, after all pending writes are answered.
    virtual void stop() = 0;
    virtual State state() const = 0;
    virtual QString reason() const = 0; // why it is not, or not entirely, ready; otherwise empty
    virtual Statistics statistics() const = 0;

    // A client has subscribed to the path, which may be unknown, or no client is subscribed to it
    // any more; the calls alternate. A source that reports everything can ignore both.
    virtual void request(const QString &path);
    virtual void release(const QString &path);
    // A client lists the children of a level, which is empty for the top level. The reply contains
    // what the source reports within this call.
    virtual void browse(const QString &path);

    // The source answers each write exactly once, with writeAnswered().
    virtual void write(const SourceWrite &write) = 0;

Q_SIGNALS:
    void stateChanged(pellix::gateway::Source::State state);
    void reported(const pellix::gateway::SourceReport &report);
    void writeAnswered(quint64 id, pellix::gateway::Source::Outcome outcome, const QString &reason);
};

} // namespace pellix::gateway
