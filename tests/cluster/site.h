// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/cluster/cluster.h"
#include "tests/cluster/figures.h"
#include "tests/cluster/inspector.h"
#include "tests/cluster/publisher.h"
#include "tests/cluster/screens.h"

#include <QtCore/QTimer>

class Report;

// All parts of a run: the cluster, a device for each node, and an inspector for each gateway.
class Site
{
public:
    struct Options
    {
        ClusterOptions cluster;
        int keywords = 1000;
        bool isInspected = true;
        int qos = 1; // for publishing after the first values
    };

    Site(const Options &options, Report *report);
    ~Site();

    // Starts everything, and publishes each keyword once. If this fails, returns false and writes
    // the reason to the report.
    bool start();
    bool fail(const QString &what);
    bool meets(const Goals &goals); // fails with the goals that were missed

    void publish(double perSecond); // all keywords in turn; 0: stop
    bool publishLast(qint64 value); // for each keyword; waits until all are acknowledged
    bool settle(int timeout = 60000); // waits until everything is acknowledged
    int missing(const std::vector<qint64> &kept = {}) const; // values, at all gateways
    Kept kept() const; // what the nodes deliver to new subscribers

    const Options options;
    Report *const report;
    Cluster cluster;
    std::vector<std::unique_ptr<Publisher>> publishers;
    std::vector<std::unique_ptr<Inspector>> inspectors;
    std::vector<qint64> acknowledged; // the last value of each keyword
    qint64 acknowledgedCount = 0;
    int firstValuesLost = 0; // by the brokers, before any fault

private:
    void tick();
    qint64 lastSent(int keyword) const;

    QTimer timer;
    double perSecond = 0;
    double due = 0;
    qint64 last = 0;
    size_t nextPublisher = 0;
};
