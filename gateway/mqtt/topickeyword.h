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

// What tells whether a device is there. Each says so by itself; before its first message it does
// not.
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
        // JSON pointer into the payload; the whole payload if empty, or if it is no JSON object.
        QString member;
        QStringList online; // payloads, or members as text, that mean that it is there
        QStringList offline; // that it is not; others change nothing
    };

    Mode mode = Mode::All;
    QList<Entry> entries; // none: always there
};

// One payload, or member of one, and the value that it stands for.
struct TopicValue
{
    QJsonValue payload; // a text is compared with a plain payload as well
    QVariant value;
};

// How one topic, or one member of its payload, becomes a keyword. Declared by the configuration,
// where topics may have "+" and "{NAME}" for a level, or made by a convention that describes
// itself, where they have not.
struct TopicKeyword
{
    QString topic; // of the state; empty for a command without one
    QString member; // JSON pointer into the payload, such as "/value"; the whole payload if empty
    QString path; // below the mount; from topic and member if empty; may name levels by {NAME}
    bool isMemberInPath = true; // if the path is empty; else it is that of the topic alone
    QString arrayKey; // member of each object of an array that names it: they become children
    QString arrayValue; // member of each object that has the value of that child
    QString timeMember; // JSON pointer to when the value was taken; on arrival if empty
    QString type; // from the first value if empty
    QString label; // may name levels by {NAME}
    QString unit;
    QString access; // "R", "W" or "RW"; from whether there are topics to read and to write if empty
    // What payloads mean, and what is written: the first of that value. Any other payload is an
    // error, or changes nothing.
    QList<TopicValue> values;
    QList<TopicValue> writeValues; // what is written, where that is not what is read
    bool ignoresOthers = false;
    QList<QByteArray> unknownPayloads; // that stand for no value, such as "None"; members as text
    QByteArray emptyText; // payload that stands for an empty text both ways, such as one byte 0
    std::optional<std::array<double, 4>> scale; // from..to of the payload, from..to of the value
    QVariant minimum;
    QVariant maximum;
    double step = 0;
    QVariantList choices;
    int minimumLength = 0; // of a text that is written, in characters
    int maximumLength = -1; // none if negative
    QString pattern; // regular expression that a text matches whole, or else is an error
    std::chrono::milliseconds staleAfter {0};
    TopicAvailability availability;
    QString errorTopic; // whatever is said there, if not empty, sets the flag
    bool isFaulty = false; // the description itself sets the flag
    QString targetTopic; // where the device repeats a write that it has taken
    bool isConsistentWithTarget = true;

    QString writeTopic; // empty: read-only
    QByteArray writePayload; // with $value once; the value alone if empty
    int writeQos = 1;
    std::chrono::milliseconds confirmWithin {5000};
    SourceKeyword::Confirmation confirmation = SourceKeyword::Confirmation::Readback;
    bool writesChange = false;

    QString origin; // what described it, for messages: a JSON pointer or a topic
};

bool operator==(const TopicAvailability &left, const TopicAvailability &right);
bool operator==(const TopicValue &left, const TopicValue &right);
bool operator==(const TopicKeyword &left, const TopicKeyword &right);
inline bool operator!=(const TopicKeyword &left, const TopicKeyword &right)
{
    return !(left == right);
}

} // namespace pellix::gateway
