// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/conventions/convention.h"
#include "gateway/mqtt/reportlist.h"
#include "gateway/mqtt/topickeyword.h"

#include <QtCore/QByteArrayList>
#include <QtCore/QByteArrayView>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>
#include <optional>

namespace pellix::gateway {

struct MappingOptions
{
    struct DescribedBy
    {
        QString name; // of a convention
        ConventionOptions options;

        bool operator==(const DescribedBy &other) const
        {
            return name == other.name && options == other.options;
        }
    };

    QStringList topics; // filters of the topics that are served without a declaration
    QList<TopicKeyword> keywords; // declared keywords; topics may contain wildcards
    TopicAvailability availability; // of all keywords that do not declare their availability
    QList<DescribedBy> conventions;
    bool meta = false; // units, limits, times, and states are also served as keywords
    bool labelUnit = false; // labels end with the unit
    bool isResynced = false; // copies of retained messages arrive repeatedly
    qsizetype maximumTopics = 1000000; // with further ones ignored
};

// The message for a write.
struct TopicCommand
{
    QByteArray topic;
    QByteArray payload;
    int qos = 1;
    std::chrono::milliseconds validFor {0};
};

struct TopicMessage
{
    QByteArrayView topic;
    QByteArrayView payload;
    bool isRetained = false;
    bool isFlagExact = true; // isRetained is as published, so that a deletion can be recognized
    qint64 expiry = -1; // in seconds
    bool isCopy = false; // a retained message sent to a subscriber, not one published just now
    qint64 arrival = 0; // in milliseconds of a steady clock; only needed for resyncs
    qint64 notBefore = 0; // a copy with a new payload was published after this time; 0: unknown
};

// An undeclared keyword.
struct ServedTopic
{
    QString topic;
    QString member; // JSON pointer
    QString path;
    QString type;
};

// Maps topics to keywords, and messages to values. It is used in one thread only, and does not
// depend on the link.
class TopicMapping
{
public:
    struct Statistics
    {
        quint64 unreadable = 0; // messages whose payload is not readable
        quint64 misfits = 0; // messages that did not fit their keyword
        quint64 collisions = 0; // topics without a keyword, because another topic has its path
        quint64 skipped = 0; // parts of descriptions that could not be mapped
        quint64 recovered = 0; // messages that had been missed
    };

    explicit TopicMapping(const MappingOptions &options);
    ~TopicMapping();
    Q_DISABLE_COPY_MOVE(TopicMapping)

    // Adopts the keywords that another mapping has found, as far as they are the same here, and
    // reports the others as removed. The data of the conventions moves here: the other mapping must
    // not be used any more.
    void takeOver(TopicMapping &other);

    // All filters to subscribe to, and those added or removed since the last call.
    QByteArrayList filters() const;
    QByteArrayList takeNewFilters();
    QByteArrayList takeOldFilters();

    // Call this function for each new connection; the next retained message of each topic then
    // counts as its first.
    void beginConnection();
    // Processes a message at the time now, in milliseconds. Returns whether it is the first
    // retained message of its topic in this connection.
    bool take(const TopicMessage &message, qint64 now);
    // Whether copies were ignored because newer messages may have arrived.
    bool hasDoubts() const;
    // Sets expired values offline. Returns the time of the next call, or 0.
    qint64 expire(qint64 now);

    // Returns nothing, and sets reason, if the value cannot be written.
    std::optional<TopicCommand> command(const SourceWrite &write, QString *reason) const;

    ReportList takeReports();
    bool hasReports() const;
    QStringList takeMessages(); // for the log; each message occurs once
    Statistics statistics() const;
    QList<ServedTopic> served() const; // undeclared keywords, sorted

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::gateway
