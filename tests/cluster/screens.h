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
    };
    struct Report
    {
        int screens = 0;
        int complete = 0; // screens with all keywords current
        int wrong = 0; // keywords with another value than the expected one
        qint64 events = 0;
        qint64 stepsBack = 0;
    };

    bool start();
    const QHash<int, Course> &courses() const { return seen; }
    int live() const { return liveCount; } // screens with all keywords current
    Report report(qint64 expected); // queries all processes
    Usage usage() const;

private:
    void take(const QByteArray &line);

    const ScreensOptions options;
    std::vector<std::unique_ptr<ChildProcess>> processes;
    std::vector<QStringList> arguments;
    QHash<int, Course> seen;
    Report sum;
    int liveCount = 0;
    int asked = 0;
    int answers = 0;
};
