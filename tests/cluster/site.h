// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/cluster/cluster.h"
#include "tests/cluster/inspector.h"
#include "tests/cluster/publisher.h"
#include "tests/cluster/screens.h"

#include <QtCore/QTimer>

class Report;

// The whole of a run: the cluster, devices at each node, an inspector of each gateway.
class Site
{
public:
    struct Options
    {
        ClusterOptions cluster;
        int keywords = 1000;
        bool isInspected = true;
        int qos = 1; // of what is published after the first values
    };

    Site(const Options &options, Report *report);
    ~Site();

    // Everything runs, and each keyword has been published once. False if not; the report says why.
    bool start();
    bool fail(const QString &what);

    void publish(double perSecond); // of all keywords, in turn; 0: no more
    bool publishLast(qint64 value); // of each keyword; waits until all of it is acknowledged
    bool settle(int timeout = 60000); // until everything is acknowledged
    int missing(const std::vector<qint64> &kept = {}) const; // values, at all gateways
    // Whether each node gives all acknowledged values to who subscribes now. If not, how many
    // values are missing at all nodes together, and what there is at least.
    bool isKept(int *lost, std::vector<qint64> *kept) const;

    const Options options;
    Report *const report;
    Cluster cluster;
    std::vector<std::unique_ptr<Publisher>> publishers;
    std::vector<std::unique_ptr<Inspector>> inspectors;
    std::vector<qint64> acknowledged; // the last value of each keyword
    qint64 acknowledgedCount = 0;
    int firstValuesLost = 0; // by the broker, before anything was wrong

private:
    void tick();

    QTimer timer;
    double perSecond = 0;
    double due = 0;
    qint64 last = 0;
    size_t nextPublisher = 0;
};
