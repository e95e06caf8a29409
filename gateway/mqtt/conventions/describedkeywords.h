// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/conventions/convention.h"

#include <QtCore/QHash>
#include <QtCore/QSet>

#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace pellix::gateway {

// The result of one description.
struct Description
{
    QList<TopicKeyword> keywords; // of several with the same path, the first applies
    QStringList filters; // of the topics of the keywords
    int skipped = 0; // entities that could not be mapped
};

// The keywords of all descriptions, each of which has an owner, such as a device. If two owners
// describe the same path, the first of them in byte order gets it, regardless of the order of
// arrival.
class DescribedKeywords
{
public:
    using Descriptions = std::vector<std::pair<QString, Description>>;

    // Replaces the description of an owner; an empty description removes it.
    void set(const QString &owner, const Description &description, ConventionChange *change);
    // The same for several descriptions at once; paths can move between them.
    void set(const Descriptions &descriptions, ConventionChange *change);

    // Adds the message to the change, unless it has been added before.
    void say(const QString &message, ConventionChange *change);

    int skipped() const;
    void clear();

private:
    using Keyword = std::shared_ptr<const TopicKeyword>;
    struct Owned
    {
        QStringList paths;
        QStringList filters;
        int skipped = 0;
    };
    struct Shown
    {
        QByteArray owner;
        Keyword keyword; // null: none
    };

    Shown shown(const QString &path) const;
    void drop(const QByteArray &owner, const QString &path);

    QHash<QString, std::map<QByteArray, Keyword>> claims; // by path
    QHash<QString, Owned> owners;
    QHash<QString, int> filters;
    QSet<QString> said;
    int claimCount = 0;
    int unmapped = 0;
};

// A text from a description, in quotation marks and shortened, for messages.
QString quoted(const QString &text);

} // namespace pellix::gateway
