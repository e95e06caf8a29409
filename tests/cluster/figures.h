// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <vector>

// The smallest value that is not exceeded by this share of the values; -1 if there are none.
qint64 percentile(QList<qint64> values, double share);

// How close together the events after a moment are. Times are in milliseconds.
struct Density
{
    Density(QList<qint64> times, qint64 from);

    int most = 0; // in any 100 ms
    double average = 0; // per 100 ms, until 99 % have occurred, but for at least one second
};

// The values that the nodes of a cluster of brokers deliver to a new subscriber, compared with the
// acknowledged ones. Each list has one entry for each keyword, or each node.
struct Kept
{
    Kept() = default;
    Kept(const std::vector<qint64> &acknowledged, const QList<QHash<int, qint64>> &nodes);

    int missing = 0; // acknowledged values, at all nodes together
    int lost = 0; // keywords whose acknowledged value is missing at all nodes
    int silentNodes = 0; // that delivered nothing
    // What each gateway must show at least: the acknowledged value or, if it is lost, the oldest
    // one, because the nodes may then have different values.
    std::vector<qint64> expected;
};

// Collects the goals of a run that were missed.
class Goals
{
public:
    // The limits are multiplied by the slack, or divided by it for atLeast(). It is 1 for a
    // measurement, and greater for a test that must pass on a busy machine.
    explicit Goals(double slack) : slack(slack) { }

    void atMost(const QString &what, double value, double limit);
    void atLeast(const QString &what, double value, double limit);
    const QStringList &missed() const { return texts; }

private:
    const double slack;
    QStringList texts;
};
