// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

// Shows a line on standard error, which the next one overwrites; nothing if it is not a terminal.
class Progress
{
public:
    Progress();
    ~Progress() { clear(); }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void show(const QString &text); // limited to a readable rate
    void clear();

private:
    const bool visible;
    bool shown = false;
    QElapsedTimer sinceShown;
};
