// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

struct CommandEntry;

QString overviewHelp();
QString commandHelp(const CommandEntry &command);
QString completeHelp();
