// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

class Report;

// The options of a run. For a value that is 0 or empty, each scenario has its own default.
struct ScenarioOptions
{
    QList<int> screens;
    int keywordsEach = 0; // on each screen
    QList<int> keywords;
    QList<double> rates; // of each keyword, in changes per second
    QList<int> gateways;
    double resync = 0; // in seconds
    int seconds = 0; // of a measurement, or of a fault
    double slack = 1; // by which goals may be missed
    bool hasBrokersAlone = false; // without gateways
    bool mayEngineLose = false; // report values that brokers lose, but do not fail
};

// Each writes its table and figures to the report, and returns whether the scenario succeeded.
bool runScale(const ScenarioOptions &options, Report *report);
bool runGatewayDies(const ScenarioOptions &options, Report *report);
bool runNodeDies(const ScenarioOptions &options, Report *report);
bool runNodePartitioned(const ScenarioOptions &options, Report *report);
bool runUpgrade(const ScenarioOptions &options, Report *report);
bool runGrowth(const ScenarioOptions &options, Report *report);
