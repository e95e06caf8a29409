// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

class Report;

// What a run is made of. Each scenario has its own standards; what is 0 or empty stands for them.
struct ScenarioOptions
{
    QList<int> screens;
    int keywordsEach = 0; // of a screen
    QList<int> keywords;
    QList<double> rates; // of each keyword, in changes per second
    QList<int> gateways;
    double resync = 0; // in seconds
    int seconds = 0; // of a measurement, or of a fault
    bool hasBrokersAlone = false; // no part of ours
    bool mayEngineLose = false; // what brokers lose is told, and no failure
};

// Each returns whether all went well, and writes its table and figures.
bool runScale(const ScenarioOptions &options, Report *report);
bool runGatewayDies(const ScenarioOptions &options, Report *report);
bool runNodeDies(const ScenarioOptions &options, Report *report);
bool runNodePartitioned(const ScenarioOptions &options, Report *report);
bool runUpgrade(const ScenarioOptions &options, Report *report);
bool runGrowth(const ScenarioOptions &options, Report *report);
