// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/cluster/childprocess.h"

#include <QtCore/QHash>
#include <QtCore/QList>

#include <memory>
#include <vector>

class Cluster;

struct ScreensOptions
{
    QString kind; // client or connection
    int screens = 20;
    int keywordsEach = 100;
    int keywords = 1000;
    QString url; // if not that of the load balancer
};

// The screens of a run, in a few processes with many screens each.
class Screens : public QObject
{
    Q_OBJECT

public:
    Screens(const Cluster &cluster, const ScreensOptions &options, QObject *parent = nullptr);

    // The times of the events of a screen, of plant::now().
    struct Course
    {
        QList<qint64> lost; // the connection was lost
        QList<qint64> tried; // an attempt to connect began
        QList<qint64> connected;
        QList<qint64> right; // all keywords are current again
        QList<qint64> down; // the durations from a loss until it was right again
        qint64 downSince = 0; // 0: it is right, or never was

        bool isRight() const { return !right.isEmpty() && downSince == 0; }
        void note(const QString &event, qint64 time);
    };
    struct Report
    {
        // Whether all screens have reported, with the expected values.
        bool isRight() const { return screens == expectedScreens && wrong == 0 && foreign == 0; }
        QString problem() const;

        int expectedScreens = 0;
        int screens = 0; // that have reported
        int complete = 0; // screens with all keywords current
        int wrong = 0; // keywords with another value than the expected one
        qint64 events = 0;
        qint64 stepsBack = 0;
        qint64 foreign = 0; // values of other keywords
    };

    bool start();
    const QHash<int, Course> &courses() const { return seen; }
    int live() const { return liveCount; } // screens with all keywords current
    bool hasEnded() const { return ended > 0; } // a process, before the end of the run
    Report report(qint64 expected); // queries all processes
    Report awaitRight(qint64 expected); // queries until all screens are right, or for a minute
    // From now on, a screen that was lost is not right with values older than these. Returns
    // whether all processes know them.
    bool setFloor(const std::vector<qint64> &values);
    Usage usage() const;

private:
    void take(const QByteArray &line);
    bool ask(const QByteArray &command, const QByteArray &parameters);

    const ScreensOptions options;
    std::vector<std::unique_ptr<ChildProcess>> processes;
    std::vector<QStringList> arguments;
    QHash<int, Course> seen;
    Report sum;
    int liveCount = 0;
    int asked = 0;
    int answers = 0;
    int ended = 0;
};
