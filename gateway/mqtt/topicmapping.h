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

    QStringList topics; // filters of what is served as it is
    QList<TopicKeyword> keywords; // what is served as declared, with wildcards
    TopicAvailability availability; // of everything that has none of its own
    QList<DescribedBy> conventions;
    bool meta = false; // units and limits are keywords as well
    bool labelUnit = false; // labels end with the unit
    bool isResynced = false; // copies of what is retained come more than once
};

// A write, as a message.
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
    bool isFlagExact = true; // the flag is as it was published, so that a deletion can be told
    qint64 expiry = -1; // in seconds
    bool isCopy = false; // sent because it is kept, and not because it is published now
    qint64 arrival = 0; // in milliseconds of a steady clock; only if it may be a copy
    qint64 notBefore = 0; // when a copy that says something new was not there yet; 0: not known
};

// A keyword that nobody has declared.
struct ServedTopic
{
    QString topic;
    QString member; // JSON pointer
    QString path;
    QString type;
};

// Which keywords topics become, and what messages say of them. It has all its state in one thread,
// and knows nothing of the link.
class TopicMapping
{
public:
    struct Statistics
    {
        quint64 unreadable = 0; // messages
        quint64 misfits = 0; // messages that did not fit their keyword
        quint64 collisions = 0; // topics without a keyword, as another one has its path
        quint64 skipped = 0; // of descriptions
        quint64 recovered = 0; // messages that had been missed
    };

    explicit TopicMapping(const MappingOptions &options);
    ~TopicMapping();
    Q_DISABLE_COPY_MOVE(TopicMapping)

    // Serves what another mapping has found so far, as far as it is the same here, and reports
    // what is not served any more. What conventions have read moves here: the other one is not
    // used any longer.
    void takeOver(TopicMapping &other);

    // What has to be subscribed to now, and what changed since it was asked last.
    QByteArrayList filters() const;
    QByteArrayList takeNewFilters();
    QByteArrayList takeOldFilters();

    // From now on a retained message of a topic is the first one again.
    void beginConnection();
    // Whether it is the first retained message of its topic in this connection. The time is now,
    // in milliseconds.
    bool take(const TopicMessage &message, qint64 now);
    // Whether there are copies that were not taken, as newer messages may just have come.
    bool hasDoubts() const;
    // Takes care of values that have expired. Returns when to call it next, or 0.
    qint64 expire(qint64 now);

    // None if the value cannot be written; the reason says why.
    std::optional<TopicCommand> command(const SourceWrite &write, QString *reason) const;

    ReportList takeReports();
    bool hasReports() const;
    QStringList takeMessages(); // for the log, each said once
    Statistics statistics() const;
    QList<ServedTopic> served() const; // as it is, and not declared; sorted

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::gateway
