// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/source.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <array>
#include <chrono>
#include <optional>

namespace pellix::gateway {

// The topics that determine whether a device is available. Before its first message, a topic counts
// as offline.
struct TopicAvailability
{
    enum class Mode {
        All,
        Any,
        Latest
    };
    struct Entry
    {
        QString topic;
        // JSON pointer into the payload; the whole payload if empty, or if it is not a JSON object.
        QString member;
        QStringList online; // payloads, or members as text, of an available device
        QStringList offline; // of an unavailable one; other payloads are ignored
    };

    Mode mode = Mode::All;
    QList<Entry> entries; // none: always available
};

// A payload, or a member of one, and the value for which it stands.
struct TopicValue
{
    QJsonValue payload; // a string also matches a payload without quotation marks
    QVariant value;
};

// The mapping of one topic, or of one member of its payload, to a keyword. It is declared in the
// configuration, where "+" and "{NAME}" in topics stand for a level, or created by a convention,
// where topics have no wildcards.
struct TopicKeyword
{
    QString topic; // the topic of the value; empty for a command without a value
    QString member; // JSON pointer into the payload, such as "/value"; the whole payload if empty
    QString path; // below the mount; from topic and member if empty; may name levels by {NAME}
    bool isMemberInPath = true; // whether a path from the topic also contains the member
    QString arrayKey; // for an array of objects, which become children: the member with the name
    QString arrayValue; // and the member with the value of the child
    QString timeMember; // JSON pointer to the time of the value; the time of arrival if empty
    QString type; // from the first value if empty
    QString label; // may name levels by {NAME}
    QString unit;
    QString access; // "R", "W", or "RW"; if empty, it depends on the topics
    // Payloads and their values. To write a value, the first of its payloads is sent. A payload
    // that is not in the list is an error, or is ignored (ignoresOthers).
    QList<TopicValue> values;
    QList<TopicValue> writeValues; // the payloads to write, if they differ
    bool ignoresOthers = false;
    QList<QByteArray> unknownPayloads; // stand for no value, such as "None"; members as text
    QByteArray emptyText; // payload for the empty string, when read or written, such as a null byte
    std::optional<std::array<double, 4>> scale; // from..to of the payload, from..to of the value
    QVariant minimum;
    QVariant maximum;
    double step = 0;
    QVariantList choices;
    int minimumLength = 0; // of a written string, in characters
    int maximumLength = -1; // no limit if negative
    QString pattern; // regular expression for the whole string; anything else is an error
    std::chrono::milliseconds staleAfter {0};
    TopicAvailability availability;
    QString errorTopic; // a payload that is not empty sets the flag error
    bool isFaulty = false; // sets the flag error, such as during an alert of the device
    QString targetTopic; // where the device repeats an accepted write
    bool isConsistentWithTarget = true;

    QString writeTopic; // empty: read-only
    QByteArray writePayload; // contains $value at most once; the value alone if empty
    int writeQos = 1;
    std::chrono::milliseconds confirmWithin {5000};
    SourceKeyword::Confirmation confirmation = SourceKeyword::Confirmation::Readback;
    bool writesChange = false;

    QString origin; // the origin of the mapping, for messages: a JSON pointer or a topic
};

bool operator==(const TopicAvailability &left, const TopicAvailability &right);
bool operator==(const TopicValue &left, const TopicValue &right);
bool operator==(const TopicKeyword &left, const TopicKeyword &right);
inline bool operator!=(const TopicKeyword &left, const TopicKeyword &right)
{
    return !(left == right);
}

} // namespace pellix::gateway
