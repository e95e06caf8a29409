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

// What one description amounts to.
struct Description
{
    QList<TopicKeyword> keywords; // two of the same path: the first
    QStringList filters; // of the topics that they are read from
    int skipped = 0; // entities that could not be mapped
};

// The keywords of all descriptions, each of which has an owner, such as a device. Where two owners
// describe the same path, the smaller in byte order has it, whichever came first.
class DescribedKeywords
{
public:
    using Descriptions = std::vector<std::pair<QString, Description>>;

    // What the owner describes from now on; an empty description takes it back.
    void set(const QString &owner, const Description &description, ConventionChange *change);
    // The same for several at once, between which paths may move.
    void set(const Descriptions &descriptions, ConventionChange *change);

    // Says it, unless it has been said before.
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

// A text of a description, for messages; shortened, as it can be anything.
QString quoted(const QString &text);

} // namespace pellix::gateway
